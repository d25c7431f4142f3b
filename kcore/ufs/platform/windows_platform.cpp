// The file system layer of Windows. The system takes "/" and "\" between directories.

#include "kcore/strings/platform/wide_text_windows.h"
#include "kcore/ufs/platform/platform.h"
#include "kcore/ufs/platform/windows_files.h"

#include <algorithm>
#include <array>

namespace kestrel {

namespace {

constexpr size_t longest_path = 255; // bytes

// A path as this system wants it; one that is longer than a path may be, or no text, names nothing.
class wide_path_t {
  public:
    explicit wide_path_t(std::string_view path, const wchar_t *ending = L"") {
        const size_t ending_length = std::char_traits<wchar_t>::length(ending);
        if (!path.empty() && path.size() <= longest_path &&
            utf8_to_wide(path, std::span(wide_).first(wide_.size() - ending_length)))
            std::copy_n(ending, ending_length + 1, std::find(wide_.begin(), wide_.end(), L'\0'));
        else
            wide_[0] = L'\0';
    }
    const wchar_t *c_str() const { return wide_.data(); }

  private:
    std::array<wchar_t, 512> wide_;
};

// Closes what it holds.
class handle_t {
  public:
    explicit handle_t(HANDLE handle) : handle_(handle) {}
    ~handle_t() {
        if (is_valid())
            CloseHandle(handle_);
    }
    handle_t(const handle_t &) = delete;
    handle_t &operator=(const handle_t &) = delete;

    bool is_valid() const { return handle_ && handle_ != INVALID_HANDLE_VALUE; }
    HANDLE get() const { return handle_; }
    HANDLE release() { return std::exchange(handle_, nullptr); }

  private:
    HANDLE handle_;
};

constexpr DWORD disk_quota_exceeded = 1295; // MinGW's headers lack its name

fs_reason_t reason_of(DWORD error) {
    switch (error) {
    case ERROR_FILE_NOT_FOUND:
    case ERROR_PATH_NOT_FOUND:
    case ERROR_INVALID_NAME:
    case ERROR_BAD_PATHNAME:
    case ERROR_BAD_NETPATH:
    case ERROR_BAD_NET_NAME:
    case ERROR_INVALID_DRIVE:
    case ERROR_FILENAME_EXCED_RANGE:
    case ERROR_DIRECTORY: // what is to be one is none
        return fs_reason_t::not_found;
    case ERROR_FILE_EXISTS:
    case ERROR_ALREADY_EXISTS:
    case ERROR_DIR_NOT_EMPTY:
        return fs_reason_t::exists;
    case ERROR_ACCESS_DENIED:
    case ERROR_WRITE_PROTECT:
    case ERROR_PRIVILEGE_NOT_HELD:
        return fs_reason_t::refused;
    case ERROR_DISK_FULL:
    case ERROR_HANDLE_DISK_FULL:
    case disk_quota_exceeded:
    case ERROR_FILE_TOO_LARGE:
        return fs_reason_t::no_space;
    case ERROR_SHARING_VIOLATION:
    case ERROR_LOCK_VIOLATION:
    case ERROR_USER_MAPPED_FILE:
    case ERROR_DELETE_PENDING:
    case ERROR_BUSY:
        return fs_reason_t::would_block;
    case ERROR_INVALID_FUNCTION:
    case ERROR_NOT_SUPPORTED:
    case ERROR_CALL_NOT_IMPLEMENTED:
    case ERROR_INVALID_PARAMETER:
        return fs_reason_t::unsupported;
    default:
        return fs_reason_t::other;
    }
}

fs_reason_t reason_unless_done(BOOL done) {
    return done ? fs_reason_t::none : reason_of(GetLastError());
}

// Of a call that is for files. Directories are refused like files of other users, which is no news to tell.
fs_reason_t reason_for_file(const wide_path_t &path) {
    const fs_reason_t reason = reason_of(GetLastError());
    if (reason != fs_reason_t::refused)
        return reason;
    const DWORD attributes = GetFileAttributesW(path.c_str());
    const bool is_directory =
        attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
    return is_directory ? fs_reason_t::unsupported : fs_reason_t::refused;
}

// Any other attribute alone, such as that of a device, makes it neither.
fs_kind_t kind_of(DWORD attributes) {
    return attributes & FILE_ATTRIBUTE_DIRECTORY                           ? fs_kind_t::directory
           : attributes & (FILE_ATTRIBUTE_ARCHIVE | FILE_ATTRIBUTE_NORMAL) ? fs_kind_t::file
                                                                           : fs_kind_t::neither;
}

constexpr uint64_t joined(DWORD high, DWORD low) {
    return uint64_t{high} << 32 | low;
}

uint64_t seconds_since_1970(const FILETIME &time) {
    constexpr uint64_t ticks_a_second = 10'000'000, seconds_from_1601_to_1970 = 11'644'473'600;
    const uint64_t seconds = joined(time.dwHighDateTime, time.dwLowDateTime) / ticks_a_second;
    return seconds > seconds_from_1601_to_1970 ? seconds - seconds_from_1601_to_1970 : 0;
}

// From any of the system's records of a file.
template <class record_t>
void describe(const record_t &found, fs_stat_t &out) {
    out.kind = kind_of(found.dwFileAttributes);
    out.modification_time = seconds_since_1970(found.ftLastWriteTime);
    out.size = joined(found.nFileSizeHigh, found.nFileSizeLow);
    out.stored_size = out.size;
    out.container_position = fs_stat_t::no_container;
}

fs_reason_t describe_open(HANDLE file, fs_stat_t &out) {
    BY_HANDLE_FILE_INFORMATION found;
    if (!GetFileInformationByHandle(file, &found))
        return reason_of(GetLastError());
    describe(found, out);
    return fs_reason_t::none;
}

// Of what a link points to.
bool describe_target(const wide_path_t &path, fs_stat_t &out) {
    const handle_t target(CreateFileW(path.c_str(), FILE_READ_ATTRIBUTES,
                                      FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                      OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr));
    return target.is_valid() && describe_open(target.get(), out) == fs_reason_t::none;
}

// Waits in the calling thread. The event's lowest bit keeps the end away from the completion port.
fs_reason_t move_now(const fs_transfer_t &transfer, size_t &moved) {
    const handle_t event(CreateEventW(nullptr, TRUE, FALSE, nullptr));
    if (!event.is_valid())
        return reason_of(GetLastError());
    OVERLAPPED overlapped{};
    overlapped.hEvent = reinterpret_cast<HANDLE>(reinterpret_cast<uintptr_t>(event.get()) | 1);
    DWORD count = 0;
    BOOL done = start_moving(transfer, overlapped);
    if (done || GetLastError() == ERROR_IO_PENDING)
        done = GetOverlappedResult(handle_of(transfer.handle), &overlapped, &count, TRUE);
    moved = count;
    return done || GetLastError() == ERROR_HANDLE_EOF ? fs_reason_t::none : reason_of(GetLastError());
}

class windows_platform_t final : public fs_platform_t {
  public:
    windows_platform_t() : port_(CreateIoCompletionPort(INVALID_HANDLE_VALUE, nullptr, 0, 1)) {}

    fs_reason_t open(const char *path, fs_open_mode_t mode, fs_handle_t &handle) override;

    fs_reason_t close(fs_handle_t handle) override {
        return reason_unless_done(CloseHandle(handle_of(handle)));
    }
    fs_reason_t read(fs_handle_t handle, std::span<std::byte> buffer, uint64_t position,
                     size_t &moved) override {
        return move_now({true, handle, buffer, {}, position}, moved);
    }
    fs_reason_t write(fs_handle_t handle, std::span<const std::byte> bytes, uint64_t position,
                      size_t &moved) override {
        return move_now({false, handle, {}, bytes, position}, moved);
    }
    std::unique_ptr<fs_transfer_maker_t> make_transfers(fs_transfer_listener_t &listener) override {
        return make_port_transfers(port_.get(), listener);
    }
    fs_reason_t set_end_of_file(fs_handle_t handle, uint64_t size) override {
        FILE_END_OF_FILE_INFO end;
        end.EndOfFile.QuadPart = static_cast<LONGLONG>(size);
        return reason_unless_done(
            SetFileInformationByHandle(handle_of(handle), FileEndOfFileInfo, &end, sizeof end));
    }
    fs_reason_t flush_file(fs_handle_t handle) override {
        return reason_unless_done(FlushFileBuffers(handle_of(handle)));
    }
    // The system's moves are written through, and other changes of a directory are in the file system's
    // journal.
    fs_reason_t flush_directory(const char *path) override {
        fs_stat_t found;
        const fs_reason_t reason = stat_path(path, found);
        return reason != fs_reason_t::none || found.kind == fs_kind_t::directory ? reason
                                                                                 : fs_reason_t::not_found;
    }
    fs_reason_t stat_file(fs_handle_t handle, fs_stat_t &out) override {
        return describe_open(handle_of(handle), out);
    }
    fs_reason_t stat_path(const char *path, fs_stat_t &out) override;
    fs_reason_t delete_file(const char *path) override {
        const wide_path_t name(path);
        return DeleteFileW(name.c_str()) ? fs_reason_t::none : reason_for_file(name);
    }
    fs_reason_t create_directory(const char *path) override {
        return reason_unless_done(CreateDirectoryW(wide_path_t(path).c_str(), nullptr));
    }
    fs_reason_t remove_directory(const char *path) override {
        return reason_unless_done(RemoveDirectoryW(wide_path_t(path).c_str()));
    }
    fs_reason_t move_file(const char *from, const char *to, bool replace) override {
        const DWORD flags = MOVEFILE_WRITE_THROUGH | (replace ? MOVEFILE_REPLACE_EXISTING : 0u);
        return reason_unless_done(MoveFileExW(wide_path_t(from).c_str(), wide_path_t(to).c_str(), flags));
    }
    fs_reason_t list(const char *path, fs_listing_t &entries) override;

  private:
    const handle_t port_;
};

fs_reason_t windows_platform_t::open(const char *path, fs_open_mode_t mode, fs_handle_t &handle) {
    const wide_path_t name(path);
    const DWORD disposition = mode == fs_open_mode_t::read                   ? OPEN_EXISTING
                              : mode == fs_open_mode_t::create               ? CREATE_NEW
                              : mode == fs_open_mode_t::create_or_read_write ? OPEN_ALWAYS
                                                                             : 0;
    if (disposition == 0)
        return fs_reason_t::unsupported;
    const bool reads = mode == fs_open_mode_t::read;
    const DWORD access = reads ? GENERIC_READ : GENERIC_READ | GENERIC_WRITE;
    const DWORD hints = FILE_FLAG_OVERLAPPED | (reads ? FILE_FLAG_SEQUENTIAL_SCAN : 0u);
    handle_t file(CreateFileW(name.c_str(), access, FILE_SHARE_READ, nullptr, disposition,
                              FILE_ATTRIBUTE_NORMAL | hints, nullptr));
    if (!file.is_valid())
        return reason_for_file(name);
    if (GetFileType(file.get()) != FILE_TYPE_DISK)
        return fs_reason_t::unsupported;
    if (!CreateIoCompletionPort(file.get(), port_.get(), 0, 0))
        return reason_of(GetLastError());
    handle = static_cast<fs_handle_t>(reinterpret_cast<intptr_t>(file.release()));
    return fs_reason_t::none;
}

fs_reason_t windows_platform_t::stat_path(const char *path, fs_stat_t &out) {
    const wide_path_t name(path);
    WIN32_FILE_ATTRIBUTE_DATA found;
    if (!GetFileAttributesExW(name.c_str(), GetFileExInfoStandard, &found))
        return reason_of(GetLastError());
    describe(found, out);
    if ((found.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0 && !describe_target(name, out))
        out.kind = fs_kind_t::neither;
    return fs_reason_t::none;
}

fs_reason_t windows_platform_t::list(const char *path, fs_listing_t &entries) {
    WIN32_FIND_DATAW found;
    const std::unique_ptr<void, BOOL (*)(HANDLE)> search(
        FindFirstFileW(wide_path_t(path, L"\\*").c_str(), &found), FindClose);
    if (search.get() == INVALID_HANDLE_VALUE)
        return reason_of(GetLastError());
    entries.clear();
    do {
        fs_listing_entry_t entry;
        // A name that is no text is told, and its valid rest listed.
        wide_to_utf8(found.cFileName, entry.name);
        if (entry.name.view() == "." || entry.name.view() == "..")
            continue;
        fs_stat_t described;
        describe(found, described);
        const bool is_link = (found.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0;
        string_dyn_t full(path);
        if (is_link && (!full.append("\\") || !full.append(entry.name.view()) ||
                        !describe_target(wide_path_t(full.view()), described)))
            described.kind = fs_kind_t::neither;
        entry.kind = described.kind;
        entries.push_back(std::move(entry));
    } while (FindNextFileW(search.get(), &found));
    if (const DWORD error = GetLastError(); error != ERROR_NO_MORE_FILES)
        return reason_of(error);
    std::sort(entries.begin(), entries.end());
    return fs_reason_t::none;
}

} // namespace

std::unique_ptr<fs_platform_t> make_native_platform() {
    return std::make_unique<windows_platform_t>();
}

} // namespace kestrel
