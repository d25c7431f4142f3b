#include "kcore/units/unit_registry.h"

#include "kcore/collections/array.h"

#include <algorithm>

namespace kestrel {

static array_dyn_t<known_unit_class_t> &classes() {
    static array_dyn_t<known_unit_class_t> registered;
    return registered;
}

static known_unit_class_t *find(uint32_t class_id) {
    known_unit_class_t *const found =
        std::find_if(classes().begin(), classes().end(),
                     [&](const known_unit_class_t &known) { return known.id == class_id; });
    return found == classes().end() ? nullptr : found;
}

const known_unit_class_t *find_unit_class(uint32_t class_id) {
    return find(class_id);
}

bool register_unit_class(std::string_view registered_name, const unit_class_t *description) {
    const uint32_t id = unit_class_id(registered_name);
    known_unit_class_t *const known = find(id);
    if (!known) {
        classes().push_back({registered_name, id, description});
        return true;
    }
    if (known->registered_name != registered_name)
        return false;
    if (!known->description)
        known->description = description;
    return !description || known->description == description;
}

void register_core_unit_classes() {
    for (const char *name : {"unit_t", "config_u", "rulelist_u", "rule_u", "blacklist_u", "black_u"})
        register_unit_class(name);
}

void forget_unit_classes() {
    classes().release();
}

} // namespace kestrel
