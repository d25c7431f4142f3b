#include "tools/build/conversions.h"

#include "tools/build/console.h"
#include "tools/build/model_sources.h"

#include <algorithm>
#include <thread>

namespace kestrel {

static constexpr uint64_t least_batch_bytes = 256 * 1024; // takes about as long as starting a process
// One process more than jobs, so that no core waits for its next batch while the last one's end is dealt
// with: a whole build on two cores took 0.93 of the time.
static constexpr unsigned waiting_processes = 1;
// A model's end takes a wake-up to hear of, a twentieth of its conversion; so several are heard of at once.
static constexpr std::chrono::milliseconds listening_step{2};
static constexpr int64_t second = 1'000'000'000;
static constexpr int64_t clock_step = second / 50; // of stamps; systems have 1 to 10 milliseconds

void conversions_t::run(std::span<const task_t> tasks, conversion_listener_t &listener) {
    tasks_ = tasks;
    listener_ = &listener;
    next_task_ = next_outcome_ = 0;
    outcomes_.assign(tasks.size(), std::nullopt);
    bytes_left_ = 0;
    for (const task_t &task : tasks)
        bytes_left_ += task.model.source.size;

    const size_t processes = settings_.jobs > 1 ? settings_.jobs + waiting_processes : 1;
    for (;;) {
        while (!is_stopping() && processes_->running() < processes &&
               (!alone_.empty() || next_task_ < tasks_.size()))
            start_batch();
        if (is_stopping() || flights_.empty())
            break;
        if (next_task_ < tasks_.size())
            std::this_thread::sleep_for(listening_step);
        processes_->wait(std::chrono::milliseconds(100), *this);
        listener.on_wait();
    }
    if (is_stopping()) {
        processes_->kill_all();
        for (auto &flight : flights_)
            settle_stopped(flight.second);
        flights_.clear();
        for (; next_outcome_ < outcomes_.size(); ++next_outcome_)
            if (outcomes_[next_outcome_])
                listener.on_outcome(tasks_[next_outcome_], *outcomes_[next_outcome_]);
    }
    alone_.clear();
}

// Empty when the first of what is left has just failed, its name being too long.
std::vector<size_t> conversions_t::next_batch() {
    if (!alone_.empty()) {
        const size_t task = alone_.front();
        alone_.pop_front();
        return {task};
    }
    const model_options_t &options = tasks_[next_task_].options;
    const uint64_t enough = std::max(least_batch_bytes, bytes_left_ / (uint64_t(settings_.jobs) * 4));
    batch_limits_t limits(paths_, options);
    std::vector<size_t> batch;
    for (uint64_t bytes = 0; next_task_ < tasks_.size() && bytes < enough; ++next_task_) {
        const task_t &task = tasks_[next_task_];
        if (task.options != options || !limits.take(task.model.path))
            break;
        bytes += task.model.source.size;
        batch.push_back(next_task_);
    }
    for (const size_t task : batch)
        bytes_left_ -= tasks_[task].model.source.size;
    if (batch.empty())
        fail(next_task_++, "its name is too long for the converter's command line of " +
                               std::to_string(most_argument_bytes) + " bytes");
    return batch;
}

// A file that is changed twice within one step of the clock by which it gets its stamps looks unchanged after
// the second time. So what is as young as that is not read before the step is over. Also asks for the stamps
// of skeletons while they are those of what will be read.
void conversions_t::wait_for_clock(std::span<const size_t> tasks) {
    int64_t wait = 0;
    const auto consider = [&](const file_stamp_t &stamp) {
        const int64_t step =
            stamp.time % second == 0 ? second : clock_step; // some disks know whole seconds only
        const int64_t age = time_now() - stamp.time;
        if (stamp.exists() && age >= 0 && age < step)
            wait = std::max(wait, step - age);
    };
    for (const size_t t : tasks) {
        const model_t &model = tasks_[t].model;
        consider(model.source);
        const seen_model_t *const seen = state_.find(model.path);
        if (seen)
            for (const seen_source_t &source : seen->further)
                consider(stamps_.of(source.path));
        if (seen && seen->source == model.source)
            continue;
        if (const std::string skeleton = skeleton_named_by(paths_, model.path); !skeleton.empty())
            consider(stamps_.of(skeleton));
    }
    std::this_thread::sleep_for(std::chrono::nanoseconds(wait));
}

void conversions_t::start_batch() {
    const std::vector<size_t> batch = next_batch();
    if (batch.empty())
        return;
    wait_for_clock(batch);
    std::vector<std::string> models;
    for (const size_t task : batch)
        models.push_back(tasks_[task].model.path);
    const size_t process = next_process_++;
    flight_t flight{{paths_, tasks_[batch[0]].options, std::move(models)}, batch, {}};
    flight.seen.resize(batch.size());
    const auto error = processes_->start(process, flight.batch.command());
    if (!error) {
        flights_.emplace(process, std::move(flight));
        return;
    }
    if (!flights_.empty()) { // the system may have more room when another has ended
        alone_.insert(alone_.end(), batch.begin(), batch.end());
        processes_->wait(std::chrono::milliseconds(100), *this);
        return;
    }
    for (const size_t task : batch)
        fail(task, "the converter could not be started: " + error.message());
}

void conversions_t::written(size_t process, stream_t stream, std::string_view text) {
    flight_t &flight = flights_.at(process);
    flight.batch.written(stream, text, [&](size_t m) {
        const task_t &task = tasks_[flight.tasks[m]];
        flight.seen[m] = look_at_products(task, true);
        if (flight.seen[m])
            listener_->on_progress(task, true);
        else if (settings_.stop_at_first)
            stopping_ = true;
    });
}

void conversions_t::ended(size_t process, const process_end_t &end) {
    flight_t &flight = flights_.at(process);
    const size_t count = flight.tasks.size();
    if (count == 1) {
        settle_alone(flight, end);
    } else if (end.exited && flight.batch.finished() == count) {
        settle_whole(flight, end);
    } else {
        settle_died(flight);
    }
    keep(flight);
    flights_.erase(process);
}

// What a conversion has left, for the state. None when it has not left a whole record, or that of an earlier
// conversion where it must be a new one.
std::optional<seen_model_t> conversions_t::look_at_products(const task_t &task, bool must_be_new) const {
    const std::string output = output_of(task.model.path);
    const std::string record_path = paths_.records + output;
    seen_model_t seen;
    seen.record = stamp_of(record_path);
    if (!seen.record.exists() || (must_be_new && seen.record == task.model.record))
        return std::nullopt;
    // Most records name the model alone and have one size: these need not be opened.
    auto record = std::optional(record_t{converter_.version, {task.model.path}});
    if (seen.record.size != record_size(*record))
        record = read_record(record_path);
    if (!record || record->sources[0] != task.model.path)
        return std::nullopt;
    seen.options = task.options;
    seen.version = record->version;
    seen.converter = converter_.hash;
    seen.source = task.model.source;
    seen.output = stamp_of(paths_.outputs + output);
    // What nobody had looked at before may be newer than what was read: then it is converted once more.
    for (const std::string &path : std::span(record->sources).subspan(1))
        seen.further.push_back({path, stamps_.knows(path) ? stamps_.of(path) : file_stamp_t()});
    return seen;
}

void conversions_t::settle_whole(flight_t &flight, const process_end_t &end) {
    const auto made = static_cast<size_t>(std::count_if(flight.seen.begin(), flight.seen.end(),
                                                        [](const auto &seen) { return seen.has_value(); }));
    if (made + flight.batch.failures(end.status) != flight.tasks.size()) {
        alone_.insert(alone_.end(), flight.tasks.begin(), flight.tasks.end());
        flight.seen.assign(flight.seen.size(), std::nullopt);
        return;
    }
    auto messages = flight.batch.take_messages();
    for (size_t m = 0; m < flight.tasks.size(); ++m) {
        if (!flight.seen[m])
            listener_->on_progress(tasks_[flight.tasks[m]], false);
        std::string error = flight.seen[m] ? std::string() : first_error(messages[m].errors);
        settle(flight.tasks[m], {flight.seen[m].has_value(), std::move(messages[m]), std::move(error),
                                 flight.seen[m] ? flight.seen[m]->output.size : 0});
    }
}

void conversions_t::settle_alone(flight_t &flight, const process_end_t &end) {
    const task_t &task = tasks_[flight.tasks[0]];
    const bool whole = end.exited && flight.batch.finished() == 1;
    outcome_t outcome{false, std::move(flight.batch.take_messages()[0]), {}, 0};
    auto &seen = flight.seen[0];
    const bool was_told = seen.has_value();
    seen = whole && flight.batch.failures(end.status) == 0 ? look_at_products(task, false) : std::nullopt;
    outcome.converted = seen.has_value();
    if (seen) {
        outcome.output_size = seen->output.size;
    } else if (!whole) {
        outcome.error = "the converter " + end.text;
        remove_half_made(task);
    } else if (outcome.error = first_error(outcome.messages.errors); outcome.error.empty()) {
        outcome.error = "the converter left no record";
    }
    if (!was_told)
        listener_->on_progress(task, outcome.converted);
    if (settings_.stop_at_first && !seen)
        stopping_ = true;
    settle(flight.tasks[0], std::move(outcome));
}

// What was finished and made is kept; everything else is tried alone.
void conversions_t::settle_died(flight_t &flight) {
    auto messages = flight.batch.take_messages();
    for (size_t m = 0; m < flight.tasks.size(); ++m) {
        if (flight.seen[m])
            settle(flight.tasks[m], {true, std::move(messages[m]), {}, flight.seen[m]->output.size});
        else
            alone_.push_back(flight.tasks[m]);
    }
}

// The process was killed, at any moment.
void conversions_t::settle_stopped(flight_t &flight) {
    const size_t finished = flight.batch.finished();
    auto messages = flight.batch.take_messages();
    for (size_t m = 0; m < flight.tasks.size(); ++m) {
        const task_t &task = tasks_[flight.tasks[m]];
        if (m >= finished && (flight.seen[m] = look_at_products(task, true)))
            listener_->on_progress(task, true);
        if (flight.seen[m]) {
            settle(flight.tasks[m], {true, std::move(messages[m]), {}, flight.seen[m]->output.size});
        } else if (m < finished) {
            std::string error = first_error(messages[m].errors);
            listener_->on_progress(task, false);
            settle(flight.tasks[m], {false, std::move(messages[m]), std::move(error), 0});
        } else {
            remove_half_made(task);
        }
    }
    keep(flight);
}

void conversions_t::settle(size_t task, outcome_t outcome) {
    outcomes_[task] = std::move(outcome);
    for (; next_outcome_ < outcomes_.size() && outcomes_[next_outcome_]; ++next_outcome_) {
        listener_->on_outcome(tasks_[next_outcome_], *outcomes_[next_outcome_]);
        *outcomes_[next_outcome_] = {};
    }
}

void conversions_t::fail(size_t task, std::string error) {
    listener_->on_progress(tasks_[task], false);
    if (settings_.stop_at_first)
        stopping_ = true;
    settle(task, {false, {}, std::move(error), 0});
}

void conversions_t::keep(flight_t &flight) {
    std::vector<std::pair<std::string, seen_model_t>> conversions;
    for (size_t m = 0; m < flight.tasks.size(); ++m)
        if (flight.seen[m])
            conversions.emplace_back(tasks_[flight.tasks[m]].model.path, std::move(*flight.seen[m]));
    if (conversions.empty())
        return;
    const auto error = state_.add(std::move(conversions));
    if (error && !state_was_lost_) {
        say_error("what was converted cannot be noted in " + paths_.own + " and will be converted again",
                  error);
        state_was_lost_ = true;
    }
}

// An output that was begun and has no whole record is of no use to anybody. The old record, if there was one,
// went when it was begun.
void conversions_t::remove_half_made(const task_t &task) {
    const std::string output = output_of(task.model.path);
    const std::string record = paths_.records + output;
    const file_stamp_t now = stamp_of(record);
    const bool is_old =
        now.exists() ? now == task.model.record : task.model.output.is_there && !task.model.record.exists();
    if (is_old || read_record(record))
        return;
    remove_file(record);
    remove_file(paths_.outputs + output);
}

} // namespace kestrel
