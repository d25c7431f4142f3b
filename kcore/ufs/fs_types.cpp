#include "kcore/ufs/fs_types.h"

namespace kestrel {

const char *fs_open_mode_name(fs_open_mode_t mode) {
    switch (mode) {
    case fs_open_mode_t::read:
        return "read";
    case fs_open_mode_t::create:
        return "create";
    case fs_open_mode_t::create_truncate:
        return "create_truncate";
    case fs_open_mode_t::create_or_read_write:
        return "create_or_read_write";
    case fs_open_mode_t::atomic:
        return "atomic";
    }
    return "unknown";
}

} // namespace kestrel
