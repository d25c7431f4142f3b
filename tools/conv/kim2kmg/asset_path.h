#pragma once

// Names derived from the path of an input file.

#include "kcore/strings/mstring.h"

namespace kestrel {

inline constexpr std::string_view model_extension = ".kim";

// The input name with ".kmg" in place of its extension.
bool make_output_name(std::string_view input_name, mstring_t &output_name);

// A file beside the output: the output's folder, with its separator, followed by the name.
bool make_sibling_name(std::string_view output_name, std::string_view name, mstring_t &sibling);

// Resolves ".." in place, each with the folder before it. False, leaving the rest as it stands, when one
// would climb above the start. Every ".." counts, also one inside a name.
bool resolve_parent_references(mstring_t &path);

} // namespace kestrel
