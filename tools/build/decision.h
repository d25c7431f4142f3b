#pragma once

// Whether a model is out of date, and why.

#include "tools/build/build_state.h"
#include "tools/build/tree_scan.h"

#include <optional>
#include <string>
#include <unordered_map>

namespace kestrel {

// The converter beside this program.
struct converter_t {
    std::string version; // what -V prints
    uint64_t hash = 0;   // of the program's bytes
};

// Stamps of sources other than models, each asked for once: as it was before anything was converted.
class source_stamps_t {
  public:
    explicit source_stamps_t(const tree_paths_t &paths) : paths_(paths) {}

    file_stamp_t of(const std::string &path);
    bool knows(const std::string &path) const { return stamps_.contains(path); }
    void forget() { stamps_.clear(); }
    void forget(const std::string &path) { stamps_.erase(path); }

  private:
    const tree_paths_t &paths_;
    std::unordered_map<std::string, file_stamp_t> stamps_;
};

// A sentence when the model is to be converted with these options, none when its output is up to date.
std::optional<std::string> why_out_of_date(const model_t &model, const seen_model_t *seen,
                                           const model_options_t &options, const converter_t &converter,
                                           source_stamps_t &stamps);

// Why the converter cannot be asked to convert a model of this name; none when it can.
std::optional<std::string> why_not_convertible(std::string_view model);

} // namespace kestrel
