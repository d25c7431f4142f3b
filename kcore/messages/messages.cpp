#include "kcore/messages/messages.h"

#include "kcore/messages/message_system.h"
#include "kcore/messages/platform/abnormal_end.h"

#include <cstdio>

namespace kestrel {

void msg_dispatch_variadic(message_level_t level, const char *format, ...) {
    va_list arguments;
    va_start(arguments, format);
    msg_dispatch(level, format, arguments);
    va_end(arguments);
}

static void format_variadic(message_text_t &text, const char *format, ...) {
    va_list arguments;
    va_start(arguments, format);
    text.format(format, arguments);
    va_end(arguments);
}

void report_fatal_variadic(const fatal_site_t &site, const char *format, ...) {
    message_text_t text, line;
    va_list arguments;
    va_start(arguments, format);
    text.format(format, arguments);
    va_end(arguments);
    format_variadic(line, "%s(%u): %s: %s", site.source, site.line, site.function, text.get().c_str());
    message_system_t::deliver_last_words(line.get());
    std::fflush(stdout);
    std::fflush(stderr);
    end_abnormally();
}

} // namespace kestrel
