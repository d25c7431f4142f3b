#pragma once

// A geometry file, its findings and its differences, laid out for people.

#include "tools/kmg/kmg_diff.h"
#include "tools/kmg/kmg_findings.h"

#include <string>
#include <string_view>

namespace kestrel {

struct print_style_t {
    bool colour = false; // with escape sequences, for a terminal
};

std::string print_file(std::string_view name, const kmg_reader_t &file, print_style_t style);
// One line each, "FILE: severity: place: text [code]", and a last line that counts them.
std::string print_findings(std::string_view name, std::span<const kmg_finding_t> findings,
                           print_style_t style);
std::string print_differences(std::span<const kmg_difference_t> differences);

} // namespace kestrel
