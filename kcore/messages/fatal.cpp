#include "kcore/messages/fatal.h"

#include "kcore/messages/messages.h"
#include "kcore/strings/string_dyn.h"

#include <cstdio>
#include <cstdlib>

namespace kestrel {

void report_fatal_variadic(const fatal_site_t &site, const char *format, ...) {
    va_list arguments;
    va_start(arguments, format);
    const string_dyn_t text(format, arguments);
    va_end(arguments);
    msg_error("%s(%u): %s: %s", site.source, site.line, site.function, text.c_str());
    std::fflush(stdout);
    std::fflush(stderr);
    std::abort();
}

} // namespace kestrel
