#include "tools/build/platform/file_lock.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

namespace kestrel {

lock_result_t file_lock_t::try_take(const std::string &path, lock_kind_t kind, std::error_code &error) {
    release();
    int file = open(path.c_str(), O_RDWR | O_CREAT | O_NOCTTY, 0666);
    if (file < 0 && (errno == EROFS || errno == EACCES))
        file = open(path.c_str(), O_RDONLY | O_NOCTTY); // enough for a lock on a local disk
    file_ = file;
    if (file >= 0 && flock(file, (kind == lock_kind_t::shared ? LOCK_SH : LOCK_EX) | LOCK_NB) == 0)
        return lock_result_t::taken;
    error = {errno, std::generic_category()};
    release();
    return error.value() == EWOULDBLOCK ? lock_result_t::held_by_another : lock_result_t::not_possible;
}

void file_lock_t::release() {
    if (file_ >= 0)
        close(static_cast<int>(file_));
    file_ = -1;
}

} // namespace kestrel
