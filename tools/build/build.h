#pragma once

// One tree, brought up to date: once, or again whenever a source is saved.

#include "tools/build/build_state.h"
#include "tools/build/conversions.h"
#include "tools/build/decision.h"
#include "tools/build/platform/file_lock.h"
#include "tools/build/platform/folder_watcher.h"
#include "tools/build/report.h"
#include "tools/build/rules.h"
#include "tools/build/tree_scan.h"

#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

namespace kestrel {

struct build_settings_t {
    std::string root;
    std::vector<std::string> selection; // folders and models in the tree; all when there are none
    model_options_t options;            // for every model, besides those of the rules
    share_t share;
    unsigned jobs = 1;
    bool stop_at_first = false;
    bool force = false;
    bool dry_run = false;
    bool explain = false;
    bool lint = false; // shows what is wrong with the sources of what it converts
    bool verbose = false;
    bool prune = false;
    bool check_outputs = false; // whether they are those that were made
    bool watch = false;
    bool no_wait = false; // for another kimbuild
    std::string json;     // files to write; none when empty
    std::string ninja_file;
    std::string depfile;
};

enum build_status_t : int {
    build_good = 0,
    build_failed = 1, // of some models
    build_could_not_run = 2,
};

class build_t {
  public:
    build_t(const build_settings_t &settings, stop_wish_t &stop) : settings_(settings), stop_(stop) {}

    // What the settings say. The wish to stop is for the caller to obey.
    build_status_t run();

  private:
    // A model that failed while watching, and what it failed with: it is not tried again before one changes.
    struct failed_try_t {
        file_stamp_t source;
        std::string skeleton;
        file_stamp_t skeleton_stamp;
        model_options_t options;
        bool operator==(const failed_try_t &) const = default;
    };

    bool select();
    bool is_selected(std::string_view model) const;
    bool find_converter();
    bool lock();
    bool take_lock(file_lock_t &lock, const std::string &name, lock_kind_t kind);
    void unlock();

    std::vector<task_t> find_tasks(const tree_t &tree, bool force);
    model_options_t options_of(const std::string &model) const {
        return settings_.options | rules_.options_of(model);
    }
    // False when nothing could be tried.
    bool convert(std::span<const task_t> tasks, conversion_listener_t &listener);
    void treat_orphans(const tree_t &tree, report_t &report);
    build_status_t build_once();
    build_status_t write_ninja();
    build_status_t write_depfile();

    // In watch.cpp.
    build_status_t watch();
    bool look_at_changes(const folder_changes_t &changes, tree_t &tree);
    void convert_changed(tree_t &tree);
    failed_try_t try_of(const task_t &task);

    const build_settings_t &settings_;
    stop_wish_t &stop_;
    tree_paths_t paths_;
    rules_t rules_;
    scan_request_t request_;
    converter_t converter_;
    std::optional<build_state_t> state_;
    std::optional<source_stamps_t> stamps_;
    file_lock_t tree_lock_, share_lock_;
    std::unordered_map<std::string, failed_try_t> failed_tries_;
};

} // namespace kestrel
