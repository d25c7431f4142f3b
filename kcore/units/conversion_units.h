#pragma once

// The units of a resource conversion configuration: rules of what to convert how, and what to leave out. They
// have no attributes yet; what reads such a configuration gives each class its list.

#include "kcore/units/unit_description.h"

namespace kestrel {

#define CONFIG_U_ATTRIBUTES(ATTRIBUTE)
class config_u final : public unit_t {
    KESTREL_UNIT_CLASS(CONFIG_U_ATTRIBUTES)
};

#define RULELIST_U_ATTRIBUTES(ATTRIBUTE)
class rulelist_u final : public unit_t {
    KESTREL_UNIT_CLASS(RULELIST_U_ATTRIBUTES)
};

#define RULE_U_ATTRIBUTES(ATTRIBUTE)
class rule_u final : public unit_t {
    KESTREL_UNIT_CLASS(RULE_U_ATTRIBUTES)
};

#define BLACKLIST_U_ATTRIBUTES(ATTRIBUTE)
class blacklist_u final : public unit_t {
    KESTREL_UNIT_CLASS(BLACKLIST_U_ATTRIBUTES)
};

#define BLACK_U_ATTRIBUTES(ATTRIBUTE)
class black_u final : public unit_t {
    KESTREL_UNIT_CLASS(BLACK_U_ATTRIBUTES)
};

} // namespace kestrel
