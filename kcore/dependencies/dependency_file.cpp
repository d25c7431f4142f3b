#include "kcore/dependencies/dependency_file.h"

#include "kcore/kutils/ufs/fs_copy.h"
#include "kcore/kutils/ufs/mem_file.h"
#include "kcore/messages/messages.h"
#include "kcore/ufs/file_system.h"

#include <new>

namespace kestrel {

static constexpr std::string_view version_mark = "version:";
static constexpr uint32_t max_version_length = 15;

bool dependency_record_t::set_primary_source(std::string_view path) {
    if (!sources_.empty())
        msg_error("Attempt to set multiple primary sources.");
    return append(path);
}

bool dependency_record_t::add_dependency(std::string_view path) {
    if (sources_.empty())
        msg_error("Attempt to set dependency without setting the primary source first.");
    return append(path);
}

bool dependency_record_t::append(std::string_view path) {
    try {
        sources_.push_back(string_dyn_t(path));
        return true;
    } catch (const std::bad_alloc &) {
        return false;
    }
}

static bool print_record(file_t &file, const dependency_record_t &record) {
    if (!file.printf("version:%s\r\n", record.version().c_str()))
        return false;
    for (const string_dyn_t &source : record.sources())
        if (!file.printf("%s\r\n", source.c_str()))
            return false;
    return true;
}

bool write_dependency_file(rcfs_device_t &device, const dependency_record_t &record,
                           std::string_view output_path) {
    // What may run out of memory comes before there is a file that would have to go again.
    mem_file_t text;
    if (!print_record(text, record))
        return false;
    sysfs_device_t &store = device.dependency_store();
    fs_path_t location;
    if (!store.get_system_location(output_path, location))
        return msg_error("%s: failed to get system location of dependency file.",
                         string_dyn_t(output_path).c_str());
    const std::unique_ptr<file_t> file =
        fs_device_open(location.view(), fs_open_mode_t::create_truncate, fs_device_type_t::sysfs);
    if (!file)
        return false;
    const bool copied = fs_copy(file.get(), &text);
    if (file->close() && copied)
        return true;
    store.remove_file(output_path);
    return false;
}

// The line at the start of the text, less what ends it; the text goes on behind it.
static std::string_view take_line(std::string_view &text) {
    const size_t end = text.find('\n');
    std::string_view line = text.substr(0, end);
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    return line.substr(0, line.find('\r'));
}

// What stands between the leading blanks and the next one.
static std::string_view first_word(std::string_view line) {
    line.remove_prefix(std::min(line.find_first_not_of(' '), line.size()));
    return line.substr(0, line.find(' '));
}

bool parse_dependency_text(std::string_view text, dependency_record_t &record, std::string_view output_path) {
    const string_dyn_t name(output_path);
    const char *const path = name.c_str();
    dependency_record_t parsed;
    while (!text.empty()) {
        const std::string_view word = first_word(take_line(text));
        if (word.empty())
            return msg_error("Error processing dependency file '%s'.", path);
        if (word.starts_with(version_mark)) {
            parsed.set_version(word.substr(version_mark.size(), max_version_length));
            continue;
        }
        const size_t count = parsed.sources().size();
        if (!(count == 0 ? parsed.set_primary_source(word) : parsed.add_dependency(word)))
            return msg_error("Too many dependencies (%Iu) in dependency file '%s'.", count, path);
    }
    if (parsed.version().empty())
        return msg_error("Malformed dependency file '%s' - missing '%s'.", path, "version:");
    if (parsed.sources().empty())
        return msg_error("Malformed dependency file '%s' - missing sources.", path);
    record = std::move(parsed);
    return true;
}

bool read_dependency_file(rcfs_device_t &device, dependency_record_t &record, std::string_view output_path) {
    const std::unique_ptr<file_t> file = device.dependency_store().open(output_path, fs_open_mode_t::read);
    if (!file)
        return false;
    array_dyn_t<char> text;
    text.resize(file->get_size());
    if (!file->read(std::as_writable_bytes(text.items())))
        return msg_error("Error reading dependency file '%s'.", string_dyn_t(output_path).c_str());
    return parse_dependency_text({text.data(), text.size()}, record, output_path);
}

} // namespace kestrel
