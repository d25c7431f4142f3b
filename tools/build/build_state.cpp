#include "tools/build/build_state.h"

#include "tools/build/console.h"

#include <algorithm>
#include <charconv>

namespace kestrel {

static constexpr std::string_view first_line = "kimbuild-state 1\n";
static constexpr size_t few_lines = 1000; // a file this short is never worth being written anew

static std::string escaped(std::string_view path) {
    std::string text;
    for (const char c : path) {
        if (c == '\t')
            text += "\\t";
        else if (c == '\n')
            text += "\\n";
        else if (c == '\\')
            text += "\\\\";
        else
            text += c;
    }
    return text;
}

static bool unescape(std::string_view text, std::string &path) {
    path.clear();
    for (size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '\\') {
            path += text[i];
            continue;
        }
        const char code = ++i < text.size() ? text[i] : '\0';
        if (code != 't' && code != 'n' && code != '\\')
            return false;
        path += code == 't' ? '\t' : code == 'n' ? '\n' : '\\';
    }
    return path.starts_with('/');
}

static void append_stamp(std::string &line, const file_stamp_t &stamp) {
    if (stamp.exists())
        line += std::to_string(stamp.time) + "." + std::to_string(stamp.size);
    else
        line += "-";
}

template <class T>
static bool parse_number(std::string_view text, T &value, int base = 10) {
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value, base);
    return error == std::errc() && end == text.data() + text.size();
}

static bool parse_stamp(std::string_view text, file_stamp_t &stamp) {
    stamp = {};
    if (text == "-")
        return true;
    const size_t point = text.find('.');
    return point != std::string_view::npos && parse_number(text.substr(0, point), stamp.time) &&
           parse_number(text.substr(point + 1), stamp.size);
}

// The field at the start of the line; the line goes on behind its tab.
static std::string_view take_field(std::string_view &line) {
    const size_t tab = line.find('\t');
    const std::string_view field = line.substr(0, tab);
    line.remove_prefix(tab == std::string_view::npos ? line.size() : tab + 1);
    return field;
}

std::string state_line(std::string_view model, const seen_model_t &seen) {
    char converter[17] = {};
    std::to_chars(converter, converter + 16, seen.converter, 16);
    std::string line = letters_of(seen.options) + "\t" + seen.version + "\t" + converter;
    for (const file_stamp_t &stamp : {seen.source, seen.output, seen.record}) {
        line += "\t";
        append_stamp(line, stamp);
    }
    line += "\t" + escaped(model);
    for (const seen_source_t &source : seen.further) {
        line += "\t";
        append_stamp(line, source.stamp);
        line += "\t" + escaped(source.path);
    }
    return line + "\n";
}

bool parse_state_line(std::string_view line, std::string &model, seen_model_t &seen) {
    const auto options = options_from_letters(take_field(line));
    seen.version = take_field(line);
    if (!options || seen.version.empty() || !parse_number(take_field(line), seen.converter, 16))
        return false;
    seen.options = *options;
    for (file_stamp_t *stamp : {&seen.source, &seen.output, &seen.record})
        if (!parse_stamp(take_field(line), *stamp))
            return false;
    if (!unescape(take_field(line), model))
        return false;
    seen.further.clear();
    while (!line.empty()) {
        seen_source_t &source = seen.further.emplace_back();
        if (!parse_stamp(take_field(line), source.stamp) || !unescape(take_field(line), source.path))
            return false;
    }
    return true;
}

std::string build_state_t::own_name() const {
    return share_.of == 1 ? "state"
                          : "state-" + std::to_string(share_.part + 1) + "-of-" + std::to_string(share_.of);
}

std::vector<build_state_t::state_file_t> build_state_t::look_at_files() const {
    const auto wishes = [](std::string_view name) {
        const bool is_state = name == "state" || (name.starts_with("state-") && !name.ends_with(".new"));
        return is_state ? file_wish_t::stamp : file_wish_t::nothing;
    };
    folder_listing_t listing;
    std::vector<state_file_t> files;
    if (!list_folder(paths_.own, wishes, listing))
        for (const folder_entry_t &entry : listing.entries)
            if (!entry.is_folder)
                files.push_back({entry.name, entry.stamp});
    return files;
}

bool build_state_t::load_file(const std::string &name) {
    const std::string path = paths_.own + "/" + name;
    std::string content;
    if (const auto error = read_whole_file(path, content)) {
        say_error(path, error);
        return false;
    }
    if (!content.starts_with(first_line)) {
        say_warning(path +
                    " is not of this program's version; it is ignored, what it knew is converted again");
        return false;
    }
    std::string_view text = content;
    text.remove_prefix(first_line.size());
    std::vector<std::pair<std::string, seen_model_t>> read;
    for (size_t end; (end = text.find('\n')) != std::string_view::npos; text.remove_prefix(end + 1)) {
        auto &[model, seen] = read.emplace_back();
        if (!parse_state_line(text.substr(0, end), model, seen)) {
            say_warning(path + ":" + std::to_string(read.size() + 1) +
                        ": damaged; the file is ignored, what it knew is converted again");
            return false;
        }
    }
    for (auto &[model, seen] : read) {
        seen_model_t &known = models_[std::move(model)];
        if (seen.record.time >= known.record.time)
            known = std::move(seen);
    }
    if (name == own_name()) {
        lines_ = read.size();
        own_is_new_ = !text.empty(); // a line that was cut off must not become the start of the next
    }
    return true;
}

void build_state_t::load() {
    models_.clear();
    lines_ = 0;
    own_is_new_ = true;
    files_ = look_at_files();
    for (const state_file_t &file : files_)
        load_file(file.name);
}

const seen_model_t *build_state_t::find(std::string_view model) const {
    const auto found = models_.find(model);
    return found == models_.end() ? nullptr : &found->second;
}

std::error_code build_state_t::add(std::vector<std::pair<std::string, seen_model_t>> conversions) {
    std::string lines;
    for (auto &[model, seen] : conversions) {
        lines += state_line(model, seen);
        models_[std::move(model)] = std::move(seen);
    }
    lines_ += conversions.size();
    if (own_is_new_)
        return tidy([](std::string_view) { return true; });
    const auto error = append_to_file(paths_.own + "/" + own_name(), lines);
    own_is_new_ = static_cast<bool>(error); // a part of a line may have been written
    files_ = look_at_files();
    return error;
}

std::error_code build_state_t::tidy(const std::function<bool(std::string_view)> &exists) {
    if (!own_is_new_ && lines_ <= few_lines + 2 * models_.size())
        return {};
    std::erase_if(models_, [&](const auto &known) { return !exists(known.first); });
    std::string text(first_line);
    lines_ = 0;
    for (const auto &[model, seen] : models_) {
        if (!share_.holds(model))
            continue;
        text += state_line(model, seen);
        ++lines_;
    }
    const auto error = replace_file(paths_.own + "/" + own_name(), text);
    own_is_new_ = static_cast<bool>(error);
    if (!error && share_.of == 1)
        for (const state_file_t &file : files_)
            if (file.name != own_name())
                remove_file(paths_.own + "/" + file.name);
    files_ = look_at_files();
    return error;
}

} // namespace kestrel
