#pragma once

// The classes of units that a program knows, found by their ids. Classes are registered at the start of a
// program, before other threads ask for them; the core library's own by core_initialize.

#include "kcore/units/unit_class.h"

namespace kestrel {

// False when another class has the same id or memory cannot be had. Registering again changes nothing.
bool register_unit_class(const unit_class_t &unit_class);

// Null for an id that no class has.
const unit_class_t *find_unit_class(uint32_t class_id);

// The start and the end of the core library.
void register_core_unit_classes();
void forget_unit_classes();

} // namespace kestrel
