#pragma once

// What is known of a class of units: one constant record a class, and in it a table with a row for each of
// its attributes, which says where the value lies inside the unit, what it is, what it is called.
// unit_values.h shows how a class is described.

#include <cstddef>
#include <cstdint>

namespace kestrel {

class unit_t;
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

struct unit_class_t {
    const char *name;            // short: "config"
    const char *registered_name; // "config_u"
    uint32_t class_id;           // of the registered name
    // A new unit of the pool, 0 to 3, without references; null when memory cannot be had.
    unit_t *(*create)(uint32_t pool);
    // Runs the destructor and frees the unit.
    void (*destroy)(unit_t *unit);
    const unit_class_t *parent;         // null for the class of unit_t itself
    const unit_attribute_t *attributes; // its own, ended by a record of type end_of_table
    size_t size;                        // of an instance, in bytes
    size_t alignment;
};

} // namespace kestrel
