#pragma once

// The end of a process whose own rules are broken: an index outside an array, a table that cannot be full.
// Bad input is never fatal.

#include "kcore/strings/format.h"

#include <cstdarg>

namespace kestrel {

// Where the broken rule stands: the source path less its extension, the line, the function's full name.
struct fatal_site_t {
    const char *source;
    uint32_t line;
    const char *function;
};

[[noreturn]] void report_fatal_variadic(const fatal_site_t &site, const char *format, ...);

// Writes one error line "source(line): function: text", flushes both streams and aborts.
template <class... A>
[[noreturn]] void report_fatal(const fatal_site_t &site, format_for_t<std::type_identity_t<A>...> format,
                               A... arguments) {
    report_fatal_variadic(site, format.text, arguments...);
}

} // namespace kestrel
