#pragma once

// Names derived from the path of an input file.

#include "kcore/strings/string.h"

namespace kestrel {

inline constexpr std::string_view model_extension = ".kim";

// The input name with ".kmg" in place of its extension.
void make_output_name(std::string_view input_name, string_dyn_t &output_name);

// A file beside the output: the output's folder, with its separator, followed by the name.
void make_sibling_name(std::string_view output_name, std::string_view name, string_dyn_t &sibling);

// Resolves ".." in place, each with the folder before it; takes no memory. False, leaving the rest as it
// stands, when one would climb above the start. Every ".." counts, also one inside a name.
bool resolve_parent_references(mstring_t &path);

} // namespace kestrel
