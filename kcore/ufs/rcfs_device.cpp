#include "kcore/ufs/rcfs_device.h"

#include "kcore/messages/messages.h"
#include "kcore/ufs/file_system.h"

namespace kestrel {

static std::unique_ptr<sysfs_device_t> make_store(file_system_t &system, std::string_view base,
                                                  std::string_view path) {
    string_dyn_t directory(base);
    directory.append("/");
    directory.append(path);
    return std::make_unique<sysfs_device_t>(directory.view(), *system.platform, system.pump);
}

static std::unique_ptr<sysfs_device_t> make_created_store(file_system_t &system, std::string_view base,
                                                          std::string_view path) {
    string_dyn_t directory(base);
    directory.append("/");
    directory.append(path);
    system.system_device.create_directories(directory.view());
    return make_store(system, base, path);
}

rcfs_device_t::rcfs_device_t(file_system_t &system, std::string_view base_directory, std::string_view root)
    : fs_device_t(fs_device_kind_t::rcfs, root) {
    primary_ = make_store(system, base_directory, root);
    for (const std::string_view shared : {"base", "base_vehicle", "base_share"})
        fallbacks_.push_back(make_store(system, base_directory, shared));

    string_dyn_t resources(base_directory);
    resources.append("/rsrc/");
    resources.append(root);
    cache_ = make_created_store(system, resources.view(), "@cache");
    dependencies_ = make_created_store(system, resources.view(), "@dep");
}

std::unique_ptr<file_t> rcfs_device_t::open(std::string_view path, fs_open_mode_t mode) {
    return cache_->open(path, mode);
}

bool rcfs_device_t::remove_file(std::string_view path) {
    if (!perform_conversion())
        msg_warning("Expected rcfs_device_t::perform_conversion() to be true, but it is not.");
    cache_->remove_file(path);
    dependencies_->remove_file(path);
    return true;
}

bool rcfs_device_t::stat(std::string_view path, fs_stat_t &out) {
    return cache_->stat(path, out);
}

std::optional<fs_listing_t> rcfs_device_t::list(std::string_view path) {
    return cache_->list(path);
}

void rcfs_device_t::set_mount(std::string_view mount_point, uint16_t mount_id, uint32_t owner) {
    fs_device_t::set_mount(mount_point, mount_id, owner);
    cache_->set_mount(mount_point, mount_id, owner);
}

} // namespace kestrel
