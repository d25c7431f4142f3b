#include "kcore/ufs/platform/posix_platform.h"

#include "kcore/messages/messages.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace kestrel {

std::unique_ptr<fs_platform_t> make_native_platform() {
    return std::make_unique<posix_platform_t>();
}

namespace {

// A path as this system wants it.
class posix_path_t {
  public:
    explicit posix_path_t(const char *path) {
        fits_ = path_.assign(path);
        path_.replace_all('\\', '/');
    }
    bool fits() const { return fits_; }
    const char *c_str() const { return path_.c_str(); }

  private:
    fs_path_t path_;
    bool fits_;
};

int descriptor(fs_handle_t handle) {
    return static_cast<int>(handle);
}

template <class F>
auto again_when_interrupted(F call) {
    auto result = call();
    while (result < 0 && errno == EINTR)
        result = call();
    return result;
}

int open_descriptor(const char *path, int flags) {
    // Neither waiting for the other end of a pipe nor becoming the terminal's process.
    constexpr int careful = O_CLOEXEC | O_NONBLOCK | O_NOCTTY;
    return again_when_interrupted([&] { return ::open(path, flags | careful, 0666); });
}

// Another process may create the file between the removal and the creation; then it is removed again, so that
// every process writes a file of its own and the last name stays.
int open_anew(const char *path) {
    constexpr int tries = 1000;
    for (int i = 0; i < tries; ++i) {
        if (::unlink(path) != 0 && errno != ENOENT)
            return -1;
        const int fd = open_descriptor(path, O_RDWR | O_CREAT | O_EXCL);
        if (fd >= 0 || errno != EEXIST)
            return fd;
    }
    return -1;
}

int open_in_mode(const char *path, fs_open_mode_t mode) {
    switch (mode) {
    case fs_open_mode_t::read:
        return open_descriptor(path, O_RDONLY);
    case fs_open_mode_t::create:
        return open_descriptor(path, O_RDWR | O_CREAT | O_EXCL);
    case fs_open_mode_t::create_truncate:
        return open_anew(path);
    case fs_open_mode_t::create_or_read_write:
        return open_descriptor(path, O_RDWR | O_CREAT);
    case fs_open_mode_t::atomic:
        break;
    }
    return -1;
}

void describe(const struct stat &found, fs_stat_t &out) {
    out.kind = S_ISDIR(found.st_mode)   ? fs_kind_t::directory
               : S_ISREG(found.st_mode) ? fs_kind_t::file
                                        : fs_kind_t::neither;
    out.modification_time = found.st_mtime > 0 ? static_cast<uint64_t>(found.st_mtime) : 0;
    out.size = static_cast<uint64_t>(found.st_size);
    out.stored_size = out.size;
    out.container_position = fs_stat_t::no_container;
}

fs_transfer_result_t transfer_result(ssize_t count) {
    using outcome_t = fs_transfer_result_t::outcome_t;
    if (count >= 0)
        return {outcome_t::moved, static_cast<size_t>(count)};
    return {errno == EINTR ? outcome_t::interrupted : outcome_t::failed, 0};
}

bool is_directory(const char *path) {
    struct stat found;
    return ::stat(path, &found) == 0 && S_ISDIR(found.st_mode);
}

// Network and memory file systems may have nothing to flush.
bool flush_descriptor(int fd) {
    return again_when_interrupted([&] { return ::fsync(fd); }) == 0 || errno == EINVAL || errno == ENOTSUP;
}

bool copy_bytes(int from, int to) {
    std::byte block[65536];
    for (;;) {
        const ssize_t got = again_when_interrupted([&] { return ::read(from, block, sizeof block); });
        if (got <= 0)
            return got == 0;
        for (ssize_t put = 0; put < got;) {
            const ssize_t count = again_when_interrupted(
                [&] { return ::write(to, block + put, static_cast<size_t>(got - put)); });
            if (count <= 0)
                return false;
            put += count;
        }
    }
}

} // namespace

fs_handle_t posix_platform_t::open(const char *path, fs_open_mode_t mode) {
    const posix_path_t name(path);
    if (!name.fits())
        return fs_handle_t::invalid;
    const int fd = open_in_mode(name.c_str(), mode);
    if (fd < 0)
        return fs_handle_t::invalid;
    struct stat found;
    if (::fstat(fd, &found) != 0 || !S_ISREG(found.st_mode)) {
        ::close(fd);
        return fs_handle_t::invalid;
    }
    if (mode == fs_open_mode_t::read)
        ::posix_fadvise(fd, 0, 0, POSIX_FADV_SEQUENTIAL);
    return static_cast<fs_handle_t>(fd);
}

bool posix_platform_t::close(fs_handle_t handle) {
    return ::close(descriptor(handle)) == 0;
}

fs_transfer_result_t posix_platform_t::read(fs_handle_t handle, std::span<std::byte> buffer,
                                            uint64_t position) {
    return transfer_result(
        ::pread(descriptor(handle), buffer.data(), buffer.size(), static_cast<off_t>(position)));
}

fs_transfer_result_t posix_platform_t::write(fs_handle_t handle, std::span<const std::byte> bytes,
                                             uint64_t position) {
    return transfer_result(
        ::pwrite(descriptor(handle), bytes.data(), bytes.size(), static_cast<off_t>(position)));
}

bool posix_platform_t::set_end_of_file(fs_handle_t handle, uint64_t size) {
    return again_when_interrupted(
               [&] { return ::ftruncate(descriptor(handle), static_cast<off_t>(size)); }) == 0;
}

bool posix_platform_t::flush_file(fs_handle_t handle) {
    return flush_descriptor(descriptor(handle));
}

bool posix_platform_t::flush_directory(const char *path) {
    const posix_path_t name(path);
    if (!name.fits())
        return false;
    const int fd = open_descriptor(name.c_str(), O_RDONLY | O_DIRECTORY);
    if (fd < 0)
        return false;
    const bool flushed = flush_descriptor(fd);
    ::close(fd);
    return flushed;
}

bool posix_platform_t::stat_file(fs_handle_t handle, fs_stat_t &out) {
    struct stat found;
    if (::fstat(descriptor(handle), &found) != 0)
        return false;
    describe(found, out);
    return true;
}

bool posix_platform_t::stat_path(const char *path, fs_stat_t &out) {
    const posix_path_t name(path);
    struct stat found;
    if (!name.fits() || ::stat(name.c_str(), &found) != 0)
        return false;
    describe(found, out);
    return true;
}

bool posix_platform_t::delete_file(const char *path) {
    const posix_path_t name(path);
    return name.fits() && ::unlink(name.c_str()) == 0;
}

bool posix_platform_t::create_directory(const char *path) {
    if (std::string_view(path).ends_with(':'))
        return true;
    const posix_path_t name(path);
    if (!name.fits())
        return false;
    if (::mkdir(name.c_str(), 0777) == 0)
        return true;
    const int reason = errno;
    const bool refused = reason == EACCES || reason == EPERM || reason == EROFS;
    if ((refused || reason == EEXIST) && is_directory(name.c_str()))
        return true;
    if (refused)
        msg_error("Create folder failed. Access denied. (%s)", path);
    return false;
}

bool posix_platform_t::remove_directory(const char *path) {
    const posix_path_t name(path);
    return name.fits() && ::rmdir(name.c_str()) == 0;
}

bool posix_platform_t::copy_file(const char *from, const char *to, bool overwrite) {
    const fs_handle_t source = open(from, fs_open_mode_t::read);
    if (source == fs_handle_t::invalid)
        return false;
    const fs_handle_t target = open(to, overwrite ? fs_open_mode_t::create_truncate : fs_open_mode_t::create);
    if (target == fs_handle_t::invalid) {
        close(source);
        return false;
    }
    const bool copied = copy_bytes(descriptor(source), descriptor(target));
    close(source);
    const bool whole = close(target) && copied;
    if (!whole)
        delete_file(to);
    return whole;
}

bool posix_platform_t::move_file(const char *from, const char *to, bool replace) {
    const posix_path_t source(from), target(to);
    if (!source.fits() || !target.fits())
        return false;
    if (replace)
        return ::rename(source.c_str(), target.c_str()) == 0;
    return ::renameat2(AT_FDCWD, source.c_str(), AT_FDCWD, target.c_str(), RENAME_NOREPLACE) == 0;
}

std::optional<fs_listing_t> posix_platform_t::list(const char *path) {
    const posix_path_t name(path);
    const std::unique_ptr<DIR, int (*)(DIR *)> directory(name.fits() ? ::opendir(name.c_str()) : nullptr,
                                                         ::closedir);
    if (!directory)
        return std::nullopt;
    fs_listing_t listing;
    errno = 0;
    while (const dirent *found = ::readdir(directory.get())) {
        const std::string_view entry_name(found->d_name);
        if (entry_name == "." || entry_name == "..")
            continue;
        fs_listing_entry_t entry;
        struct stat status;
        fs_stat_t described;
        if (::fstatat(::dirfd(directory.get()), found->d_name, &status, 0) == 0)
            describe(status, described);
        entry.kind = described.kind;
        if (!entry.name.assign(entry_name) || !listing.push_back(std::move(entry)))
            return std::nullopt;
        errno = 0;
    }
    if (errno != 0)
        return std::nullopt;
    std::sort(listing.begin(), listing.end(), [](const fs_listing_entry_t &a, const fs_listing_entry_t &b) {
        return a.name.view() < b.name.view();
    });
    return listing;
}

} // namespace kestrel
