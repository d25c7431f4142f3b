#pragma once

// What was seen when each model was last converted, kept in BASE/rsrc/ROOT/@build/ as text:
//
//   kimbuild-state 1
//   OPTIONS  VERSION  CONVERTER  SOURCE  OUTPUT  RECORD  MODEL  { SOURCE  PATH }*
//
// One line a conversion, fields parted by tabs; of several lines for a model the one with the latest record
// holds. OPTIONS are letters (model_options.h), VERSION is the record's, CONVERTER the CityHash64 of the
// program in hexadecimal. SOURCE, OUTPUT and RECORD are stamps, TIME.SIZE: nanoseconds since 1970 and bytes;
// "-" for a file that must have changed meanwhile. MODEL and PATH are paths in the tree, in which \t, \n and
// \\ stand for tab, line feed and backslash; the pairs are the record's further sources.
//
// Lines are added as models are converted, so that a run that is killed has lost nothing but what it was just
// doing; a last line without its end is such a run's and is passed over. A file that is damaged otherwise is
// said and counts for nothing, which costs a conversion of everything. When most lines are outdated the file
// is written anew.
//
// The whole tree has the file "state", each share of it "state-I-of-N"; all are read, so that it does not
// matter who converted a model.

#include "tools/build/model_options.h"
#include "tools/build/platform/files.h"
#include "tools/build/tree_paths.h"

#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace kestrel {

struct seen_source_t {
    std::string path;
    file_stamp_t stamp;
};

// One conversion that succeeded.
struct seen_model_t {
    model_options_t options;
    std::string version;
    uint64_t converter = 0;
    file_stamp_t source;
    file_stamp_t output;
    file_stamp_t record;
    std::vector<seen_source_t> further; // usually the skeleton
};

class build_state_t {
  public:
    explicit build_state_t(const tree_paths_t &paths, const share_t &share) : paths_(paths), share_(share) {}

    // Forgets what it knew. What is wrong with a file has been said.
    void load();
    const seen_model_t *find(std::string_view model) const;
    size_t size() const { return models_.size(); }

    // Takes conversions into the state and its file. The error is the file's; the state holds them all the
    // same.
    std::error_code add(std::vector<std::pair<std::string, seen_model_t>> conversions);
    // Writes the file anew when most of its lines are outdated, without models that do not exist. Where the
    // whole tree's is written, the shares' files go.
    std::error_code tidy(const std::function<bool(std::string_view)> &exists);

    // Whether its files are no longer those that were loaded or written.
    bool changed_by_others() const { return look_at_files() != files_; }

  private:
    struct state_file_t {
        std::string name;
        file_stamp_t stamp;
        bool operator==(const state_file_t &) const = default;
    };
    struct text_hash_t {
        using is_transparent = void;
        size_t operator()(std::string_view text) const { return std::hash<std::string_view>()(text); }
    };
    std::vector<state_file_t> look_at_files() const;
    bool load_file(const std::string &name);
    std::string own_name() const;

    const tree_paths_t &paths_;
    const share_t share_;
    std::unordered_map<std::string, seen_model_t, text_hash_t, std::equal_to<>> models_;
    std::vector<state_file_t> files_;
    size_t lines_ = 0;       // in the own file
    bool own_is_new_ = true; // it is not there or not to be added to
};

// The line of a conversion, with its end, and back.
std::string state_line(std::string_view model, const seen_model_t &seen);
bool parse_state_line(std::string_view line, std::string &model, seen_model_t &seen);

} // namespace kestrel
