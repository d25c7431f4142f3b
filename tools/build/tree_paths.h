#pragma once

// Where everything of an asset tree lies, and the names of models within it.
//
// A path "in the tree" begins with "/", as the converter is given it: /model/truck/cab.kim.

#include "kcore/collections/city_hash.h"

#include <optional>
#include <string>
#include <string_view>

namespace kestrel {

struct tree_paths_t {
    std::string base;      // BASE
    std::string root;      // as the converter's -root wants it
    std::string sources;   // BASE/ROOT
    std::string outputs;   // BASE/rsrc/ROOT/@cache
    std::string records;   // BASE/rsrc/ROOT/@dep
    std::string own;       // BASE/rsrc/ROOT/@build: what this program keeps
    std::string converter; // the program beside this one

    std::string source(std::string_view path) const { return sources + std::string(path); }
};

// By the place of the running program, as the converter finds its tree. None after a message when the base or
// BASE/ROOT is not there.
std::optional<tree_paths_t> find_tree_paths(const std::string &root);

inline constexpr std::string_view model_ending = ".kim";
inline constexpr std::string_view output_ending = ".kmg";

// Hidden files are no models: editors and version control have theirs.
inline bool is_model_name(std::string_view name) {
    return name.ends_with(model_ending) && !name.starts_with('.');
}
inline bool is_output_name(std::string_view name) {
    return name.ends_with(output_ending);
}
// The output of a model, in its store; its record has the same path in its own.
inline std::string output_of(std::string_view model) {
    return std::string(model.substr(0, model.size() - model_ending.size())) + std::string(output_ending);
}
inline std::string model_of(std::string_view output) {
    return std::string(output.substr(0, output.size() - output_ending.size())) + std::string(model_ending);
}
// The folder of a path in the tree, with its "/".
inline std::string_view folder_of(std::string_view path) {
    return path.substr(0, path.rfind('/') + 1);
}

// A stable part of all models: which one, of how many. A model stays in its part whatever others come or go.
struct share_t {
    uint64_t part = 0; // from 0 on
    uint64_t of = 1;
    bool holds(std::string_view model) const { return of == 1 || city_hash_64(model) % of == part; }
};

} // namespace kestrel
