#include "kcore/units/unit_references.h"

namespace kestrel {

void owned_unit_t::adopt(unit_t *unit) {
    if (unit == unit_)
        return;
    if (unit) {
        unit->add_reference();
        unit->mark_owned();
    }
    if (unit_t *const old = std::exchange(unit_, unit)) {
        old->destroy();
        old->drop_reference();
    }
}

} // namespace kestrel
