#include "tools/kmg/platform/file_calls.h"

#include "kcore/strings/platform/wide_text_windows.h"

#include <cerrno>
#include <fcntl.h>
#include <io.h>
#include <random>
#include <system_error>
#include <windows.h>

namespace kestrel {

static std::FILE *stream_of(int descriptor, const char *mode) {
    return descriptor < 0 ? nullptr : _fdopen(descriptor, mode);
}

bool find_status(const std::string &path, struct stat &status) {
    return _wstat64(utf8_to_wide(path).c_str(), &status) == 0;
}

std::FILE *open_to_read(const std::string &path) {
    return stream_of(_wopen(utf8_to_wide(path).c_str(), _O_RDONLY | _O_BINARY | _O_NOINHERIT), "rb");
}

std::FILE *create_unfinished(const std::string &target, std::string &path) {
    static std::mt19937 random(std::random_device{}());
    constexpr int flags = _O_WRONLY | _O_CREAT | _O_EXCL | _O_BINARY | _O_NOINHERIT;
    for (;;) {
        path = target.substr(0, target.find_last_of("/\\") + 1) + ".unfinished-" +
               std::to_string(random() % 1'000'000);
        const int descriptor = _wopen(utf8_to_wide(path).c_str(), flags, _S_IREAD | _S_IWRITE);
        if (descriptor >= 0 || errno != EEXIST)
            return stream_of(descriptor, "wb");
    }
}

bool finish(std::FILE *file, const std::string &path, const std::string &target) {
    const bool written = std::fflush(file) == 0 && _commit(_fileno(file)) == 0;
    const int error = errno;
    const bool closed = std::fclose(file) == 0;
    if (!written)
        errno = error;
    if (!written || !closed)
        return false;
    if (MoveFileExW(utf8_to_wide(path).c_str(), utf8_to_wide(target).c_str(),
                    MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH))
        return true;
    errno = wide_call_error().value();
    return false;
}

void remove_unfinished(const std::string &path) {
    DeleteFileW(utf8_to_wide(path).c_str());
}

} // namespace kestrel
