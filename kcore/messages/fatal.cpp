#include "kcore/messages/fatal.h"

#include "kcore/messages/message_system.h"

#include <cstdio>
#include <cstdlib>

namespace kestrel {

void report_fatal_variadic(const fatal_site_t &site, const char *format, ...) {
    va_list arguments;
    va_start(arguments, format);
    const string_dyn_t text(format, arguments);
    va_end(arguments);
    string_dyn_t line;
    line.assign_formatted("%s(%u): %s: %s", site.source, site.line, site.function, text.c_str());
    message_system_t::deliver_last_words(line);
    std::fflush(stdout);
    std::fflush(stderr);
    std::abort();
}

} // namespace kestrel
