#pragma once

// What a run tells its user: progress while it works, the converter's messages as they are, a summary with
// what failed, and the same as JSON for machines.

#include "tools/build/conversions.h"

#include <chrono>
#include <memory>
#include <string>
#include <vector>

namespace kestrel {

struct report_settings_t {
    bool verbose = false; // the converter's information lines, every orphan
    bool explain = false; // why each model is converted
    bool json = false;    // keep what print_json needs
};

class report_t final : public conversion_listener_t {
  public:
    report_t(const tree_paths_t &paths, const report_settings_t &settings);
    ~report_t() override;

    // In this order; the tasks outlive the run.
    void on_tree(const tree_t &tree, std::span<const task_t> tasks);
    // A dry run has nothing but these.
    void on_dry_run(std::span<const task_t> tasks);
    void on_progress(const task_t &task, bool converted) override;
    void on_outcome(const task_t &task, const outcome_t &outcome) override;
    void on_wait() override;
    // Something besides a model went wrong; it has been said.
    void count_failure() { ++other_failures_; }
    void on_orphans(const std::vector<std::string> &orphans, bool removed);
    void print_summary(bool interrupted);

    bool has_failures() const { return failures_.size() + other_failures_ > 0; }
    // All that is known about the run, for build servers.
    std::string print_json(const converter_t &converter, bool interrupted) const;

  private:
    struct failure_t {
        std::string model;
        std::string error;
    };
    struct json_models_t;

    double seconds() const;
    void draw_progress();

    const tree_paths_t &paths_;
    const report_settings_t settings_;
    const std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();

    size_t models_ = 0;
    size_t tasks_ = 0;
    size_t converted_ = 0;
    uint64_t source_bytes_ = 0;
    uint64_t output_bytes_ = 0;
    std::vector<failure_t> failures_;
    size_t other_failures_ = 0;
    std::vector<std::string> orphans_;
    bool orphans_removed_ = false;
    bool dry_run_ = false;
    std::unique_ptr<json_models_t> json_models_;

    // Progress runs ahead of the outcomes, which come in order.
    size_t finished_ = 0;
    size_t failed_ = 0;
    std::string last_model_;
    std::chrono::steady_clock::time_point first_task_, last_drawn_;
};

} // namespace kestrel
