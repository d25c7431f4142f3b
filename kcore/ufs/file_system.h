#pragma once

// The process-wide file system: set up once, torn down once, in the opposite order.
//
// Starting it opens nothing, mounts nothing and starts no thread. Stopping it unmounts what is mounted.
// Files, requests and all devices that are not mounted must be gone before it stops.

#include "kcore/ufs/io_pump.h"
#include "kcore/ufs/platform/platform.h"
#include "kcore/ufs/sysfs_device.h"

#include <memory>
#include <string_view>

namespace kestrel {

struct file_system_t {
    explicit file_system_t(std::unique_ptr<fs_platform_t> layer);

    std::unique_ptr<fs_platform_t> platform;
    fs_io_pump_t pump;
    sysfs_device_t system_device; // its root is empty: it takes complete operating-system paths
    // Takes virtual paths and finds them in the mounted devices; none until kcore/mounts makes it.
    std::unique_ptr<fs_device_t> union_device;
};

// Tests pass a platform of their own.
void file_system_start(std::unique_ptr<fs_platform_t> platform = make_native_platform());
void file_system_stop();

// Null while the file system is not started.
file_system_t *file_system();

// Opens a path on one of the two well-known devices: the union device (virtual paths, type ufs) or the system
// device (operating-system paths, type sysfs). Every failure is reported and gives null.
using fs_device_type_t = fs_path_kind_t;
std::unique_ptr<file_t> fs_device_open(std::string_view path, fs_open_mode_t mode, fs_device_type_t type);

} // namespace kestrel
