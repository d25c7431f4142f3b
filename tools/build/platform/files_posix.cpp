#include "tools/build/platform/files.h"

#include <algorithm>
#include <cerrno>
#include <ctime>
#include <dirent.h>
#include <fcntl.h>
#include <filesystem>
#include <memory>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace kestrel {

namespace {

std::error_code last_error() {
    return {errno, std::generic_category()};
}

class descriptor_t {
  public:
    explicit descriptor_t(int number) : number_(number) {}
    descriptor_t(const descriptor_t &) = delete;
    descriptor_t &operator=(const descriptor_t &) = delete;
    ~descriptor_t() {
        if (number_ >= 0)
            close(number_);
    }
    int number() const { return number_; }
    std::error_code close_now() {
        const int number = number_;
        number_ = -1;
        return close(number) == 0 ? std::error_code() : last_error();
    }

  private:
    int number_;
};

int64_t nanoseconds(const timespec &time) {
    return static_cast<int64_t>(time.tv_sec) * 1'000'000'000 + time.tv_nsec;
}

file_stamp_t stamp_from(const struct stat &found) {
    return {nanoseconds(found.st_mtim), static_cast<uint64_t>(found.st_size)};
}

std::error_code write_all(int file, std::string_view content) {
    while (!content.empty()) {
        const ssize_t written = write(file, content.data(), content.size());
        if (written < 0 && errno == EINTR)
            continue;
        if (written < 0)
            return last_error();
        content.remove_prefix(static_cast<size_t>(written));
    }
    return {};
}

// Completes what the folder itself says about an entry. False for entries that are not listed.
bool complete_entry(int folder, unsigned char type, const file_wishes_t &wishes, folder_entry_t &entry) {
    if (type == DT_DIR) {
        entry.is_folder = true;
        return true;
    }
    if (type != DT_REG && type != DT_LNK && type != DT_UNKNOWN)
        return false;
    const file_wish_t wish = wishes(entry.name);
    if (type == DT_REG && wish != file_wish_t::stamp)
        return wish == file_wish_t::name;
    struct stat found;
    if (fstatat(folder, entry.name.c_str(), &found, 0) != 0)
        return false;
    entry.is_link = type == DT_LNK;
    entry.is_folder = S_ISDIR(found.st_mode);
    entry.stamp = stamp_from(found);
    return entry.is_folder || (S_ISREG(found.st_mode) && wish != file_wish_t::nothing);
}

} // namespace

int64_t time_now() {
    timespec time;
    clock_gettime(CLOCK_REALTIME, &time);
    return nanoseconds(time);
}

std::error_code list_folder(const std::string &path, const file_wishes_t &wishes, folder_listing_t &listing) {
    listing.entries.clear();
    const std::unique_ptr<DIR, int (*)(DIR *)> folder(opendir(path.c_str()), closedir);
    struct stat self;
    if (!folder || fstat(dirfd(folder.get()), &self) != 0)
        return last_error();
    listing.id = {self.st_dev, self.st_ino};
    for (;;) {
        errno = 0;
        const dirent *const found = readdir(folder.get());
        if (!found) {
            if (errno != 0)
                return last_error();
            break;
        }
        const std::string_view name = found->d_name;
        if (name == "." || name == "..")
            continue;
        folder_entry_t entry{std::string(name), false, false, {}};
        if (complete_entry(dirfd(folder.get()), found->d_type, wishes, entry))
            listing.entries.push_back(std::move(entry));
    }
    std::sort(listing.entries.begin(), listing.entries.end(),
              [](const folder_entry_t &a, const folder_entry_t &b) { return a.name < b.name; });
    return {};
}

file_stamp_t stamp_of(const std::string &path) {
    struct stat found;
    return stat(path.c_str(), &found) == 0 && S_ISREG(found.st_mode) ? stamp_from(found) : file_stamp_t();
}

bool is_folder(const std::string &path) {
    struct stat found;
    return stat(path.c_str(), &found) == 0 && S_ISDIR(found.st_mode);
}

std::error_code read_file_start(const std::string &path, size_t limit, std::string &content) {
    content.clear();
    const descriptor_t file(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    struct stat found;
    if (file.number() < 0 || fstat(file.number(), &found) != 0)
        return last_error();
    if (!S_ISREG(found.st_mode))
        return std::make_error_code(std::errc::invalid_argument);
    content.resize(std::min(limit, static_cast<size_t>(found.st_size)));
    size_t filled = 0;
    while (filled < content.size()) {
        const ssize_t got = read(file.number(), content.data() + filled, content.size() - filled);
        if (got < 0 && errno == EINTR)
            continue;
        if (got < 0)
            return last_error();
        if (got == 0)
            break;
        filled += static_cast<size_t>(got);
    }
    content.resize(filled);
    return {};
}

std::error_code read_whole_file(const std::string &path, std::string &content) {
    return read_file_start(path, std::numeric_limits<size_t>::max(), content);
}

std::error_code replace_file(const std::string &path, std::string_view content) {
    struct stat found;
    const bool replaces = stat(path.c_str(), &found) != 0 || S_ISREG(found.st_mode);
    const std::string written = replaces ? path + ".new" : path;
    descriptor_t file(open(written.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666));
    if (file.number() < 0)
        return last_error();
    std::error_code error = write_all(file.number(), content);
    if (const auto closing = file.close_now(); !error)
        error = closing;
    if (!error && replaces && rename(written.c_str(), path.c_str()) != 0)
        error = last_error();
    if (error && replaces)
        unlink(written.c_str());
    return error;
}

std::error_code append_to_file(const std::string &path, std::string_view content) {
    descriptor_t file(open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0666));
    if (file.number() < 0)
        return last_error();
    const std::error_code error = write_all(file.number(), content);
    const std::error_code closing = file.close_now();
    return error ? error : closing;
}

std::error_code make_folders(const std::string &path) {
    std::error_code error;
    std::filesystem::create_directories(path, error);
    return error;
}

std::error_code remove_file(const std::string &path) {
    return unlink(path.c_str()) == 0 || errno == ENOENT ? std::error_code() : last_error();
}

bool remove_empty_folder(const std::string &path) {
    return rmdir(path.c_str()) == 0;
}

unsigned terminal_columns() {
    winsize size{};
    if (!isatty(STDERR_FILENO))
        return 0;
    return ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col : 80;
}

} // namespace kestrel
