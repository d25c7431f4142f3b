#include "tools/build/model_sources.h"

#include "tools/build/platform/files.h"
#include "tools/conv/intermediate/scanner.h"

namespace kestrel {

static constexpr size_t longest_record = 1 << 16;
static constexpr std::string_view line_end = "\r\n";
static constexpr std::string_view version_mark = "version:";

std::optional<record_t> parse_record(std::string_view text) {
    record_t record;
    while (!text.empty()) {
        const size_t end = text.find(line_end);
        if (end == std::string_view::npos)
            return std::nullopt;
        const std::string_view line = text.substr(0, end);
        text.remove_prefix(end + line_end.size());
        if (line.starts_with(version_mark))
            record.version = line.substr(version_mark.size());
        else
            record.sources.emplace_back(line);
    }
    if (record.version.empty() || record.sources.empty())
        return std::nullopt;
    return record;
}

size_t record_size(const record_t &record) {
    size_t size = version_mark.size() + record.version.size() + line_end.size();
    for (const std::string &source : record.sources)
        size += source.size() + line_end.size();
    return size;
}

std::optional<record_t> read_record(const std::string &path) {
    std::string text;
    if (read_file_start(path, longest_record, text) || text.size() == longest_record)
        return std::nullopt;
    return parse_record(text);
}

static constexpr size_t usual_head = 4096;
static constexpr size_t longest_head = 1 << 20;

bool find_skeleton_name(std::string_view text, std::string &name) {
    text_file_t file(text, "");
    scanner_t scanner(file);
    bool in_global = false;
    for (token_kind_t token; (token = scanner.next()) != token_kind_t::end_of_input;) {
        if (token == "GLOBAL"_kw) {
            in_global = true;
        } else if (in_global && token == "SKELETON"_kw) {
            if (scanner.next() != token_kind_t::colon || scanner.next() == token_kind_t::end_of_input)
                return false;
            name = scanner.string();
            return true;
        } else if (in_global && token == token_kind_t::right_brace) {
            name.clear();
            return true;
        }
    }
    return false;
}

std::string skeleton_named_by(const tree_paths_t &paths, const std::string &model) {
    for (size_t limit = usual_head; limit <= longest_head; limit *= 16) {
        std::string head, name;
        if (read_file_start(paths.source(model), limit, head))
            return {};
        if (find_skeleton_name(head, name))
            return name.empty() ? std::string() : std::string(folder_of(model)) + name;
        if (head.size() < limit)
            break;
    }
    return {};
}

} // namespace kestrel
