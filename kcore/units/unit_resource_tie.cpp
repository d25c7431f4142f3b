#include "kcore/units/unit_resource_tie.h"

#include "kcore/messages/messages.h"
#include "kcore/strings/string.h"

namespace kestrel {

void unit_resource_tie_t::refuse(uint32_t line, const char *operation, const char *text) {
    string_local_t<64> function;
    function.assign_formatted("kestrel::unit_resource_tie_t::%s", operation);
    report_fatal({"kcore/units/unit_resource_tie", line, function.c_str()}, "[unit] %s", text);
}

static unit_resource_tie_t *installed = nullptr;

unit_resource_tie_t &unit_resource_tie() {
    static unit_resource_tie_t base;
    return installed ? *installed : base;
}

void install_unit_resource_tie(unit_resource_tie_t *tie) {
    installed = tie;
}

} // namespace kestrel
