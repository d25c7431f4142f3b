#pragma once

// An open file of the operating system. Owns its handle.

#include "kcore/ufs/file.h"
#include "kcore/ufs/platform/platform.h"

namespace kestrel {

class sysfs_device_t;

// What plain and atomic files of a device have in common: who they are.
class sysfs_named_file_t : public file_t {
  public:
    bool get_system_path(mstring_t &path) const override;
    bool get_mount_path(mstring_t &path) const override;
    bool get_display_name(mstring_t &name) const override;
    uint16_t get_mount_id() const override;

  protected:
    // The prefix begins the display name. Of path kind sysfs the display name shows the device's root, or it
    // does not.
    sysfs_named_file_t(std::string_view name, sysfs_device_t &device, const char *prefix, bool shows_root)
        : file_t(name), device_(device), prefix_(prefix), shows_root_(shows_root) {}

    sysfs_device_t &device_;

  private:
    const char *prefix_;
    bool shows_root_;
};

class sysfs_file_t final : public sysfs_named_file_t {
  public:
    // Not open yet.
    sysfs_file_t(std::string_view name, sysfs_device_t &device)
        : sysfs_named_file_t(name, device, "", true) {}
    ~sysfs_file_t() override { sysfs_file_t::close(); }

    fs_reason_t open(const char *location, fs_open_mode_t mode);

    bool stat(fs_stat_t &out) const override;
    bool is_open() const override { return handle_ != fs_handle_t::invalid; }
    // Says when it fails.
    bool close() override;
    // True when the bytes written so far survive a loss of power, those of requests included.
    bool flush();

  protected:
    bool do_read(std::span<std::byte> buffer, uint64_t position) override;
    bool do_write(std::span<const std::byte> bytes, uint64_t position) override;
    fs_request_t do_request(const fs_transfer_t &transfer, const fs_callback_t &callback) override;
    bool do_set_size(uint64_t size) override;

  private:
    bool check(fs_reason_t reason) const;

    fs_handle_t handle_ = fs_handle_t::invalid;
};

} // namespace kestrel
