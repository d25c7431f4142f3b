#pragma once

// Findings as lines for people and editors, as JSON and as SARIF 2.1.0.

#include "tools/kmg/kmg_text.h"
#include "tools/lint/lint.h"

namespace kestrel {

inline constexpr int lint_json_version = 1;

// "FILE:LINE:COLUMN: severity: what was found; cure [code]".
std::string to_line(std::string_view file, const lint_finding_t &finding, print_style_t style = {});
// The table of the documentation.
std::string lint_code_table();
std::string to_json(std::span<const linted_file_t> files);
std::string to_sarif(std::span<const linted_file_t> files);

} // namespace kestrel
