#pragma once

// Messages: every line that the program tells its user, the last one of a broken program included.
//
// Formats are those of kcore/strings/format.h. May be called from any thread and from inside a handler; never
// throws or fails towards the caller. With no memory left a text is cut, not lost. Before the message system
// starts and after it stops, messages are dropped.

#include "kcore/strings/format.h"

#include <cstdarg>

namespace kestrel {

enum class message_level_t : uint32_t { info = 1, warning = 2, error = 3 };

void msg_dispatch(message_level_t level, const char *format, va_list arguments);
void msg_dispatch_variadic(message_level_t level, const char *format, ...);

template <class... A>
void msg_info(format_for_t<std::type_identity_t<A>...> format, A... arguments) {
    msg_dispatch_variadic(message_level_t::info, format.text, arguments...);
}
template <class... A>
void msg_warning(format_for_t<std::type_identity_t<A>...> format, A... arguments) {
    msg_dispatch_variadic(message_level_t::warning, format.text, arguments...);
}
// Gives false, as the result of who fails with this error.
template <class... A>
bool msg_error(format_for_t<std::type_identity_t<A>...> format, A... arguments) {
    msg_dispatch_variadic(message_level_t::error, format.text, arguments...);
    return false;
}

// Where a broken rule of the program stands: the source path less its extension, the line, the function's
// full name.
struct fatal_site_t {
    const char *source;
    uint32_t line;
    const char *function;
};

[[noreturn]] void report_fatal_variadic(const fatal_site_t &site, const char *format, ...);

// The end of a process whose own rules are broken: an index outside an array, a table that cannot be full.
// Bad input is never fatal. Writes one error line "source(line): function: text", flushes both streams and
// ends the process abnormally.
template <class... A>
[[noreturn]] void report_fatal(const fatal_site_t &site, format_for_t<std::type_identity_t<A>...> format,
                               A... arguments) {
    report_fatal_variadic(site, format.text, arguments...);
}

} // namespace kestrel
