#include "kcore/ufs/file_system.h"

#include "kcore/messages/messages.h"

namespace kestrel {

static std::unique_ptr<file_system_t> instance;

file_system_t::file_system_t(std::unique_ptr<fs_platform_t> layer)
    : platform(std::move(layer)), pump(*platform), system_device("", *platform, pump) {}

void file_system_start(std::unique_ptr<fs_platform_t> platform) {
    instance = std::make_unique<file_system_t>(std::move(platform));
}

void file_system_stop() {
    instance.reset();
}

file_system_t *file_system() {
    return instance.get();
}

static fs_device_t *well_known_device(fs_device_type_t type) {
    if (!instance)
        return nullptr;
    if (type == fs_device_type_t::ufs)
        return instance->union_device.get();
    return type == fs_device_type_t::sysfs ? &instance->system_device : nullptr;
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
