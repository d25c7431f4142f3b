#include "kcore/ufs/rcfs_device.h"

#include "kcore/messages/messages.h"
#include "kcore/ufs/file_system.h"

namespace kestrel {

static string_dyn_t joined(std::string_view directory, std::string_view path) {
    string_dyn_t text(directory);
    text.append("/");
    text.append(path);
    return text;
}

static std::unique_ptr<sysfs_device_t> make_store(file_system_t &system, const string_dyn_t &directory) {
    return std::make_unique<sysfs_device_t>(directory.view(), *system.platform, system.pump);
}

static std::unique_ptr<sysfs_device_t> make_created_store(file_system_t &system,
                                                          const string_dyn_t &directory) {
    system.system_device.create_directories(directory.view());
    return make_store(system, directory);
}

rcfs_device_t::rcfs_device_t(file_system_t &system, std::string_view base_directory, std::string_view root)
    : fs_device_t(fs_device_kind_t::rcfs, root) {
    primary_ = make_store(system, joined(base_directory, root));
    for (const std::string_view shared : {"base", "base_vehicle", "base_share"})
        fallbacks_.push_back(make_store(system, joined(base_directory, shared)));
    const string_dyn_t resources = joined(joined(base_directory, "rsrc").view(), root);
    cache_ = make_created_store(system, joined(resources.view(), "@cache"));
    dependencies_ = make_created_store(system, joined(resources.view(), "@dep"));
}

bool rcfs_device_t::remove_file(std::string_view path) {
    if (!perform_conversion())
        msg_warning("Expected rcfs_device_t::perform_conversion() to be true, but it is not.");
    // What is no file was not made by a conversion.
    for (sysfs_device_t *const store : {cache_.get(), dependencies_.get()})
        if (store->is_file(path))
            store->remove_file(path);
    return true;
}

fs_request_t rcfs_device_t::read_chunk(std::string_view path, std::span<std::byte> buffer,
                                       uint64_t position) {
    return cache_->read_chunk(path, buffer, position);
}

void rcfs_device_t::set_mount(std::string_view mount_point, uint16_t mount_id, uint32_t owner) {
    fs_device_t::set_mount(mount_point, mount_id, owner);
    cache_->set_mount(mount_point, mount_id, owner);
}

} // namespace kestrel
