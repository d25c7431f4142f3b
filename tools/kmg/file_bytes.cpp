#include "tools/kmg/file_bytes.h"

#include "kcore/core/core.h"
#include "kcore/messages/messages.h"
#include "tools/kmg/concat.h"
#include "tools/kmg/kmg_layout_and_limits.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <sys/stat.h>
#include <unistd.h>

namespace kestrel {

namespace {

class descriptor_t {
  public:
    explicit descriptor_t(int number) : number_(number) {}
    ~descriptor_t() {
        if (number_ >= 0)
            close(number_);
    }
    descriptor_t(const descriptor_t &) = delete;
    descriptor_t &operator=(const descriptor_t &) = delete;
    operator int() const { return number_; }

  private:
    int number_;
};

// Reads until the bytes are full or the file ends; -1 when it cannot be read.
ssize_t read_fully(int descriptor, std::span<std::byte> bytes) {
    size_t done = 0;
    while (done < bytes.size()) {
        const ssize_t got = read(descriptor, bytes.data() + done, bytes.size() - done);
        if (got < 0 && errno == EINTR)
            continue;
        if (got < 0)
            return -1;
        if (got == 0)
            break;
        done += static_cast<size_t>(got);
    }
    return static_cast<ssize_t>(done);
}

const char *kind_text(mode_t mode) {
    return S_ISDIR(mode)    ? "is a folder"
           : S_ISFIFO(mode) ? "is a pipe"
           : S_ISREG(mode)  ? "is a file"
                            : "is a device";
}

// Why the path must not be replaced; null when it may.
const char *why_not_replace(const std::string &path) {
    if (path.ends_with(".kmg"))
        return "has the name of a geometry file";
    struct stat status;
    if (stat(path.c_str(), &status) != 0)
        return nullptr;
    if (!S_ISREG(status.st_mode))
        return kind_text(status.st_mode);
    const descriptor_t file(open(path.c_str(), O_RDONLY | O_CLOEXEC));
    std::byte start[sizeof kmg_signature];
    if (file < 0 || read_fully(file, start) != sizeof start)
        return nullptr;
    uint32_t signature;
    little_endian::get(start, signature);
    return signature == kmg_signature ? "is a geometry file" : nullptr;
}

} // namespace

int run_tool(const char *name, const std::function<int()> &tool) {
    // A file that grows too large fails to be written like on a full disk.
    std::signal(SIGXFSZ, SIG_IGN);
    int status = status_unreadable;
    try {
        core_initialize();
        status = tool();
        core_shutdown();
    } catch (const std::bad_alloc &) {
        std::fflush(stdout);
        std::fprintf(stderr, "%s: memory has run out\n", name);
    }
    return status;
}

std::optional<std::vector<std::byte>> read_file(const std::string &path, std::string *failure) {
    const auto fail = [&](const char *what, const char *why) {
        if (failure)
            *failure = concat(what, ": ", why);
        msg_error("%s: %s: %s", path.c_str(), what, why);
        return std::nullopt;
    };
    const descriptor_t file(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    struct stat status;
    if (file < 0 || fstat(file, &status) != 0)
        return fail("cannot be opened", std::strerror(errno));
    if (!S_ISREG(status.st_mode))
        return fail("cannot be read", kind_text(status.st_mode));
    std::vector<std::byte> bytes(static_cast<size_t>(status.st_size));
    const ssize_t got = read_fully(file, bytes);
    if (got < 0)
        return fail("cannot be read", std::strerror(errno));
    bytes.resize(static_cast<size_t>(got));
    return bytes;
}

std::unique_ptr<output_file_t> output_file_t::create(const std::string &path) {
    // Of a link, what it leads to is meant.
    std::error_code ignored;
    const auto target = std::filesystem::is_symlink(path, ignored)
                            ? std::filesystem::weakly_canonical(path, ignored)
                            : std::filesystem::path(path);
    if (const char *why = why_not_replace(target.string())) {
        msg_error("%s: %s and is not written over", path.c_str(), why);
        return nullptr;
    }
    std::string temporary = (target.parent_path() / ".unfinished-XXXXXX").string();
    const int descriptor = mkostemp(temporary.data(), O_CLOEXEC);
    if (descriptor < 0) {
        msg_error("%s: cannot be created: %s", path.c_str(), std::strerror(errno));
        return nullptr;
    }
    const mode_t mask = umask(0);
    umask(mask);
    fchmod(descriptor, 0666 & ~mask);
    return std::unique_ptr<output_file_t>(new output_file_t(target.string(), temporary, descriptor));
}

output_file_t::~output_file_t() {
    if (descriptor_ < 0)
        return;
    close(descriptor_);
    unlink(temporary_.c_str());
}

void output_file_t::write(std::span<const std::byte> bytes) {
    while (!bytes.empty() && error_ == 0) {
        const ssize_t put = ::write(descriptor_, bytes.data(), bytes.size());
        if (put >= 0)
            bytes = bytes.subspan(static_cast<size_t>(put));
        else if (errno != EINTR)
            error_ = errno;
    }
}

bool output_file_t::commit() {
    if (error_ == 0 && (fsync(descriptor_) != 0 || rename(temporary_.c_str(), path_.c_str()) != 0))
        error_ = errno;
    if (error_ != 0) {
        msg_error("%s: cannot be written: %s", path_.c_str(), std::strerror(error_));
        return false;
    }
    close(descriptor_);
    descriptor_ = -1;
    return true;
}

} // namespace kestrel
