#pragma once

// Converts models, in batches on several processes, and keeps the state up to date while doing so.
//
// Batches are formed as processes become free, smaller towards the end, so that all processes end together.
// Which model of a batch failed is told by its record, which a successful conversion makes anew, and must
// agree with the exit status; where the two do not, and for what a batch that died had not finished, each
// model is run alone, where the exit status says everything. So a crash costs one model.

#include "tools/build/batch.h"
#include "tools/build/build_state.h"
#include "tools/build/decision.h"
#include "tools/build/platform/processes.h"
#include "tools/build/tree_scan.h"

#include <chrono>
#include <deque>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace kestrel {

struct task_t {
    model_t model;
    model_options_t options;
    std::string reason; // why it is out of date
};

struct outcome_t {
    bool converted = false;
    batch_t::messages_t messages;
    std::string error; // the first, of a model that failed
    uint64_t output_size = 0;
};

class conversion_listener_t {
  public:
    virtual ~conversion_listener_t() = default;
    // As it happens, in any order.
    virtual void on_progress(const task_t &task, bool converted) = 0;
    // Once for each model that was brought to its end, in the order of the tasks.
    virtual void on_outcome(const task_t &task, const outcome_t &outcome) = 0;
    virtual void on_wait() = 0; // ten times a second or more
};

struct conversion_settings_t {
    unsigned jobs = 1;
    bool stop_at_first = false;
};

class conversions_t final : private process_listener_t {
  public:
    conversions_t(const tree_paths_t &paths, const converter_t &converter, build_state_t &state,
                  source_stamps_t &stamps, stop_wish_t &stop, const conversion_settings_t &settings)
        : paths_(paths), converter_(converter), state_(state), stamps_(stamps), stop_(stop),
          settings_(settings), processes_(make_processes(stop)) {}

    // Tasks with the same options should stand together. Ends early at the wish to stop and, when that is
    // set, at the first failure; what was being made is then removed.
    void run(std::span<const task_t> tasks, conversion_listener_t &listener);
    // Whether the state's file could not be written; it has been said.
    bool state_was_lost() const { return state_was_lost_; }

  private:
    struct flight_t {
        batch_t batch;
        std::vector<size_t> tasks;
        std::vector<std::optional<seen_model_t>> seen; // of those finished and made
    };

    void written(size_t process, stream_t stream, std::string_view text) override;
    void ended(size_t process, const process_end_t &end) override;

    void start_batch();
    std::vector<size_t> next_batch();
    void wait_for_clock(std::span<const size_t> tasks);
    std::optional<seen_model_t> look_at_products(const task_t &task, bool must_be_new) const;
    void settle_whole(flight_t &flight, const process_end_t &end);
    void settle_alone(flight_t &flight, const process_end_t &end);
    void settle_died(flight_t &flight);
    void settle_stopped(flight_t &flight);
    void settle(size_t task, outcome_t outcome);
    void fail(size_t task, std::string error);
    void keep(flight_t &flight);
    void remove_half_made(const task_t &task);
    bool is_stopping() const { return stopping_ || stop_.came(); }

    const tree_paths_t &paths_;
    const converter_t &converter_;
    build_state_t &state_;
    source_stamps_t &stamps_;
    stop_wish_t &stop_;
    const conversion_settings_t settings_;
    std::unique_ptr<processes_t> processes_;
    bool state_was_lost_ = false;

    // Of the run at work:
    std::span<const task_t> tasks_;
    conversion_listener_t *listener_ = nullptr;
    size_t next_task_ = 0;
    uint64_t bytes_left_ = 0;
    std::deque<size_t> alone_; // to be run by themselves
    std::map<size_t, flight_t> flights_;
    size_t next_process_ = 0;
    std::vector<std::optional<outcome_t>> outcomes_;
    size_t next_outcome_ = 0; // the first that has not been told
    bool stopping_ = false;
};

} // namespace kestrel
