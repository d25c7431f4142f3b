#include "tools/build/report.h"

#include "tools/build/console.h"

#include <algorithm>
#include <cstdio>
#include <nlohmann/json.hpp>

namespace kestrel {

using json_t = nlohmann::ordered_json;
using std::chrono::steady_clock;

static constexpr size_t shown_orphans = 20;
static constexpr auto between_drawings = std::chrono::milliseconds(100);
static constexpr auto between_lines = std::chrono::seconds(5); // where there is no terminal

struct report_t::json_models_t {
    json_t models = json_t::array();
};

report_t::report_t(const tree_paths_t &paths, const report_settings_t &settings)
    : paths_(paths), settings_(settings) {
    if (settings.json)
        json_models_ = std::make_unique<json_models_t>();
}

report_t::~report_t() = default;

double report_t::seconds() const {
    return std::chrono::duration<double>(steady_clock::now() - start_).count();
}

static std::string with_unit(uint64_t bytes) {
    constexpr const char *units[] = {"bytes", "kB", "MB", "GB", "TB"};
    auto value = static_cast<double>(bytes);
    size_t unit = 0;
    for (; value >= 1000 && unit + 1 < std::size(units); ++unit)
        value /= 1000;
    char text[32];
    std::snprintf(text, sizeof text, unit == 0 || value >= 100 ? "%.0f %s" : "%.1f %s", value, units[unit]);
    return text;
}

static std::string with_digits(double value, int digits) {
    char text[32];
    std::snprintf(text, sizeof text, "%.*f", digits, value);
    return text;
}

static std::string counted(size_t count, const char *one, const char *many) {
    return std::to_string(count) + " " + (count == 1 ? one : many);
}

static void put_tasks(std::span<const task_t> tasks) {
    std::string text;
    for (const task_t &task : tasks)
        text += printable(task.model.path) + ": " + task.reason + "\n";
    put_output(text);
}

static json_t text_list(std::string_view text) {
    json_t lines = json_t::array();
    while (!text.empty()) {
        const size_t end = text.find('\n');
        std::string_view line = text.substr(0, end);
        text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
        if (line.ends_with('\r'))
            line.remove_suffix(1);
        lines.push_back(line);
    }
    return lines;
}

static json_t json_of(const task_t &task, const char *status) {
    json_t options = json_t::array();
    for (const option_name_t &option : option_names)
        if (task.options.*option.flag)
            options.push_back(option.name);
    return {{"model", task.model.path},
            {"status", status},
            {"reason", task.reason},
            {"options", options},
            {"source_bytes", task.model.source.size}};
}

void report_t::on_tree(const tree_t &tree, std::span<const task_t> tasks) {
    models_ += tree.models.size();
    tasks_ += tasks.size();
    for (const std::string &failure : tree.failures)
        say_error(failure);
    for (const std::string &remark : tree.remarks)
        say_warning(remark);
    other_failures_ += tree.failures.size();
    if (settings_.explain)
        put_tasks(tasks);
    first_task_ = last_drawn_ = steady_clock::now();
    if (!json_models_ || tasks.size() == tree.models.size())
        return;
    std::vector<std::string_view> out_of_date;
    for (const task_t &task : tasks)
        out_of_date.push_back(task.model.path);
    std::sort(out_of_date.begin(), out_of_date.end());
    for (const model_t &model : tree.models)
        if (!std::binary_search(out_of_date.begin(), out_of_date.end(), model.path))
            json_models_->models.push_back({{"model", model.path}, {"status", "up to date"}});
}

void report_t::on_dry_run(std::span<const task_t> tasks) {
    dry_run_ = true;
    if (!settings_.explain)
        put_tasks(tasks);
    if (json_models_)
        for (const task_t &task : tasks)
            json_models_->models.push_back(json_of(task, "out of date"));
}

void report_t::on_progress(const task_t &task, bool converted) {
    ++finished_;
    failed_ += !converted;
    last_model_ = task.model.path;
    draw_progress();
}

void report_t::on_wait() {
    draw_progress();
}

void report_t::draw_progress() {
    const auto now = steady_clock::now();
    if (now - last_drawn_ < (has_terminal() ? steady_clock::duration(between_drawings) : between_lines))
        return;
    last_drawn_ = now;
    const double passed = std::chrono::duration<double>(now - first_task_).count();
    const size_t finished = std::min(finished_, tasks_);
    std::string text = std::to_string(finished) + " of " + std::to_string(tasks_) + ", " +
                       with_digits(static_cast<double>(finished) / passed, 0) + " a second";
    if (failed_ > 0)
        text += ", " + std::to_string(failed_) + " failed";
    if (!has_terminal()) {
        put_output(text + "\n");
        return;
    }
    constexpr size_t width = 24;
    const size_t filled = finished * width / std::max<size_t>(tasks_, 1);
    show_progress("[" + std::string(filled, '#') + std::string(width - filled, '.') + "] " + text + "  " +
                  printable(last_model_));
}

void report_t::on_outcome(const task_t &task, const outcome_t &outcome) {
    if (settings_.verbose)
        put_output(outcome.messages.information);
    if (!outcome.messages.errors.empty())
        put_errors(outcome.messages.errors);
    if (outcome.converted) {
        ++converted_;
        source_bytes_ += task.model.source.size;
        output_bytes_ += outcome.output_size;
    } else {
        if (outcome.error != first_error(outcome.messages.errors)) // it is not the converter's
            say_error(printable(task.model.path) + ": " + outcome.error);
        failures_.push_back({task.model.path, outcome.error});
    }
    if (!json_models_)
        return;
    json_t model = json_of(task, outcome.converted ? "converted" : "failed");
    if (outcome.converted)
        model["output_bytes"] = outcome.output_size;
    else
        model["error"] = outcome.error;
    if (!outcome.messages.errors.empty())
        model["messages"] = text_list(outcome.messages.errors);
    if (!outcome.messages.information.empty())
        model["information"] = text_list(outcome.messages.information);
    json_models_->models.push_back(std::move(model));
}

void report_t::on_orphans(const std::vector<std::string> &orphans, bool removed) {
    orphans_ = orphans;
    orphans_removed_ = removed;
}

void report_t::print_summary(bool interrupted) {
    clear_progress();
    std::string text;
    const auto line = [&](const std::string &what) { text += what + "\n"; };
    if (!orphans_.empty()) {
        line(orphans_removed_
                 ? "removed " + counted(orphans_.size(), "output", "outputs") + " whose source is gone:"
                 : counted(orphans_.size(), "output has no source", "outputs have no source") +
                       " any more (--prune removes such):");
        const size_t shown = settings_.verbose ? orphans_.size() : std::min(orphans_.size(), shown_orphans);
        for (size_t i = 0; i < shown; ++i)
            line("  " + printable(orphans_[i]));
        if (shown < orphans_.size())
            line("  and " + std::to_string(orphans_.size() - shown) + " more (--verbose lists all)");
    }
    const size_t left = tasks_ - std::min(tasks_, converted_ + failures_.size());
    if (!failures_.empty()) {
        line("failed:");
        for (const failure_t &failure : failures_)
            line("  " + printable(failure.model) + ": " + printable(failure.error));
    }
    std::string counts = "converted " + std::to_string(converted_) + ", up to date " +
                         std::to_string(models_ - std::min(models_, tasks_)) + ", failed " +
                         std::to_string(failures_.size());
    if (left > 0)
        counts += (dry_run_ ? ", out of date " : ", left ") + std::to_string(left);
    if (converted_ > 0)
        counts += "; " + with_unit(source_bytes_) + " to " + with_unit(output_bytes_);
    line(counts + (interrupted ? "; interrupted after " : "; ") + with_digits(seconds(), 2) + " s");
    put_output(text);
}

std::string report_t::print_json(const converter_t &converter, bool interrupted) const {
    const json_t counts = {{"models", models_},
                           {"converted", converted_},
                           {"up_to_date", models_ - std::min(models_, tasks_)},
                           {"failed", failures_.size()},
                           {"other_failures", other_failures_},
                           {"source_bytes", source_bytes_},
                           {"output_bytes", output_bytes_}};
    const json_t all = {{"format", "kimbuild-report 1"},
                        {"base", paths_.base},
                        {"root", paths_.root},
                        {"converter_version", converter.version},
                        {"seconds", seconds()},
                        {"interrupted", interrupted},
                        {"counts", counts},
                        {"models", json_models_->models},
                        {"orphans", orphans_},
                        {"orphans_removed", orphans_removed_}};
    return all.dump(1, ' ', false, json_t::error_handler_t::replace) + "\n";
}

} // namespace kestrel
