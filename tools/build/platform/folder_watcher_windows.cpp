#include "kcore/strings/platform/wide_text_windows.h"
#include "tools/build/platform/folder_watcher.h"

#include <algorithm>
#include <array>
#include <mutex>
#include <vector>
#include <windows.h>

namespace kestrel {

namespace {

constexpr DWORD watched_changes = FILE_NOTIFY_CHANGE_FILE_NAME | FILE_NOTIFY_CHANGE_DIR_NAME |
                                  FILE_NOTIFY_CHANGE_LAST_WRITE | FILE_NOTIFY_CHANGE_SIZE;

struct watched_folder_t : OVERLAPPED {
    std::string path;
    HANDLE handle;
    alignas(DWORD) std::array<std::byte, 1 << 14> changes;

    watched_folder_t(const std::string &name, HANDLE opened) : OVERLAPPED{}, path(name), handle(opened) {}
    watched_folder_t(const watched_folder_t &) = delete;
    watched_folder_t &operator=(const watched_folder_t &) = delete;
    ~watched_folder_t() { CloseHandle(handle); }

    bool ask() {
        return ReadDirectoryChangesW(handle, changes.data(), static_cast<DWORD>(changes.size()), FALSE,
                                     watched_changes, nullptr, this, nullptr) != 0;
    }
};

bool is_folder_now(const std::string &path) {
    const DWORD attributes = GetFileAttributesW(utf8_to_wide(path).c_str());
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

bool is_being_written(const std::string &path) {
    const HANDLE file = CreateFileW(utf8_to_wide(path).c_str(), GENERIC_READ,
                                    FILE_SHARE_READ | FILE_SHARE_DELETE, nullptr, OPEN_EXISTING, 0, nullptr);
    if (file == INVALID_HANDLE_VALUE)
        return GetLastError() == ERROR_SHARING_VIOLATION;
    CloseHandle(file);
    return false;
}

class port_watcher_t final : public folder_watcher_t {
  public:
    explicit port_watcher_t(stop_wish_t &stop) : stop_(stop) {}
    ~port_watcher_t() override {
        folders_.clear();
        CloseHandle(port_);
    }

    std::error_code add(const std::string &folder) override;
    folder_changes_t wait(std::chrono::milliseconds quiet) override;

  private:
    void note(watched_folder_t &folder, size_t size, folder_changes_t &changes);
    bool next(DWORD timeout, folder_changes_t &changes);

    stop_wish_t &stop_;
    const HANDLE port_ = CreateIoCompletionPort(INVALID_HANDLE_VALUE, nullptr, 0, 1);
    std::mutex folders_mutex_;
    std::vector<std::unique_ptr<watched_folder_t>> folders_;
};

std::error_code port_watcher_t::add(const std::string &path) {
    const std::lock_guard lock(folders_mutex_);
    for (const auto &folder : folders_)
        if (folder->path == path)
            return {};
    const HANDLE handle =
        CreateFileW(utf8_to_wide(path).c_str(), FILE_LIST_DIRECTORY,
                    FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr, OPEN_EXISTING,
                    FILE_FLAG_BACKUP_SEMANTICS | FILE_FLAG_OVERLAPPED, nullptr);
    if (handle == INVALID_HANDLE_VALUE) {
        const std::error_code error = wide_call_error();
        return error == std::errc::no_such_file_or_directory ? std::error_code() : error;
    }
    auto folder = std::make_unique<watched_folder_t>(path, handle);
    if (!CreateIoCompletionPort(handle, port_, 0, 0) || !folder->ask())
        return wide_call_error();
    folders_.push_back(std::move(folder));
    return {};
}

// What is gone may have been a file or a folder.
void port_watcher_t::note(watched_folder_t &folder, size_t size, folder_changes_t &changes) {
    if (size == 0) {
        changes.missed_some = true;
        return;
    }
    for (const std::byte *at = folder.changes.data();;) {
        const auto &change = *reinterpret_cast<const FILE_NOTIFY_INFORMATION *>(at);
        const std::wstring_view name(change.FileName, change.FileNameLength / sizeof(wchar_t));
        const std::string path = folder.path + "/" + wide_to_bytes(name);
        const bool is_gone =
            change.Action == FILE_ACTION_REMOVED || change.Action == FILE_ACTION_RENAMED_OLD_NAME;
        const bool is_folder = !is_gone && is_folder_now(path);
        if (is_gone || (is_folder && change.Action != FILE_ACTION_MODIFIED))
            changes.folders.insert(path);
        if (!is_folder)
            changes.files.insert(path);
        if (change.NextEntryOffset == 0)
            return;
        at += change.NextEntryOffset;
    }
}

// False when the time is over.
bool port_watcher_t::next(DWORD timeout, folder_changes_t &changes) {
    DWORD size = 0;
    ULONG_PTR key;
    OVERLAPPED *about = nullptr;
    const BOOL succeeded = GetQueuedCompletionStatus(port_, &size, &key, &about, timeout);
    if (!about)
        return false;
    auto *const folder = static_cast<watched_folder_t *>(about);
    if (succeeded)
        note(*folder, size, changes);
    // One that is gone is watched no more.
    if (!succeeded || !folder->ask()) {
        const std::lock_guard lock(folders_mutex_);
        std::erase_if(folders_, [&](const auto &each) { return each.get() == folder; });
    }
    return true;
}

folder_changes_t port_watcher_t::wait(std::chrono::milliseconds quiet) {
    constexpr DWORD until_stop_is_looked_for = 100;
    folder_changes_t changes;
    for (;;) {
        const bool has_news =
            next(changes.empty() ? until_stop_is_looked_for : static_cast<DWORD>(quiet.count()), changes);
        if (stop_.came())
            return {};
        if (has_news || changes.empty())
            continue;
        const bool is_saved = std::none_of(changes.files.begin(), changes.files.end(), is_being_written);
        if (is_saved)
            return changes;
    }
}

} // namespace

std::unique_ptr<folder_watcher_t> make_folder_watcher(stop_wish_t &stop, std::error_code &) {
    return std::make_unique<port_watcher_t>(stop);
}

} // namespace kestrel
