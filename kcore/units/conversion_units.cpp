#include "kcore/units/conversion_units.h"

#include "kcore/units/unit_values.h"

namespace kestrel {

static constexpr unit_attribute_t no_attributes[] = {{}};

constinit const unit_class_t config_u::unit_class =
    describe_unit_class<config_u>("config", "config_u", &unit_t::unit_class, no_attributes);
constinit const unit_class_t rulelist_u::unit_class =
    describe_unit_class<rulelist_u>("rulelist", "rulelist_u", &unit_t::unit_class, no_attributes);
constinit const unit_class_t rule_u::unit_class =
    describe_unit_class<rule_u>("rule", "rule_u", &unit_t::unit_class, no_attributes);
constinit const unit_class_t blacklist_u::unit_class =
    describe_unit_class<blacklist_u>("blacklist", "blacklist_u", &unit_t::unit_class, no_attributes);
constinit const unit_class_t black_u::unit_class =
    describe_unit_class<black_u>("black", "black_u", &unit_t::unit_class, no_attributes);

void describe_core_unit_classes() {
    for (const unit_class_t *unit_class :
         {&unit_t::unit_class, &config_u::unit_class, &rulelist_u::unit_class, &rule_u::unit_class,
          &blacklist_u::unit_class, &black_u::unit_class})
        register_unit_class(unit_class->registered_name, unit_class);
}

} // namespace kestrel
