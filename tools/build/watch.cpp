// Watching: what build_t does when sources are saved.

#include "tools/build/build.h"

#include "tools/build/console.h"
#include "tools/build/model_sources.h"

#include <algorithm>
#include <mutex>

namespace kestrel {

// Editors write in several steps, and copies of folders come in many: what follows within this time belongs
// together.
static constexpr auto quiet_time = std::chrono::milliseconds(15);

namespace {

// Tells each conversion in a line, and remembers what failed.
class watch_report_t final : public conversion_listener_t {
  public:
    explicit watch_report_t(bool verbose) : verbose_(verbose) {}

    void on_progress(const task_t &, bool) override {}
    void on_wait() override {}
    void on_outcome(const task_t &task, const outcome_t &outcome) override {
        if (verbose_)
            put_output(outcome.messages.information);
        put_errors(outcome.messages.errors);
        if (outcome.converted) {
            put_output("converted " + printable(task.model.path) + ": " + task.reason + "\n");
            return;
        }
        say_error(printable(task.model.path) + ": " + outcome.error);
        failed.push_back(task);
    }
    std::vector<task_t> failed;

  private:
    const bool verbose_;
};

bool is_in(const std::string &path, const std::string &folder) {
    return path.starts_with(folder) && path.size() > folder.size() && path[folder.size()] == '/';
}

void put_into(tree_t &tree, std::vector<model_t> models) {
    for (model_t &model : models) {
        const auto place =
            std::lower_bound(tree.models.begin(), tree.models.end(), model.path,
                             [](const model_t &m, const std::string &p) { return m.path < p; });
        if (place != tree.models.end() && place->path == model.path)
            *place = std::move(model);
        else
            tree.models.insert(place, std::move(model));
    }
}

} // namespace

build_t::failed_try_t build_t::try_of(const task_t &task) {
    failed_try_t failed{task.model.source, skeleton_named_by(paths_, task.model.path), {}, task.options};
    if (!failed.skeleton.empty())
        failed.skeleton_stamp = stamps_->of(failed.skeleton);
    return failed;
}

// Brings the picture of the tree up to date. False when it has to be made anew.
bool build_t::look_at_changes(const folder_changes_t &changes, tree_t &tree) {
    if (changes.missed_some || changes.files.contains(paths_.source("/" + std::string(rules_name))))
        return false;
    for (const std::string &folder : changes.folders) {
        const std::string path = folder.substr(paths_.sources.size());
        std::erase_if(tree.models, [&](const model_t &model) { return is_in(model.path, path); });
        if (path.find("/.") != std::string::npos || !is_folder(folder))
            continue;
        scan_request_t request = request_;
        request.folders = {path};
        request.models.clear();
        put_into(tree, scan_tree(paths_, request).models);
    }
    for (const std::string &file : changes.files) {
        const std::string path = file.substr(paths_.sources.size());
        const std::string_view name = std::string_view(path).substr(path.rfind('/') + 1);
        if (!is_model_name(name) || !is_selected(path))
            continue;
        if (model_t model = look_at_model(paths_, path); model.source.exists())
            put_into(tree, {std::move(model)});
        else
            std::erase_if(tree.models, [&](const model_t &known) { return known.path == path; });
    }
    return true;
}

void build_t::convert_changed(tree_t &tree) {
    std::vector<task_t> tasks = find_tasks(tree, false);
    std::erase_if(tasks, [&](const task_t &task) {
        const auto failed = failed_tries_.find(task.model.path);
        return failed != failed_tries_.end() && failed->second == try_of(task);
    });
    watch_report_t report(settings_.verbose);
    convert(tasks, report);
    for (const task_t &task : tasks) {
        put_into(tree, {look_at_model(paths_, task.model.path)});
        failed_tries_.erase(task.model.path);
    }
    for (const task_t &task : report.failed)
        failed_tries_[task.model.path] = try_of(task);
}

build_status_t build_t::watch() {
    std::error_code error;
    const auto watcher = make_folder_watcher(stop_, error);
    if (!watcher) {
        say_error("the system cannot watch folders", error);
        return build_could_not_run;
    }
    std::mutex error_mutex;
    request_.on_folder = [&](const std::string &folder) {
        if (const auto failed = watcher->add(folder)) {
            const std::lock_guard guard(error_mutex);
            error = failed;
        }
    };
    for (const std::string &model : request_.models)
        request_.on_folder(paths_.source(model.substr(0, model.rfind('/'))));
    tree_t tree;
    bool is_known = false;
    for (folder_changes_t changes; !stop_.came(); changes = watcher->wait(quiet_time)) {
        if (!lock())
            return build_could_not_run;
        stamps_->forget();
        if (is_known && !state_->changed_by_others() && look_at_changes(changes, tree)) {
            convert_changed(tree);
        } else {
            auto rules = load_rules(paths_.sources);
            if (rules)
                rules_ = std::move(*rules);
            state_->load();
            tree = scan_tree(paths_, request_);
            for (const std::string &failure : tree.failures)
                say_error(failure);
            convert_changed(tree);
            if (!is_known)
                put_output("watching " + paths_.sources + " (" + std::to_string(tree.models.size()) +
                           " models)\n");
            is_known = true;
        }
        unlock();
        if (error) {
            const bool is_limit = error == std::errc::no_space_on_device;
            say_error("not all folders can be watched" +
                          std::string(is_limit ? " (the system's limit is fs.inotify.max_user_watches)" : ""),
                      error);
            return build_could_not_run;
        }
    }
    return build_good;
}

} // namespace kestrel
