#pragma once

// Which skeleton a model names, from its first bytes: its Global paragraph stands near the start.

#include "tools/build/tree_paths.h"

#include <string>

namespace kestrel {

// The skeleton's path in the tree, beside the model as the converter looks for it; empty when the model names
// none or cannot be read. Whether the model is skinned, and so needs it, is not known before it is converted.
std::string skeleton_named_by(const tree_paths_t &paths, const std::string &model);

// The same of the text's start. False when the text ends before this is known.
bool find_skeleton_name(std::string_view text, std::string &name);

} // namespace kestrel
