#include "tools/build/batch.h"

#include <random>

namespace kestrel {

static constexpr size_t mark_size = 6;
static constexpr std::string_view error_prefix = "*** ERROR *** : ";

// As few bytes as possible: they are the models' room on the command line.
static std::string make_mark() {
    static std::mt19937_64 random(std::random_device{}());
    constexpr std::string_view letters = "0123456789abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ_-";
    std::string mark = "@";
    while (mark.size() < mark_size)
        mark += letters[random() % letters.size()];
    return mark;
}

static const std::string program_name = "kim2kmg";

static std::vector<std::string> option_arguments(const tree_paths_t &paths, const model_options_t &options) {
    std::vector<std::string> arguments = converter_arguments(options);
    arguments.insert(arguments.begin(), {"-root", paths.root});
    return arguments;
}

batch_limits_t::batch_limits_t(const tree_paths_t &paths, const model_options_t &options)
    : arguments_(1), bytes_(program_name.size() + 1) {
    for (const std::string &argument : option_arguments(paths, options)) {
        ++arguments_;
        bytes_ += argument.size() + 1;
    }
}

bool batch_limits_t::take(std::string_view model) {
    const size_t bytes = model.size() + 1 + mark_size + 1;
    if (arguments_ + 2 > most_arguments || bytes_ + bytes > most_argument_bytes)
        return false;
    arguments_ += 2;
    bytes_ += bytes;
    return true;
}

batch_t::batch_t(const tree_paths_t &paths, const model_options_t &options, std::vector<std::string> models)
    : paths_(paths), models_(std::move(models)), messages_(models_.size() + 1) {
    const std::string mark = make_mark();
    command_.program = paths.converter;
    command_.arguments.push_back(program_name);
    for (const std::string &model : models_) {
        command_.arguments.push_back(model);
        command_.arguments.push_back(mark);
    }
    for (std::string &argument : option_arguments(paths, options))
        command_.arguments.push_back(std::move(argument));
    mark_line_ = std::string(error_prefix) + mark + ": invalid filename (should end with '.kim')\r\n";
}

void batch_t::take_line(std::string_view line, const std::function<void(size_t)> &on_finished) {
    if (finished_ < models_.size() && line == mark_line_)
        on_finished(finished_++);
    else
        messages_[finished_].errors += line;
}

void batch_t::written(stream_t stream, std::string_view text,
                      const std::function<void(size_t)> &on_finished) {
    if (stream == stream_t::output) {
        information_ += text;
        return;
    }
    rest_ += text;
    size_t start = 0;
    for (size_t end; (end = rest_.find('\n', start)) != std::string::npos; start = end + 1)
        take_line(std::string_view(rest_).substr(start, end + 1 - start), on_finished);
    rest_.erase(0, start);
}

// The first model from the current one on that the line names as its source; what names none goes on with the
// current one.
size_t batch_t::model_of_information(std::string_view line, size_t current) const {
    for (size_t m = current; m < models_.size(); ++m)
        if (line.starts_with("[kim2kmg] <" + paths_.sources + " | >" + models_[m] + ":"))
            return m;
    return current;
}

std::vector<batch_t::messages_t> batch_t::take_messages() {
    messages_[finished_].errors += rest_;
    rest_.clear();
    size_t current = 0;
    for (std::string_view left = information_; !left.empty();) {
        const std::string_view line = left.substr(0, std::min(left.find('\n'), left.size() - 1) + 1);
        left.remove_prefix(line.size());
        current = model_of_information(line, current);
        messages_[current].information += line;
    }
    information_.clear();
    messages_t after = std::move(messages_.back());
    messages_.pop_back();
    messages_.back().errors += after.errors;
    return std::move(messages_);
}

std::string first_error(std::string_view errors) {
    const size_t start = errors.find(error_prefix);
    if (start == std::string_view::npos)
        return {};
    errors.remove_prefix(start + error_prefix.size());
    return std::string(errors.substr(0, errors.find_first_of("\r\n")));
}

} // namespace kestrel
