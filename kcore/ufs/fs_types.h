#pragma once

// The vocabulary of the file system: how to open, what a path is, what is known of a file, why something
// failed.

#include "kcore/collections/array.h"
#include "kcore/strings/string.h"

#include <cstdint>
#include <limits>

namespace kestrel {

class fs_device_t;

// A path or a system location: 255 bytes at most. What is longer is refused, never cut and then used.
using fs_path_t = string_local_t<256>;

enum class fs_open_mode_t : uint32_t {
    read = 0,                 // must exist
    create = 1,               // must not exist
    create_truncate = 2,      // an old file is removed, a new one created
    create_or_read_write = 3, // opened as it is, or created
    atomic = 4,               // written beside the target, which it replaces at commit
};

// The mode's name in messages.
constexpr const char *fs_open_mode_name(fs_open_mode_t mode) {
    constexpr const char *names[] = {"read", "create", "create_truncate", "create_or_read_write", "atomic"};
    return mode <= fs_open_mode_t::atomic ? names[static_cast<size_t>(mode)] : "unknown";
}

// Why the operating system did not do what it was asked for.
enum class fs_reason_t {
    none, // it did
    not_found,
    exists,
    refused,     // permissions, a file system that is read-only
    no_space,    // a full disk, a quota, a limit on the size of files
    would_block, // another process holds it
    unsupported, // what is there is no regular file, or its file system cannot do this
    other,
};

// Says why something of that name was not done; nothing for the reasons that are no surprise (none,
// not_found, exists), which callers put in words of their own. Gives true for none.
bool check_reason(fs_reason_t reason, const char *name);

// Which of the two well-known devices a path belongs to.
enum class fs_path_kind_t : uint32_t {
    unknown = 0,
    ufs = 1,   // a virtual path of a mounted or layered device
    sysfs = 2, // a path of a sysfs_device_t used directly
};

enum class fs_kind_t : uint32_t { neither = 0, file = 1, directory = 2 };

struct fs_stat_t {
    static constexpr uint64_t no_container = std::numeric_limits<uint64_t>::max();

    fs_kind_t kind = fs_kind_t::neither;
    uint64_t modification_time = 0; // seconds since 1970-01-01 UTC, 0 when unknown
    uint64_t size = 0;              // bytes
    uint64_t stored_size = 0;       // bytes it takes where it lies; the size unless it lies in a container
    const fs_device_t *device = nullptr;
    uint64_t container_position = no_container;
};

struct fs_listing_entry_t {
    string_dyn_t name;
    fs_kind_t kind = fs_kind_t::neither;

    bool operator<(const fs_listing_entry_t &other) const { return name.view() < other.name.view(); }
};

// The entries of one directory in byte order of their names, without "." and "..".
using fs_listing_t = array_dyn_t<fs_listing_entry_t>;

} // namespace kestrel
