#pragma once

// Looks at the asset tree: every model with its output and its record, and the products that no model has.
//
// The three folders of one path, below the sources, the outputs and the records, are listed together, so that
// what belongs together meets without a table of all names. No file is opened. Links to folders are followed,
// but for one that leads back to a folder above it. Hidden files and folders are passed over.

#include "tools/build/platform/files.h"
#include "tools/build/tree_paths.h"

#include <functional>
#include <string>
#include <vector>

namespace kestrel {

struct model_output_t {
    bool is_there = false;
    file_stamp_t stamp; // when it was asked for
};

struct model_t {
    std::string path; // in the tree
    file_stamp_t source;
    model_output_t output;
    file_stamp_t record;
};

struct tree_t {
    std::vector<model_t> models;       // by path, compared as bytes
    std::vector<std::string> orphans;  // outputs or records without a model: the output's path in the tree
    std::vector<std::string> failures; // sentences about what could not be looked at
    std::vector<std::string> remarks;  // sentences about what was passed over
};

struct scan_request_t {
    std::vector<std::string> folders = {""}; // to look at with their subfolders: "" or "/model/truck"
    std::vector<std::string> models;         // to look at alone
    share_t share;
    bool stamp_outputs = false; // ask for their stamps as well, not only whether they are there
    unsigned threads = 1;
    // Called before each source folder is listed, from any thread, with its path in the operating system.
    std::function<void(const std::string &)> on_folder;
};

tree_t scan_tree(const tree_paths_t &paths, const scan_request_t &request);

model_t look_at_model(const tree_paths_t &paths, const std::string &path);

} // namespace kestrel
