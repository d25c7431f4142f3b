#include "tools/build/lint_models.h"

#include "tools/build/console.h"

#include <algorithm>

namespace kestrel {

namespace {

constexpr size_t most_models_at_once = 64; // that is a fraction of a second

class linter_t final : private process_listener_t {
  public:
    linter_t(const tree_paths_t &paths, std::span<const task_t> tasks, stop_wish_t &stop)
        : paths_(paths), tasks_(tasks), stop_(stop), processes_(make_processes(stop)) {}

    void run(unsigned jobs) {
        const size_t share = std::max<size_t>(tasks_.size() / (size_t{jobs} * 2), 1);
        const size_t models_at_once = std::min(share, most_models_at_once);
        while (!stop_.came() && (next_ < tasks_.size() || processes_->running() > 0)) {
            while (next_ < tasks_.size() && processes_->running() < jobs)
                if (!start(models_at_once))
                    return;
            processes_->wait(std::chrono::milliseconds(100), *this);
        }
        processes_->kill_all();
    }

  private:
    struct answer_t {
        std::string findings, errors;
        bool ended = false;
    };

    // On the next models of the same options.
    bool start(size_t most) {
        const std::string folder = paths_.converter.substr(0, paths_.converter.rfind('/') + 1);
        command_t command{folder + "kimlint", {"kimlint", "--quiet"}};
        const bool tangent = tasks_[next_].options.tangent;
        if (tangent)
            command.arguments.push_back("--tangent");
        for (; most > 0 && next_ < tasks_.size() && tasks_[next_].options.tangent == tangent; --most)
            command.arguments.push_back(paths_.source(tasks_[next_++].model.path));
        answers_.emplace_back();
        const auto error = processes_->start(answers_.size() - 1, command);
        if (error)
            say_error(command.program + " cannot be started", error);
        return !error;
    }
    void written(size_t process, stream_t stream, std::string_view text) override {
        (stream == stream_t::output ? answers_[process].findings : answers_[process].errors) += text;
    }
    void ended(size_t process, const process_end_t &end) override {
        constexpr int unreadable = 2;
        answers_[process].ended = true;
        if (!end.exited || end.status == unreadable)
            answers_[process].findings += answers_[process].errors;
        if (!end.exited)
            say_error("kimlint: " + end.text);
        for (; shown_ < answers_.size() && answers_[shown_].ended; ++shown_) {
            put_errors(answers_[shown_].findings);
            answers_[shown_].findings.clear();
        }
    }

    const tree_paths_t &paths_;
    const std::span<const task_t> tasks_;
    stop_wish_t &stop_;
    std::unique_ptr<processes_t> processes_;
    size_t next_ = 0; // task
    std::vector<answer_t> answers_;
    size_t shown_ = 0;
};

} // namespace

void lint_models(const tree_paths_t &paths, std::span<const task_t> tasks, unsigned jobs, stop_wish_t &stop) {
    linter_t(paths, tasks, stop).run(jobs);
}

} // namespace kestrel
