#pragma once

// What is known of a class of units: one constant record a class, made by DEFINE_UNIT_CLASS
// (unit_description.h).

#include "kcore/units/unit_attribute.h"

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace kestrel {

class unit_t;

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

constexpr uint32_t unit_class_id(std::string_view registered_name) {
    uint32_t id = 0;
    for (const char character : registered_name)
        id = id * 31 + static_cast<uint8_t>(character);
    return id;
}

} // namespace kestrel
