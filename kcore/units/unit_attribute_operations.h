#pragma once

// What can be done with one attribute of any unit, by its type code alone. An unknown code is fatal.

#include "kcore/units/unit.h"

namespace kestrel {

// Empties the value: arrays give their memory back, owned units are taken down, links are dropped.
void perform_destroy_attribute(unit_t &unit, const unit_attribute_t &attribute);

// Copies the value over the target's: links link to the same unit while it is live, owned units are cloned.
// False when memory cannot be had or a unit cannot be cloned; an array of the target is empty then, and an
// owned unit of it gone.
bool perform_clone_attribute_to(const unit_t &source, const unit_attribute_t &attribute, unit_t &target);

} // namespace kestrel
