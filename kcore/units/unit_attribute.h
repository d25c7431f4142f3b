#pragma once

// One row of a unit class's table: where a value lies inside the unit, what it is, what it is called.

#include <cstdint>

namespace kestrel {

struct unit_class_t;

// Odd codes are single values; the next even code is a growable array of the same element. The codes of plain
// values stand in unit_values.h.
namespace unit_type {
inline constexpr uint32_t end_of_table = 0;
inline constexpr uint32_t string = 1;
inline constexpr uint32_t owned_unit = 61;
inline constexpr uint32_t unit_link = 63;
inline constexpr uint32_t other_unit_link = 65;
inline constexpr uint32_t resource_tie = 67;
} // namespace unit_type

struct unit_attribute_t {
    // The offset of an attribute that is known by name only.
    static constexpr int64_t no_storage = -1;

    const unit_class_t *owner = nullptr; // the class that declares it
    int64_t offset = no_storage;         // in bytes, inside the unit
    uint32_t type = unit_type::end_of_table;
    const unit_class_t *element_class = nullptr; // of attributes that hold units
    const char *name = nullptr;
};

} // namespace kestrel
