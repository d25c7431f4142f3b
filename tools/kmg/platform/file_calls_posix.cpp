#include "tools/kmg/platform/file_calls.h"

#include <cerrno>
#include <fcntl.h>
#include <unistd.h>

namespace kestrel {

bool find_status(const std::string &path, struct stat &status) {
    return stat(path.c_str(), &status) == 0;
}

static std::FILE *stream_of(int descriptor, const char *mode) {
    return descriptor < 0 ? nullptr : fdopen(descriptor, mode);
}

std::FILE *open_to_read(const std::string &path) {
    return stream_of(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK), "rb");
}

std::FILE *create_unfinished(const std::string &target, std::string &path) {
    path = target.substr(0, target.rfind('/') + 1) + ".unfinished-XXXXXX";
    const int descriptor = mkostemp(path.data(), O_CLOEXEC);
    const mode_t mask = umask(0);
    umask(mask);
    if (descriptor >= 0)
        fchmod(descriptor, 0666 & ~mask);
    return stream_of(descriptor, "wb");
}

bool finish(std::FILE *file, const std::string &path, const std::string &target) {
    const bool written = std::fflush(file) == 0 && fsync(fileno(file)) == 0;
    const int error = errno;
    const bool closed = std::fclose(file) == 0;
    if (!written)
        errno = error;
    return written && closed && std::rename(path.c_str(), target.c_str()) == 0;
}

void remove_unfinished(const std::string &path) {
    unlink(path.c_str());
}

} // namespace kestrel
