#include "tools/build/platform/folder_watcher.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <mutex>
#include <poll.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <unistd.h>
#include <unordered_map>
#include <vector>

namespace kestrel {

namespace {

constexpr uint32_t watched_events =
    IN_CLOSE_WRITE | IN_MOVED_TO | IN_MOVED_FROM | IN_CREATE | IN_DELETE | IN_ONLYDIR;

// A file that is made is told of when it is closed; a link stands at once.
bool comes_whole(const std::string &path) {
    struct stat found;
    return lstat(path.c_str(), &found) == 0 && (S_ISLNK(found.st_mode) || found.st_nlink > 1);
}

class inotify_watcher_t final : public folder_watcher_t {
  public:
    inotify_watcher_t(int handle, stop_wish_t &stop) : handle_(handle), stop_(stop) {}
    ~inotify_watcher_t() override { close(handle_); }

    std::error_code add(const std::string &folder) override;
    folder_changes_t wait(std::chrono::milliseconds quiet) override;

  private:
    void read_events(folder_changes_t &changes);
    void note(const inotify_event &event, folder_changes_t &changes);

    const int handle_;
    stop_wish_t &stop_;
    std::mutex names_mutex_;
    // One folder may be reached by several names.
    std::unordered_map<int, std::vector<std::string>> names_;
};

std::error_code inotify_watcher_t::add(const std::string &folder) {
    const int watch = inotify_add_watch(handle_, folder.c_str(), watched_events);
    if (watch < 0)
        return errno == ENOENT || errno == ENOTDIR ? std::error_code()
                                                   : std::error_code(errno, std::generic_category());
    const std::lock_guard lock(names_mutex_);
    auto &names = names_[watch];
    if (std::find(names.begin(), names.end(), folder) == names.end())
        names.push_back(folder);
    return {};
}

void inotify_watcher_t::note(const inotify_event &event, folder_changes_t &changes) {
    if (event.mask & IN_Q_OVERFLOW) {
        changes.missed_some = true;
        return;
    }
    const std::lock_guard lock(names_mutex_);
    if (event.mask & IN_IGNORED) {
        names_.erase(event.wd);
        return;
    }
    const auto names = names_.find(event.wd);
    if (names == names_.end())
        return;
    for (const std::string &folder : names->second) {
        const std::string path = folder + "/" + event.name;
        if (event.mask & IN_ISDIR)
            changes.folders.insert(path);
        else if (!(event.mask & IN_CREATE) || comes_whole(path))
            changes.files.insert(path);
    }
}

void inotify_watcher_t::read_events(folder_changes_t &changes) {
    alignas(inotify_event) std::array<char, 1 << 16> buffer;
    const ssize_t got = read(handle_, buffer.data(), buffer.size());
    for (ssize_t at = 0; at < got;) {
        const auto &event = *reinterpret_cast<const inotify_event *>(buffer.data() + at);
        note(event, changes);
        at += static_cast<ssize_t>(sizeof event + event.len);
    }
}

folder_changes_t inotify_watcher_t::wait(std::chrono::milliseconds quiet) {
    folder_changes_t changes;
    for (;;) {
        std::array<pollfd, 2> handles{
            {{handle_, POLLIN, 0}, {static_cast<int>(stop_.wait_handle()), POLLIN, 0}}};
        const int ready =
            poll(handles.data(), handles.size(), changes.empty() ? -1 : static_cast<int>(quiet.count()));
        if (stop_.came())
            return {};
        if (ready == 0)
            return changes;
        if (handles[0].revents != 0)
            read_events(changes);
    }
}

} // namespace

std::unique_ptr<folder_watcher_t> make_folder_watcher(stop_wish_t &stop, std::error_code &error) {
    const int handle = inotify_init1(IN_CLOEXEC | IN_NONBLOCK);
    if (handle >= 0)
        return std::make_unique<inotify_watcher_t>(handle, stop);
    error = {errno, std::generic_category()};
    return nullptr;
}

} // namespace kestrel
