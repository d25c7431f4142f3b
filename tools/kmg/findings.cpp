#include "tools/kmg/findings.h"

#include "tools/kmg/concat.h"

#include <cstdlib>
#include <unistd.h>

namespace kestrel {

std::string_view name_of(severity_t severity) {
    constexpr std::string_view names[] = {"note", "warning", "error"};
    return names[static_cast<size_t>(severity)];
}

void finding_counts_t::add(severity_t severity, uint64_t count) {
    uint64_t &of_severity = severity == severity_t::error     ? errors
                            : severity == severity_t::warning ? warnings
                                                              : notes;
    of_severity += count;
}

std::string to_text(const finding_counts_t &found) {
    return concat(counted_t{found.errors, "error"}, ", ", counted_t{found.warnings, "warning"}, ", ",
                  counted_t{found.notes, "note"});
}

bool wants_colour() {
    const char *no_colour = std::getenv("NO_COLOR");
    return isatty(STDOUT_FILENO) && (!no_colour || *no_colour == '\0');
}

std::string styled(print_style_t style, std::string_view code, std::string_view text) {
    return style.colour ? concat("\x1b[", code, "m", text, "\x1b[0m") : std::string(text);
}

std::string coloured(print_style_t style, severity_t severity, std::string_view text) {
    constexpr std::string_view green_yellow_red[] = {"32", "33", "31"};
    return styled(style, green_yellow_red[static_cast<size_t>(severity)], text);
}

} // namespace kestrel
