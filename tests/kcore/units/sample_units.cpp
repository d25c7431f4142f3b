#include "tests/kcore/units/sample_units.h"

namespace kestrel {

KESTREL_DEFINE_UNIT_CLASS(leaf_u, &unit_t::unit_class, "leaf", LEAF_U_ATTRIBUTES)
KESTREL_DEFINE_UNIT_CLASS(special_leaf_u, &leaf_u::unit_class, "special_leaf", SPECIAL_LEAF_U_ATTRIBUTES)
KESTREL_DEFINE_UNIT_CLASS(every_kind_u, &unit_t::unit_class, "every_kind", EVERY_KIND_U_ATTRIBUTES)

} // namespace kestrel
