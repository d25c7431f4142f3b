#include "kcore/ufs/fs_device_open.h"

#include "kcore/messages/messages.h"
#include "kcore/ufs/file_system.h"

namespace kestrel {

static fs_device_t *well_known_device(fs_device_type_t type) {
    file_system_t *const system = file_system();
    if (!system)
        return nullptr;
    switch (type) {
    case fs_device_type_t::ufs:
        return system->union_device.get();
    case fs_device_type_t::sysfs:
        return &system->system_device;
    case fs_device_type_t::unknown:
        break;
    }
    return nullptr;
}

std::unique_ptr<file_t> fs_device_open(std::string_view path, fs_open_mode_t mode, fs_device_type_t type) {
    const string_dyn_t name(path);
    fs_device_t *const device = well_known_device(type);
    if (!device) {
        msg_error("[fs] Unable to retrieve device pointer of specified type (%d) for '%s'.",
                  static_cast<int32_t>(type), name.c_str());
        return nullptr;
    }
    if (type == fs_device_type_t::ufs && !path.starts_with('/')) {
        msg_error("[fs] fs_device_open() called with invalid path '%s' (expected absolute path, starting "
                  "with slash).",
                  name.c_str());
        return nullptr;
    }
    std::unique_ptr<file_t> file = device->open(path, mode);
    if (!file) {
        msg_error("[fs] Failed to open file '%s' in the %s mode.", name.c_str(), fs_open_mode_name(mode));
        return nullptr;
    }
    file->set_path_kind(type);
    return file;
}

} // namespace kestrel
