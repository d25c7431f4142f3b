#include "kcore/units/unit_registry.h"

#include "kcore/collections/array.h"
#include "kcore/units/conversion_units.h"

namespace kestrel {

static array_dyn_t<const unit_class_t *> &classes() {
    static array_dyn_t<const unit_class_t *> registered;
    return registered;
}

const unit_class_t *find_unit_class(uint32_t class_id) {
    for (const unit_class_t *unit_class : classes())
        if (unit_class->class_id == class_id)
            return unit_class;
    return nullptr;
}

bool register_unit_class(const unit_class_t &unit_class) {
    if (const unit_class_t *const same_id = find_unit_class(unit_class.class_id))
        return same_id == &unit_class;
    return classes().push_back(&unit_class);
}

void register_core_unit_classes() {
    for (const unit_class_t *unit_class :
         {&unit_t::unit_class, &config_u::unit_class, &rulelist_u::unit_class, &rule_u::unit_class,
          &blacklist_u::unit_class, &black_u::unit_class})
        register_unit_class(*unit_class);
}

void forget_unit_classes() {
    classes().release();
}

} // namespace kestrel
