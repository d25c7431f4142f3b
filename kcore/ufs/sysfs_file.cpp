#include "kcore/ufs/sysfs_file.h"

#include "kcore/messages/messages.h"
#include "kcore/ufs/io_pump.h"
#include "kcore/ufs/sysfs_device.h"

namespace kestrel {

sysfs_file_t::sysfs_file_t(std::string_view name, const sysfs_device_t &device, fs_handle_t handle)
    : file_t(name), device_(device), handle_(handle) {}

sysfs_file_t::~sysfs_file_t() {
    sysfs_file_t::close();
}

bool sysfs_file_t::stat(fs_stat_t &out) const {
    if (!device_.platform().stat_file(handle_, out))
        return false;
    out.device = &device_;
    return true;
}

fs_request_t *sysfs_file_t::read_request(std::span<std::byte> buffer, uint64_t position,
                                         const fs_request_options_t &options) {
    return device_.pump().read(handle_, buffer, position, options);
}

fs_request_t *sysfs_file_t::write_request(std::span<const std::byte> bytes, uint64_t position,
                                          const fs_request_options_t &options) {
    return device_.pump().write(handle_, bytes, position, options);
}

bool sysfs_file_t::request_finished(const fs_request_t &request) const {
    return fs_io_pump_t::finished(request);
}

bool sysfs_file_t::complete(fs_request_t &request) {
    return device_.pump().complete(request);
}

void sysfs_file_t::wait_and_release(fs_request_t &request) {
    device_.pump().complete(request);
}

bool sysfs_file_t::set_size(uint64_t size) {
    return device_.platform().set_end_of_file(handle_, size);
}

bool sysfs_file_t::get_system_path(mstring_t &path) const {
    return device_.get_system_location(name().view(), path);
}

bool sysfs_file_t::get_mount_path(mstring_t &path) const {
    if (path_kind() != fs_path_kind_t::ufs)
        return false;
    return path.assign(device_.mount_point()) && path.append(name().view());
}

bool sysfs_file_t::get_display_name(mstring_t &text) const {
    switch (path_kind()) {
    case fs_path_kind_t::unknown:
        return text.assign_formatted("<%s>%s", "UNKNOWNFS", name().c_str());
    case fs_path_kind_t::ufs:
        return text.assign_formatted("<%s | %s>%s", device_.name().c_str(), device_.mount_point().c_str(),
                                     name().c_str());
    case fs_path_kind_t::sysfs:
        return text.assign_formatted("<%s>%s%s", "SYSFS", device_.name().c_str(), name().c_str());
    }
    text.assign_formatted("<%s>%s", "BADFS", name().c_str());
    return false;
}

uint16_t sysfs_file_t::get_mount_id() const {
    return device_.mount_id();
}

bool sysfs_file_t::flush() {
    return device_.platform().flush_file(handle_);
}

bool sysfs_file_t::close() {
    if (handle_ == fs_handle_t::invalid)
        return true;
    const fs_handle_t handle = handle_;
    handle_ = fs_handle_t::invalid;
    if (device_.platform().close(handle))
        return true;
    msg_error("[fs] closing reported an error, written data may be lost (%s)", display_name_of(this).c_str());
    return false;
}

} // namespace kestrel
