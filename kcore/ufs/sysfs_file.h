#pragma once

// An open file of the operating system. Owns its handle.

#include "kcore/ufs/file.h"
#include "kcore/ufs/platform/platform.h"

namespace kestrel {

class sysfs_device_t;

class sysfs_file_t final : public file_t {
  public:
    sysfs_file_t(std::string_view name, const sysfs_device_t &device, fs_handle_t handle);
    ~sysfs_file_t() override;

    bool stat(fs_stat_t &out) const override;
    fs_request_t *read_request(std::span<std::byte> buffer, uint64_t position,
                               const fs_request_options_t &options) override;
    fs_request_t *write_request(std::span<const std::byte> bytes, uint64_t position,
                                const fs_request_options_t &options) override;
    bool request_finished(const fs_request_t &request) const override;
    bool complete(fs_request_t &request) override;
    void wait_and_release(fs_request_t &request) override;
    bool set_size(uint64_t size) override;
    bool get_system_path(mstring_t &path) const override;
    bool get_mount_path(mstring_t &path) const override;
    bool get_display_name(mstring_t &name) const override;
    uint16_t get_mount_id() const override;
    // Says when it fails.
    bool close() override;

    // Gives true when the bytes written so far survive a loss of power.
    bool flush();

  private:
    const sysfs_device_t &device_;
    fs_handle_t handle_;
};

} // namespace kestrel
