#pragma once

// Checks text models and skeletons: everything that the converter refuses, and what it passes in silence.
//
// Files are read by the converter's own parser, and again only as far as a finding has to be placed. Time is
// that of a conversion, memory what the model itself needs and the text.

#include "kcore/ufs/file.h"
#include "tools/lint/lint_findings.h"

#include <functional>
#include <memory>

namespace kestrel {

struct lint_options_t {
    bool tangent = false; // will it be converted with -tangent?
    uint32_t limit = default_finding_limit;
};

struct linted_file_t {
    std::string name;
    std::string failure; // why it could not be read; empty when it was
    std::vector<lint_finding_t> findings;
};
void count_findings(std::span<const lint_finding_t> findings, finding_counts_t &counts);

// Null when the file cannot be opened.
using open_file_t = std::function<std::unique_ptr<file_t>(const std::string &path)>;
std::unique_ptr<file_t> open_system_file(const std::string &path);

// The file of that path and, when it is a model with a skin, the skeleton beside it. What ends in ".kis" is a
// skeleton, all else a model.
std::vector<linted_file_t> lint_file(const std::string &path, const lint_options_t &options = {},
                                     const open_file_t &open = open_system_file);

} // namespace kestrel
