#include "kcore/units/conversion_units.h"

namespace kestrel {

KESTREL_DEFINE_UNIT_CLASS(config_u, &unit_t::unit_class, "config", CONFIG_U_ATTRIBUTES)
KESTREL_DEFINE_UNIT_CLASS(rulelist_u, &unit_t::unit_class, "rulelist", RULELIST_U_ATTRIBUTES)
KESTREL_DEFINE_UNIT_CLASS(rule_u, &unit_t::unit_class, "rule", RULE_U_ATTRIBUTES)
KESTREL_DEFINE_UNIT_CLASS(blacklist_u, &unit_t::unit_class, "blacklist", BLACKLIST_U_ATTRIBUTES)
KESTREL_DEFINE_UNIT_CLASS(black_u, &unit_t::unit_class, "black", BLACK_U_ATTRIBUTES)

} // namespace kestrel
