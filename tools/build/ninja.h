#pragma once

// Models for other build engines: a Ninja file of all, and the dependencies of one as Make and Ninja read
// them.

#include "tools/build/model_options.h"
#include "tools/build/tree_paths.h"

#include <span>
#include <string>

namespace kestrel {

// What an engine needs to know of a model.
struct edge_t {
    std::string model;
    std::string skeleton; // empty when there is none
    model_options_t options;
};

// From the model's record when it has one, else from what the model names when that is there.
edge_t find_edge(const tree_paths_t &paths, const std::string &model, const model_options_t &options);

// One build statement a model; all paths are absolute, so that the file can be included from anywhere. The
// alias "kimbuild-ROOT" stands for all outputs.
std::string ninja_file(const tree_paths_t &paths, std::span<const edge_t> edges);

// "OUTPUT: MODEL SKELETON", absolute paths, escaped as Make and Ninja want them.
std::string depfile(const tree_paths_t &paths, const edge_t &edge);

} // namespace kestrel
