#pragma once

// What the findings of all checkers have in common: how bad they are, how they are counted, how they look.

#include <cstdint>
#include <string>
#include <string_view>

namespace kestrel {

enum class severity_t : uint8_t { note, warning, error };
std::string_view name_of(severity_t severity);

struct finding_kind_t {
    std::string_view name; // of the code
    severity_t severity;
    std::string_view meaning;
};

struct finding_counts_t {
    uint64_t errors = 0, warnings = 0, notes = 0;

    void add(severity_t severity, uint64_t count);
};
// "1 error, 2 warnings, 0 notes".
std::string to_text(const finding_counts_t &found);

// How many findings of one kind are told one by one.
inline constexpr uint32_t default_finding_limit = 10;

struct print_style_t {
    bool colour = false; // with escape sequences, for a terminal
    bool all = false;    // with what few want to see
};
// On a terminal, unless the user wants none.
bool wants_colour();
std::string styled(print_style_t style, std::string_view code, std::string_view text);
// The severity's name or any other text in the severity's colour.
std::string coloured(print_style_t style, severity_t severity, std::string_view text);

} // namespace kestrel
