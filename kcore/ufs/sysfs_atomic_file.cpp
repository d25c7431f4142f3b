#include "kcore/ufs/sysfs_atomic_file.h"

#include "kcore/messages/messages.h"
#include "kcore/ufs/io_pump.h"
#include "kcore/ufs/sysfs_device.h"

#include <new>

namespace kestrel {

std::unique_ptr<sysfs_atomic_file_t> sysfs_atomic_file_t::open(sysfs_device_t &device,
                                                               std::string_view target) {
    fs_path_t kept, buffer_path;
    if (!kept.assign(target) || !buffer_path.assign(target) || !buffer_path.append(".atomic")) {
        msg_error("[fs] path of a buffer file is longer than 255 bytes: '%s.atomic'",
                  string_dyn_t(target).c_str());
        return nullptr;
    }
    std::unique_ptr<sysfs_file_t> buffer =
        device.open_plain(buffer_path.view(), fs_open_mode_t::create_truncate);
    if (!buffer)
        return nullptr;
    return std::unique_ptr<sysfs_atomic_file_t>(new sysfs_atomic_file_t(device, kept, std::move(buffer)));
}

sysfs_atomic_file_t::sysfs_atomic_file_t(sysfs_device_t &device, const fs_path_t &target,
                                         std::unique_ptr<sysfs_file_t> buffer)
    : file_t(target.view()), target_(target), buffer_(std::move(buffer)), device_(device) {}

sysfs_atomic_file_t::~sysfs_atomic_file_t() {
    sysfs_atomic_file_t::close();
}

bool sysfs_atomic_file_t::close() {
    if (!buffer_)
        return true;
    msg_error("[sysfs_atomic_file_t] Atomic file close without explicit commit or cancel. %s",
              display_name_of(this).c_str());
    discard_buffer();
    return false;
}

bool sysfs_atomic_file_t::stat(fs_stat_t &out) const {
    return buffer_ && buffer_->stat(out);
}

fs_request_t *sysfs_atomic_file_t::read_request(std::span<std::byte>, uint64_t,
                                                const fs_request_options_t &) {
    msg_error("[sysfs_atomic_file_t] Atomic file does not support read operation.");
    return nullptr;
}

fs_request_t *sysfs_atomic_file_t::write_request(std::span<const std::byte> bytes, uint64_t position,
                                                 const fs_request_options_t &options) {
    if (!buffer_) {
        msg_error("[sysfs_atomic_file_t] Cannot write, buffer file is already closed.");
        return nullptr;
    }
    return buffer_->write_request(bytes, position, options);
}

bool sysfs_atomic_file_t::request_finished(const fs_request_t &request) const {
    return fs_io_pump_t::finished(request);
}

bool sysfs_atomic_file_t::complete(fs_request_t &request) {
    return device_.pump().complete(request);
}

void sysfs_atomic_file_t::wait_and_release(fs_request_t &request) {
    device_.pump().complete(request);
}

bool sysfs_atomic_file_t::get_system_path(mstring_t &path) const {
    return device_.get_system_location(target_.view(), path);
}

bool sysfs_atomic_file_t::get_mount_path(mstring_t &path) const {
    if (path_kind() != fs_path_kind_t::ufs)
        return false;
    return path.assign(device_.mount_point()) && path.append(target_.view());
}

bool sysfs_atomic_file_t::get_display_name(mstring_t &text) const {
    switch (path_kind()) {
    case fs_path_kind_t::unknown:
        return text.assign_formatted("<atomic><%s>%s", "UNKNOWNFS", target_.c_str());
    case fs_path_kind_t::ufs:
        return text.assign_formatted("<atomic><%s | %s>%s", device_.name().c_str(),
                                     device_.mount_point().c_str(), target_.c_str());
    case fs_path_kind_t::sysfs:
        return text.assign_formatted("<atomic><%s>%s", "SYSFS", target_.c_str());
    }
    text.assign_formatted("<%s>%s", "BADFS", target_.c_str());
    return false;
}

uint16_t sysfs_atomic_file_t::get_mount_id() const {
    return device_.mount_id();
}

void sysfs_atomic_file_t::discard_buffer() {
    const fs_path_t buffer_path(buffer_->name().view());
    buffer_.reset();
    device_.remove_file(buffer_path.view());
}

bool sysfs_atomic_file_t::cancel() {
    if (!buffer_) {
        msg_error("[sysfs_atomic_file_t] Cannot cancel, buffer file is already closed.");
        return false;
    }
    discard_buffer();
    return true;
}

bool sysfs_atomic_file_t::commit() {
    if (!buffer_) {
        msg_error("[sysfs_atomic_file_t] Cannot commit, buffer file is already closed.");
        return false;
    }
    const fs_path_t buffer_path(buffer_->name().view());
    const bool flushed = buffer_->flush();
    const bool closed = buffer_->close();
    buffer_.reset();
    if (!flushed || !closed) {
        msg_error("[sysfs_atomic_file_t] Cannot write the buffer file to the disk.");
        device_.remove_file(buffer_path.view());
        return false;
    }
    return rename_buffer(buffer_path);
}

bool sysfs_atomic_file_t::rename_buffer(const fs_path_t &buffer_path) {
    fs_path_t location;
    if (!get_system_path(location) || !device_.move_file(buffer_path.view(), target_.view(), true)) {
        msg_error("[sysfs_atomic_file_t] Cannot rename buffer file.");
        device_.remove_file(buffer_path.view());
        return false;
    }
    // The new name lies in the directory above; a location without '/' lies in the current one.
    const int64_t slash = location.find_last_of("/\\");
    if (slash < 0)
        location.assign(".");
    else
        location.cut(slash == 0 ? 1 : static_cast<uint32_t>(slash));
    if (!device_.platform().flush_directory(location.c_str())) {
        msg_error("[sysfs_atomic_file_t] Cannot write the directory of the renamed file to the disk.");
        return false;
    }
    return true;
}

} // namespace kestrel
