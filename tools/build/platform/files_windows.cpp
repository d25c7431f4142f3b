#include "kcore/strings/platform/wide_text_windows.h"
#include "kcore/strings/utf8_path.h"
#include "tools/build/platform/files.h"

#include <algorithm>
#include <memory>
#include <windows.h>

namespace kestrel {

namespace {

constexpr DWORD all_sharing = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;

class handle_t {
  public:
    explicit handle_t(HANDLE handle) : handle_(handle) {}
    handle_t(const handle_t &) = delete;
    handle_t &operator=(const handle_t &) = delete;
    ~handle_t() {
        if (is_valid())
            CloseHandle(handle_);
    }
    bool is_valid() const { return handle_ != INVALID_HANDLE_VALUE; }
    operator HANDLE() const { return handle_; }
    std::error_code close_now() {
        return CloseHandle(std::exchange(handle_, INVALID_HANDLE_VALUE)) ? std::error_code()
                                                                         : wide_call_error();
    }

  private:
    HANDLE handle_;
};

int64_t nanoseconds_since_1970(const FILETIME &time) {
    constexpr int64_t ticks_from_1601_to_1970 = 116'444'736'000'000'000, nanoseconds_a_tick = 100;
    const auto ticks =
        static_cast<int64_t>(uint64_t{time.dwHighDateTime} << 32 | uint64_t{time.dwLowDateTime});
    return (ticks - ticks_from_1601_to_1970) * nanoseconds_a_tick;
}

// From any of the system's records of a file.
template <class record_t>
file_stamp_t stamp_from(const record_t &found) {
    return {nanoseconds_since_1970(found.ftLastWriteTime),
            uint64_t{found.nFileSizeHigh} << 32 | uint64_t{found.nFileSizeLow}};
}
template <class record_t>
bool is_folder_in(const record_t &found) {
    return (found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

// Of what a link leads to.
bool look_through(const std::wstring &path, BY_HANDLE_FILE_INFORMATION &found) {
    const handle_t target(CreateFileW(path.c_str(), FILE_READ_ATTRIBUTES, all_sharing, nullptr, OPEN_EXISTING,
                                      FILE_FLAG_BACKUP_SEMANTICS, nullptr));
    return target.is_valid() && GetFileInformationByHandle(target, &found);
}

// Completes what the folder itself says about an entry. False for entries that are not listed.
bool complete_entry(const std::wstring &folder, const WIN32_FIND_DATAW &found, const file_wishes_t &wishes,
                    folder_entry_t &entry) {
    const bool is_link =
        (found.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0 &&
        (found.dwReserved0 == IO_REPARSE_TAG_SYMLINK || found.dwReserved0 == IO_REPARSE_TAG_MOUNT_POINT);
    BY_HANDLE_FILE_INFORMATION target;
    if (is_link && !look_through(folder + L"/" + found.cFileName, target))
        return false;
    entry.is_link = is_link;
    entry.is_folder = is_link ? is_folder_in(target) : is_folder_in(found);
    entry.stamp = is_link ? stamp_from(target) : stamp_from(found);
    return entry.is_folder || wishes(entry.name) != file_wish_t::nothing;
}

bool find_attributes(const std::string &path, WIN32_FILE_ATTRIBUTE_DATA &found) {
    return GetFileAttributesExW(utf8_to_wide(path).c_str(), GetFileExInfoStandard, &found) != 0;
}

std::error_code write_all(HANDLE file, std::string_view content) {
    constexpr size_t most_at_once = size_t{1} << 30;
    while (!content.empty()) {
        DWORD written = 0;
        if (!WriteFile(file, content.data(), static_cast<DWORD>(std::min(content.size(), most_at_once)),
                       &written, nullptr))
            return wide_call_error();
        content.remove_prefix(written);
    }
    return {};
}

std::error_code write_and_close(handle_t &file, std::string_view content) {
    const std::error_code writing = write_all(file, content);
    const std::error_code closing = file.close_now();
    return writing ? writing : closing;
}

} // namespace

int64_t time_now() {
    FILETIME now;
    GetSystemTimeAsFileTime(&now);
    return nanoseconds_since_1970(now);
}

std::error_code list_folder(const std::string &path, const file_wishes_t &wishes, folder_listing_t &listing) {
    listing.entries.clear();
    const std::wstring folder = utf8_to_wide(path);
    BY_HANDLE_FILE_INFORMATION self;
    if (!look_through(folder, self))
        return wide_call_error();
    listing.id = {self.dwVolumeSerialNumber,
                  uint64_t{self.nFileIndexHigh} << 32 | uint64_t{self.nFileIndexLow}};
    WIN32_FIND_DATAW found;
    const HANDLE search = FindFirstFileExW((folder + L"/*").c_str(), FindExInfoBasic, &found,
                                           FindExSearchNameMatch, nullptr, FIND_FIRST_EX_LARGE_FETCH);
    if (search == INVALID_HANDLE_VALUE)
        return wide_call_error();
    const std::unique_ptr<void, BOOL (*)(HANDLE)> closed(search, FindClose);
    do {
        folder_entry_t entry{wide_to_bytes(found.cFileName), false, false, {}};
        if (entry.name != "." && entry.name != ".." && complete_entry(folder, found, wishes, entry))
            listing.entries.push_back(std::move(entry));
    } while (FindNextFileW(search, &found));
    if (GetLastError() != ERROR_NO_MORE_FILES)
        return wide_call_error();
    std::sort(listing.entries.begin(), listing.entries.end(),
              [](const folder_entry_t &a, const folder_entry_t &b) { return a.name < b.name; });
    return {};
}

file_stamp_t stamp_of(const std::string &path) {
    WIN32_FILE_ATTRIBUTE_DATA found;
    if (!find_attributes(path, found) || is_folder_in(found))
        return {};
    if ((found.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) == 0)
        return stamp_from(found);
    BY_HANDLE_FILE_INFORMATION target;
    return look_through(utf8_to_wide(path), target) && !is_folder_in(target) ? stamp_from(target)
                                                                             : file_stamp_t();
}

bool is_folder(const std::string &path) {
    BY_HANDLE_FILE_INFORMATION found;
    return look_through(utf8_to_wide(path), found) && is_folder_in(found);
}

std::error_code read_file_start(const std::string &path, size_t limit, std::string &content) {
    content.clear();
    const handle_t file(CreateFileW(utf8_to_wide(path).c_str(), GENERIC_READ, all_sharing, nullptr,
                                    OPEN_EXISTING, FILE_FLAG_SEQUENTIAL_SCAN, nullptr));
    BY_HANDLE_FILE_INFORMATION found;
    if (!file.is_valid())
        return wide_call_error();
    if (GetFileType(file) != FILE_TYPE_DISK)
        return std::make_error_code(std::errc::invalid_argument);
    if (!GetFileInformationByHandle(file, &found))
        return wide_call_error();
    content.resize(std::min<uint64_t>(limit, stamp_from(found).size));
    size_t filled = 0;
    while (filled < content.size()) {
        constexpr size_t most_at_once = size_t{1} << 30;
        DWORD got = 0;
        if (!ReadFile(file, content.data() + filled,
                      static_cast<DWORD>(std::min(content.size() - filled, most_at_once)), &got, nullptr))
            return wide_call_error();
        if (got == 0)
            break;
        filled += got;
    }
    content.resize(filled);
    return {};
}

std::error_code read_whole_file(const std::string &path, std::string &content) {
    return read_file_start(path, std::numeric_limits<size_t>::max(), content);
}

// Names of devices, such as NUL, have no attributes of files.
std::error_code replace_file(const std::string &path, std::string_view content) {
    const std::wstring target = utf8_to_wide(path), written = target + L".new";
    handle_t device(
        CreateFileW(target.c_str(), GENERIC_WRITE, all_sharing, nullptr, OPEN_EXISTING, 0, nullptr));
    if (device.is_valid() && GetFileType(device) != FILE_TYPE_DISK)
        return write_and_close(device, content);
    if (device.is_valid())
        device.close_now();
    handle_t file(CreateFileW(written.c_str(), GENERIC_WRITE, FILE_SHARE_READ, nullptr, CREATE_ALWAYS,
                              FILE_ATTRIBUTE_NORMAL, nullptr));
    if (!file.is_valid())
        return wide_call_error();
    std::error_code error = write_and_close(file, content);
    if (!error && !MoveFileExW(written.c_str(), target.c_str(), MOVEFILE_REPLACE_EXISTING))
        error = wide_call_error();
    if (error)
        DeleteFileW(written.c_str());
    return error;
}

std::error_code append_to_file(const std::string &path, std::string_view content) {
    handle_t file(CreateFileW(utf8_to_wide(path).c_str(), FILE_APPEND_DATA,
                              FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL,
                              nullptr));
    return file.is_valid() ? write_and_close(file, content) : wide_call_error();
}

std::error_code make_folders(const std::string &path) {
    std::error_code error;
    std::filesystem::create_directories(utf8_path(path), error);
    return error;
}

std::error_code remove_file(const std::string &path) {
    if (DeleteFileW(utf8_to_wide(path).c_str()))
        return {};
    const std::error_code error = wide_call_error();
    return error == std::errc::no_such_file_or_directory ? std::error_code() : error;
}

bool remove_empty_folder(const std::string &path) {
    return RemoveDirectoryW(utf8_to_wide(path).c_str()) != 0;
}

unsigned terminal_columns() {
    CONSOLE_SCREEN_BUFFER_INFO info;
    if (!GetConsoleScreenBufferInfo(GetStdHandle(STD_ERROR_HANDLE), &info))
        return 0;
    return static_cast<unsigned>(info.srWindow.Right - info.srWindow.Left + 1);
}

} // namespace kestrel
