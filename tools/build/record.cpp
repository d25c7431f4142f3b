#include "tools/build/record.h"

#include "tools/build/platform/files.h"

namespace kestrel {

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

std::optional<record_t> read_record(const std::string &path) {
    std::string text;
    if (read_whole_file(path, text))
        return std::nullopt;
    return parse_record(text);
}

} // namespace kestrel
