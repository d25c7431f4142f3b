#pragma once

// Opens a path on one of the two well-known devices: the union device (virtual paths, type ufs) or the system
// device (operating-system paths, type sysfs). Every failure is reported and gives null.

#include "kcore/ufs/file.h"

#include <memory>
#include <string_view>

namespace kestrel {

using fs_device_type_t = fs_path_kind_t;

std::unique_ptr<file_t> fs_device_open(std::string_view path, fs_open_mode_t mode, fs_device_type_t type);

} // namespace kestrel
