#include "kcore/ufs/sysfs_atomic_file.h"

#include "kcore/messages/messages.h"
#include "kcore/ufs/io_pump.h"
#include "kcore/ufs/sysfs_device.h"

namespace kestrel {

std::unique_ptr<sysfs_atomic_file_t> sysfs_atomic_file_t::open(sysfs_device_t &device,
                                                               std::string_view target) {
    string_dyn_t buffer_path(target);
    buffer_path.append(".atomic");
    if (!device.may_replace(target))
        return nullptr;
    std::unique_ptr<sysfs_atomic_file_t> file(new sysfs_atomic_file_t(device, target));
    file->buffer_ = device.open_plain(buffer_path.view(), fs_open_mode_t::create_truncate);
    return file->buffer_ ? std::move(file) : nullptr;
}

bool sysfs_atomic_file_t::close() {
    if (!is_open())
        return true;
    msg_error("[sysfs_atomic_file_t] Atomic file close without explicit commit or cancel. %s",
              display_name_of(this).c_str());
    device_.remove_file(take_buffer().view());
    return false;
}

bool sysfs_atomic_file_t::refuse_to_read() const {
    return msg_error("[sysfs_atomic_file_t] Atomic file does not support read operation.");
}

bool sysfs_atomic_file_t::can_write() const {
    if (!is_open())
        msg_error("[sysfs_atomic_file_t] Cannot write, buffer file is already closed.");
    return is_open();
}

bool sysfs_atomic_file_t::do_read(std::span<std::byte>, uint64_t) {
    return refuse_to_read();
}

bool sysfs_atomic_file_t::do_write(std::span<const std::byte> bytes, uint64_t position) {
    return can_write() && buffer_->write_at(bytes, position);
}

fs_request_t sysfs_atomic_file_t::do_request(const fs_transfer_t &transfer, const fs_callback_t &callback) {
    const bool possible = transfer.reads ? refuse_to_read() : can_write();
    return possible ? buffer_->write_request(transfer.from, transfer.position, callback) : fs_request_t();
}

// Closes the buffer file; gives its path.
fs_path_t sysfs_atomic_file_t::take_buffer() {
    const fs_path_t path(buffer_->name().view());
    buffer_.reset();
    return path;
}

bool sysfs_atomic_file_t::cancel() {
    if (!is_open())
        return msg_error("[sysfs_atomic_file_t] Cannot cancel, buffer file is already closed.");
    device_.remove_file(take_buffer().view());
    return true;
}

bool sysfs_atomic_file_t::commit() {
    if (!is_open())
        return msg_error("[sysfs_atomic_file_t] Cannot commit, buffer file is already closed.");
    const bool flushed = buffer_->flush();
    const bool closed = buffer_->close();
    const fs_path_t buffer_path = take_buffer();
    if (!flushed || !closed)
        msg_error("[sysfs_atomic_file_t] Cannot write the buffer file to the disk.");
    else if (!device_.move_file(buffer_path.view(), name().view(), true))
        msg_error("[sysfs_atomic_file_t] Cannot rename buffer file.");
    else {
        flush_directory();
        return true;
    }
    device_.remove_file(buffer_path.view());
    return false;
}

// The new name lies in the directory above; a location without a separator lies in the current one.
void sysfs_atomic_file_t::flush_directory() const {
    fs_path_t location;
    get_system_path(location);
    const int64_t slash = location.find_last_of(path_separators);
    if (slash < 0)
        location.assign(".");
    else
        location.cut(slash == 0 ? 1 : static_cast<uint32_t>(slash));
    if (device_.platform().flush_directory(location.c_str()) != fs_reason_t::none)
        msg_warning("[sysfs_atomic_file_t] Cannot write the directory of the renamed file to the disk.");
}

} // namespace kestrel
