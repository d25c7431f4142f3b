#include "kcore/ufs/sysfs_file.h"

#include "kcore/messages/messages.h"
#include "kcore/ufs/io_pump.h"
#include "kcore/ufs/sysfs_device.h"

namespace kestrel {

bool sysfs_named_file_t::get_system_path(mstring_t &path) const {
    return device_.get_system_location(name().view(), path);
}

bool sysfs_named_file_t::get_mount_path(mstring_t &path) const {
    if (path_kind() != fs_path_kind_t::ufs)
        return false;
    return path.assign(device_.mount_point()) && path.append(name().view());
}

bool sysfs_named_file_t::get_display_name(mstring_t &text) const {
    const char *const file = name().c_str();
    const char *const root = device_.name().c_str();
    if (path_kind() == fs_path_kind_t::ufs)
        return text.assign_formatted("%s<%s | %s>%s", prefix_, root, device_.mount_point().c_str(), file);
    const bool is_kind = path_kind() <= fs_path_kind_t::sysfs;
    const bool shows_root = shows_root_ && path_kind() == fs_path_kind_t::sysfs;
    return text.assign_formatted("%s<%s>%s%s", is_kind ? prefix_ : "", path_kind_word(path_kind()),
                                 shows_root ? root : "", file) &&
           is_kind;
}

uint16_t sysfs_named_file_t::get_mount_id() const {
    return device_.mount_id();
}

fs_reason_t sysfs_file_t::open(const char *location, fs_open_mode_t mode) {
    return device_.platform().open(location, mode, handle_);
}

bool sysfs_file_t::check(fs_reason_t reason) const {
    return reason == fs_reason_t::none || check_reason(reason, display_name_of(this).c_str());
}

bool sysfs_file_t::stat(fs_stat_t &out) const {
    if (!is_open() || !check(device_.platform().stat_file(handle_, out)))
        return false;
    out.device = &device_;
    return true;
}

bool sysfs_file_t::do_read(std::span<std::byte> buffer, uint64_t position) {
    return is_open() && check(device_.platform().read_all(handle_, buffer, position));
}

bool sysfs_file_t::do_write(std::span<const std::byte> bytes, uint64_t position) {
    return is_open() && check(device_.platform().write_all(handle_, bytes, position));
}

fs_request_t sysfs_file_t::do_request(const fs_transfer_t &transfer, const fs_callback_t &callback) {
    return is_open() ? device_.pump().ask(handle_, transfer, callback) : fs_request_t();
}

bool sysfs_file_t::do_set_size(uint64_t size) {
    return is_open() && check(device_.platform().set_end_of_file(handle_, size));
}

bool sysfs_file_t::flush() {
    device_.pump().settle(handle_);
    return check(device_.platform().flush_file(handle_));
}

bool sysfs_file_t::close() {
    if (!is_open())
        return true;
    // Another file may get the handle as soon as it is closed.
    device_.pump().settle(handle_);
    if (check(device_.platform().close(std::exchange(handle_, fs_handle_t::invalid))))
        return true;
    return msg_error("[fs] closing reported an error, written data may be lost (%s)",
                     display_name_of(this).c_str());
}

} // namespace kestrel
