#include "kcore/core/platform/executable_path.h"

#include <unistd.h>

namespace kestrel {

bool get_executable_path(mstring_t &path) {
    char target[4096];
    const ssize_t length = readlink("/proc/self/exe", target, sizeof target);
    if (length <= 0 || static_cast<size_t>(length) >= sizeof target)
        return false;
    return path.assign(std::string_view(target, static_cast<size_t>(length)));
}

} // namespace kestrel
