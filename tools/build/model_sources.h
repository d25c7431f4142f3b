#pragma once

// What a model's output is made from: by its record, which a conversion has left, or before there is one by
// what the model itself names.

#include "tools/build/tree_paths.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace kestrel {

struct record_t {
    std::string version;
    std::vector<std::string> sources; // paths in the tree, the model first
};

// None when the text is not that of a whole record. Records are read by whole lines. (The reader of the core
// library ends a path at its first blank; models with a blank in their names would be out of date for ever.)
std::optional<record_t> parse_record(std::string_view text);
// In bytes, as the converter writes it.
size_t record_size(const record_t &record);
std::optional<record_t> read_record(const std::string &path);

// The skeleton that the first bytes of a model name, as a path in the tree, beside the model as the converter
// looks for it; empty when the model names none or cannot be read. Whether the model is skinned, and so needs
// it, is not known before it is converted.
std::string skeleton_named_by(const tree_paths_t &paths, const std::string &model);

// The name in the text's start. False when the text ends before this is known.
bool find_skeleton_name(std::string_view text, std::string &name);

} // namespace kestrel
