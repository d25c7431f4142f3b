#include "tools/build/build.h"

#include "kcore/collections/city_hash.h"
#include "tools/build/console.h"
#include "tools/build/lint_models.h"
#include "tools/build/ninja.h"
#include "tools/build/prune.h"

#include <algorithm>
#include <thread>

namespace kestrel {

build_status_t build_t::run() {
    const auto paths = find_tree_paths(settings_.root);
    if (!paths)
        return build_could_not_run;
    paths_ = *paths;
    auto rules = load_rules(paths_.sources);
    if (!rules || !select())
        return build_could_not_run;
    rules_ = std::move(*rules);
    if (!settings_.depfile.empty())
        return write_depfile();
    if (!settings_.ninja_file.empty())
        return write_ninja();
    state_.emplace(paths_, settings_.share);
    stamps_.emplace(paths_);
    if (!find_converter())
        return build_could_not_run;
    return settings_.watch ? watch() : build_once();
}

// The folders and models to look at; false after a message.
bool build_t::select() {
    request_.share = settings_.share;
    request_.stamp_outputs = settings_.check_outputs;
    request_.threads = settings_.jobs;
    if (settings_.selection.empty())
        return true;
    request_.folders.clear();
    for (std::string path : settings_.selection) {
        while (path.ends_with('/'))
            path.pop_back();
        if (!path.empty() && !path.starts_with('/'))
            path = "/" + path;
        const bool leaves = (path + "/").find("/../") != std::string::npos;
        if (!leaves && is_folder(paths_.source(path)))
            request_.folders.push_back(path);
        else if (!leaves && is_model_name(path) && stamp_of(paths_.source(path)).exists())
            request_.models.push_back(path);
        else {
            say_error("there is no folder and no model " + printable(path) + " in " + paths_.sources +
                      "; paths are those within it, such as /model/truck");
            return false;
        }
    }
    return true;
}

bool build_t::is_selected(std::string_view model) const {
    if (!request_.share.holds(model))
        return false;
    const auto is_above = [&](const std::string &folder) { return model.starts_with(folder + "/"); };
    return std::any_of(request_.folders.begin(), request_.folders.end(), is_above) ||
           std::find(request_.models.begin(), request_.models.end(), model) != request_.models.end();
}

namespace {

// Collects what one process writes.
class answer_t final : public process_listener_t {
  public:
    void written(size_t, stream_t, std::string_view text) override { text_ += text; }
    void ended(size_t, const process_end_t &end) override { end_ = end; }
    const std::string &text() const { return text_; }
    const std::optional<process_end_t> &end() const { return end_; }

  private:
    std::string text_;
    std::optional<process_end_t> end_;
};

} // namespace

bool build_t::find_converter() {
    std::string program;
    if (const auto error = read_whole_file(paths_.converter, program)) {
        say_error("the converter is wanted beside this program, " + paths_.converter, error);
        return false;
    }
    converter_.hash = city_hash_64(program);
    answer_t answer;
    const auto processes = make_processes(stop_);
    if (const auto error = processes->start(0, {paths_.converter, {paths_.converter, "-V"}})) {
        say_error(paths_.converter + " cannot be started", error);
        return false;
    }
    while (!answer.end() && !stop_.came())
        processes->wait(std::chrono::seconds(1), answer);
    constexpr std::string_view prefix = "version:";
    const std::string &text = answer.text();
    if (text.starts_with(prefix))
        converter_.version = text.substr(prefix.size(), text.find_first_of("\r\n") - prefix.size());
    if (converter_.version.empty() && !stop_.came())
        say_error(paths_.converter + " does not tell its version");
    return !converter_.version.empty();
}

// The whole tree keeps everybody out; a share only those of the whole tree and of the same share.
bool build_t::lock() {
    if (const auto error = make_folders(paths_.own); error && !is_folder(paths_.own)) {
        say_error(paths_.own + " cannot be made", error);
        return false;
    }
    if (settings_.share.of == 1)
        return take_lock(tree_lock_, "lock", lock_kind_t::exclusive);
    const std::string name =
        "lock-" + std::to_string(settings_.share.part + 1) + "-of-" + std::to_string(settings_.share.of);
    return take_lock(tree_lock_, "lock", lock_kind_t::shared) &&
           take_lock(share_lock_, name, lock_kind_t::exclusive);
}

bool build_t::take_lock(file_lock_t &lock, const std::string &name, lock_kind_t kind) {
    const std::string path = paths_.own + "/" + name;
    bool said = false;
    while (!stop_.came()) {
        std::error_code error;
        switch (lock.try_take(path, kind, error)) {
        case lock_result_t::taken:
            return true;
        case lock_result_t::not_possible:
            say_warning(path + " cannot be locked (" + error.message() +
                        "): take care that no other kimbuild works on " + paths_.root + " meanwhile");
            return true;
        case lock_result_t::held_by_another:
            break;
        }
        if (!said)
            say("another kimbuild is at work on " + paths_.root +
                (settings_.no_wait ? "" : "; waiting for its end"));
        said = true;
        if (settings_.no_wait)
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    return false;
}

void build_t::unlock() {
    share_lock_.release();
    tree_lock_.release();
}

// Grouped by options, so that batches are long, and by path within.
std::vector<task_t> build_t::find_tasks(const tree_t &tree, bool force) {
    std::vector<task_t> tasks;
    for (const model_t &model : tree.models) {
        const model_options_t options = options_of(model.path);
        auto reason = force ? std::optional<std::string>("asked for with --force")
                            : why_out_of_date(model, state_->find(model.path), options, converter_, *stamps_);
        if (reason)
            tasks.push_back({model, options, std::move(*reason)});
    }
    std::stable_sort(tasks.begin(), tasks.end(), [](const task_t &a, const task_t &b) {
        return letters_of(a.options) < letters_of(b.options);
    });
    return tasks;
}

bool build_t::convert(std::span<const task_t> tasks, conversion_listener_t &listener) {
    if (tasks.empty())
        return true;
    if (const auto error = append_to_file(paths_.own + "/lock", "")) {
        say_error("nothing can be written in " + paths_.own, error);
        return false;
    }
    std::vector<task_t> convertible;
    bool stop = false;
    for (const task_t &task : tasks) {
        auto error = why_not_convertible(task.model.path);
        if (!error) {
            convertible.push_back(task);
            continue;
        }
        listener.on_progress(task, false);
        listener.on_outcome(task, {false, {}, std::move(*error), 0});
        stop = settings_.stop_at_first;
    }
    if (stop)
        return true;
    conversions_t conversions(paths_, converter_, *state_, *stamps_, stop_,
                              {settings_.jobs, settings_.stop_at_first});
    conversions.run(convertible, listener);
    if (settings_.lint && !stop_.came())
        lint_models(paths_, convertible, settings_.jobs, stop_);
    return true;
}

void build_t::treat_orphans(const tree_t &tree, report_t &report) {
    if (tree.orphans.empty())
        return;
    bool removes = settings_.prune && !settings_.dry_run;
    if (removes && tree.models.empty() && settings_.selection.empty() && settings_.share.of == 1) {
        say_warning("there is not one model in " + paths_.sources +
                    ", which looks like a disk that is not there; "
                    "nothing is removed");
        removes = false;
    }
    if (removes)
        for (size_t left = remove_orphans(paths_, tree.orphans); left > 0; --left)
            report.count_failure();
    report.on_orphans(tree.orphans, removes);
}

build_status_t build_t::build_once() {
    report_t report(paths_, {settings_.verbose, settings_.explain, !settings_.json.empty()});
    if (!settings_.dry_run && !lock())
        return build_could_not_run;
    state_->load();
    const tree_t tree = scan_tree(paths_, request_);
    const std::vector<task_t> tasks = find_tasks(tree, settings_.force);
    report.on_tree(tree, tasks);
    if (settings_.dry_run)
        report.on_dry_run(tasks);
    else if (!convert(tasks, report))
        return build_could_not_run;
    if (!stop_.came())
        treat_orphans(tree, report);
    if (!settings_.dry_run && !tasks.empty() && settings_.selection.empty() && tree.failures.empty())
        state_->tidy([&](std::string_view model) {
            const auto found =
                std::lower_bound(tree.models.begin(), tree.models.end(), model,
                                 [](const model_t &m, std::string_view path) { return m.path < path; });
            return found != tree.models.end() && found->path == model;
        });
    report.print_summary(stop_.came());
    if (!settings_.json.empty())
        if (const auto error = replace_file(settings_.json, report.print_json(converter_, stop_.came()))) {
            say_error(settings_.json + " cannot be written", error);
            return build_could_not_run;
        }
    return report.has_failures() ? build_failed : build_good;
}

build_status_t build_t::write_ninja() {
    const tree_t tree = scan_tree(paths_, request_);
    for (const std::string &failure : tree.failures)
        say_error(failure);
    std::vector<edge_t> edges;
    for (const model_t &model : tree.models) {
        if (const auto error = why_not_convertible(model.path))
            say_warning(printable(model.path) + " is left out: " + *error);
        else
            edges.push_back(find_edge(paths_, model.path, options_of(model.path)));
    }
    // An unchanged file keeps its time, so that an engine does not start anew because of it.
    const std::string text = ninja_file(paths_, edges);
    std::string old;
    if (!read_whole_file(settings_.ninja_file, old) && old == text)
        return tree.failures.empty() ? build_good : build_failed;
    if (const auto error = replace_file(settings_.ninja_file, text)) {
        say_error(settings_.ninja_file + " cannot be written", error);
        return build_could_not_run;
    }
    return tree.failures.empty() ? build_good : build_failed;
}

build_status_t build_t::write_depfile() {
    if (request_.models.size() != 1 || !request_.folders.empty()) {
        say_error("--depfile is for one model: kimbuild ROOT MODEL --depfile FILE");
        return build_could_not_run;
    }
    const std::string &model = request_.models[0];
    if (const size_t slash = settings_.depfile.rfind('/'); slash != std::string::npos && slash > 0)
        make_folders(settings_.depfile.substr(0, slash));
    const auto error = replace_file(settings_.depfile, depfile(paths_, find_edge(paths_, model, {})));
    if (error)
        say_error(settings_.depfile + " cannot be written", error);
    return error ? build_could_not_run : build_good;
}

} // namespace kestrel
