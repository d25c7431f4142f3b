// The file system layer of POSIX systems. "\" separates directories like "/" where the formats come from, so
// every path is taken with "/" in its place.

#include "kcore/ufs/platform/platform.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace kestrel {

namespace {

// A path as this system wants it; one that is longer than a path may be names nothing.
class posix_path_t {
  public:
    explicit posix_path_t(const char *path) {
        fits_ = path_.assign(path);
        path_.replace_all('\\', '/');
    }
    const char *c_str() const { return fits_ ? path_.c_str() : ""; }

  private:
    fs_path_t path_;
    bool fits_;
};

fs_reason_t reason_of(int error) {
    switch (error) {
    case ENOENT:
    case ENOTDIR:
        return fs_reason_t::not_found;
    case EEXIST:
    case ENOTEMPTY:
        return fs_reason_t::exists;
    case EACCES:
    case EPERM:
    case EROFS:
        return fs_reason_t::refused;
    case ENOSPC:
    case EDQUOT:
    case EFBIG:
        return fs_reason_t::no_space;
    case EWOULDBLOCK:
    case EBUSY:
    case ETXTBSY:
        return fs_reason_t::would_block;
    case EISDIR:
    case ENXIO: // the other end of a pipe is not there
    case EINVAL:
    case ENOSYS:
    case EOPNOTSUPP:
        return fs_reason_t::unsupported;
    default:
        return fs_reason_t::other;
    }
}

// Calls until the call is not interrupted; a negative result is a failure.
template <class F>
auto persistent(F call) {
    auto result = call();
    while (result < 0 && errno == EINTR)
        result = call();
    return result;
}

template <class F>
fs_reason_t reason_unless_done(F call) {
    return persistent(call) < 0 ? reason_of(errno) : fs_reason_t::none;
}

int descriptor(fs_handle_t handle) {
    return static_cast<int>(handle);
}

bool is_regular(const char *path) {
    struct stat found;
    return ::stat(path, &found) == 0 && S_ISREG(found.st_mode);
}

int open_descriptor(const char *path, int flags) {
    flags |= O_CLOEXEC | O_NOCTTY;
    // Nobody may ever come to the other end of a pipe, but who holds a lease on a file is told to give it up.
    const int fd = persistent([&] { return ::open(path, flags | O_NONBLOCK, 0666); });
    if (fd < 0 && errno == EWOULDBLOCK && is_regular(path))
        return persistent([&] { return ::open(path, flags, 0666); });
    return fd;
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

fs_reason_t flush(int fd) {
    const fs_reason_t reason = reason_unless_done([&] { return ::fsync(fd); });
    // Network and memory file systems may have nothing to flush.
    return reason == fs_reason_t::unsupported ? fs_reason_t::none : reason;
}

fs_reason_t note_moved(ssize_t count, size_t &moved) {
    if (count < 0)
        return reason_of(errno);
    moved = static_cast<size_t>(count);
    return fs_reason_t::none;
}

class posix_platform_t final : public fs_platform_t {
  public:
    fs_reason_t open(const char *path, fs_open_mode_t mode, fs_handle_t &handle) override;

    fs_reason_t close(fs_handle_t handle) override {
        return ::close(descriptor(handle)) == 0 ? fs_reason_t::none : reason_of(errno);
    }
    fs_reason_t read(fs_handle_t handle, std::span<std::byte> buffer, uint64_t position,
                     size_t &moved) override {
        return note_moved(persistent([&] {
                              return ::pread(descriptor(handle), buffer.data(), buffer.size(),
                                             static_cast<off_t>(position));
                          }),
                          moved);
    }
    fs_reason_t write(fs_handle_t handle, std::span<const std::byte> bytes, uint64_t position,
                      size_t &moved) override {
        return note_moved(persistent([&] {
                              return ::pwrite(descriptor(handle), bytes.data(), bytes.size(),
                                              static_cast<off_t>(position));
                          }),
                          moved);
    }
    fs_reason_t set_end_of_file(fs_handle_t handle, uint64_t size) override {
        return reason_unless_done([&] { return ::ftruncate(descriptor(handle), static_cast<off_t>(size)); });
    }
    fs_reason_t flush_file(fs_handle_t handle) override { return flush(descriptor(handle)); }
    fs_reason_t flush_directory(const char *path) override;
    fs_reason_t stat_file(fs_handle_t handle, fs_stat_t &out) override {
        struct stat found;
        if (::fstat(descriptor(handle), &found) != 0)
            return reason_of(errno);
        describe(found, out);
        return fs_reason_t::none;
    }
    fs_reason_t stat_path(const char *path, fs_stat_t &out) override {
        const posix_path_t name(path);
        struct stat found;
        if (::stat(name.c_str(), &found) != 0 && (errno != ENOENT || ::lstat(name.c_str(), &found) != 0))
            return reason_of(errno);
        describe(found, out);
        return fs_reason_t::none;
    }
    fs_reason_t delete_file(const char *path) override {
        return reason_unless_done([&] { return ::unlink(posix_path_t(path).c_str()); });
    }
    fs_reason_t create_directory(const char *path) override {
        return reason_unless_done([&] { return ::mkdir(posix_path_t(path).c_str(), 0777); });
    }
    fs_reason_t remove_directory(const char *path) override {
        return reason_unless_done([&] { return ::rmdir(posix_path_t(path).c_str()); });
    }
    fs_reason_t move_file(const char *from, const char *to, bool replace) override {
        const posix_path_t source(from), target(to);
        return reason_unless_done([&] {
            return replace
                       ? ::rename(source.c_str(), target.c_str())
                       : ::renameat2(AT_FDCWD, source.c_str(), AT_FDCWD, target.c_str(), RENAME_NOREPLACE);
        });
    }
    fs_reason_t list(const char *path, fs_listing_t &entries) override;
};

fs_reason_t posix_platform_t::open(const char *path, fs_open_mode_t mode, fs_handle_t &handle) {
    const posix_path_t name(path);
    const int flags = mode == fs_open_mode_t::read                   ? O_RDONLY
                      : mode == fs_open_mode_t::create               ? O_RDWR | O_CREAT | O_EXCL
                      : mode == fs_open_mode_t::create_or_read_write ? O_RDWR | O_CREAT
                                                                     : -1;
    if (flags < 0)
        return fs_reason_t::unsupported;
    const int fd = open_descriptor(name.c_str(), flags);
    if (fd < 0)
        return reason_of(errno);
    struct stat found;
    if (::fstat(fd, &found) != 0 || !S_ISREG(found.st_mode)) {
        ::close(fd);
        return fs_reason_t::unsupported;
    }
    if (mode == fs_open_mode_t::read)
        ::posix_fadvise(fd, 0, 0, POSIX_FADV_SEQUENTIAL);
    handle = static_cast<fs_handle_t>(fd);
    return fs_reason_t::none;
}

fs_reason_t posix_platform_t::flush_directory(const char *path) {
    const int fd = open_descriptor(posix_path_t(path).c_str(), O_RDONLY | O_DIRECTORY);
    if (fd < 0)
        return reason_of(errno);
    const fs_reason_t reason = flush(fd);
    ::close(fd);
    return reason;
}

fs_reason_t posix_platform_t::list(const char *path, fs_listing_t &entries) {
    const std::unique_ptr<DIR, int (*)(DIR *)> directory(::opendir(posix_path_t(path).c_str()), ::closedir);
    if (!directory)
        return reason_of(errno);
    entries.clear();
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
        entry.name.assign(entry_name);
        entries.push_back(std::move(entry));
        errno = 0;
    }
    if (errno != 0)
        return reason_of(errno);
    std::sort(entries.begin(), entries.end());
    return fs_reason_t::none;
}

} // namespace

std::unique_ptr<fs_platform_t> make_native_platform() {
    return std::make_unique<posix_platform_t>();
}

} // namespace kestrel
