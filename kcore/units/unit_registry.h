#pragma once

// The classes of units that a program knows, found by their ids. Every program knows the core library's own
// by name; one that links kcore/units can describe classes too. Registering is for the start of a program,
// before other threads ask.

#include <cstdint>
#include <string_view>

namespace kestrel {

struct unit_class_t;

constexpr uint32_t unit_class_id(std::string_view registered_name) {
    uint32_t id = 0;
    for (const char character : registered_name)
        id = id * 31 + static_cast<uint8_t>(character);
    return id;
}

struct known_unit_class_t {
    std::string_view registered_name; // "config_u"; constant text
    uint32_t id;                      // of that name
    const unit_class_t *description;  // null while only the name is known
};

// False when another class has the same id or description. Registering again changes nothing, or adds the
// description.
bool register_unit_class(std::string_view registered_name, const unit_class_t *description = nullptr);

// Null for an id that no class has.
const known_unit_class_t *find_unit_class(uint32_t class_id);

// For the start and the end of the core library.
void register_core_unit_classes();
void forget_unit_classes();

} // namespace kestrel
