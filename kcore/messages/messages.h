#pragma once

// Messages: every line that the program tells its user.
//
// Formats are those of kcore/strings/format.h. May be called from any thread and from inside a handler; never
// fails towards the caller. Before the message system starts and after it stops, messages are dropped.

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
template <class... A>
void msg_error(format_for_t<std::type_identity_t<A>...> format, A... arguments) {
    msg_dispatch_variadic(message_level_t::error, format.text, arguments...);
}

} // namespace kestrel
