#pragma once

// A file that replaces its target as a whole or not at all.
//
// What is written goes to a buffer file beside the target, named like it with ".atomic" behind. Commit makes
// the buffer file durable and renames it over the target; cancel deletes it. A reader of the target sees the
// old file or the complete new one, also after a loss of power. Exactly one of commit and cancel is called
// before the file goes; forgetting both is reported and cancels. Atomic files cannot be read.
//
// A commit that fails leaves the target as it was, with one exception: when the rename is done but the
// directory cannot be flushed, the target is the new file and only its survival of a power cut is in doubt.

#include "kcore/ufs/file.h"
#include "kcore/ufs/sysfs_file.h"

#include <memory>

namespace kestrel {

class sysfs_atomic_file_t final : public file_t {
  public:
    // Null when the buffer file cannot be opened. An old buffer file is replaced.
    static std::unique_ptr<sysfs_atomic_file_t> open(sysfs_device_t &device, std::string_view target);

    ~sysfs_atomic_file_t() override;

    bool stat(fs_stat_t &out) const override;
    fs_request_t *read_request(std::span<std::byte> buffer, uint64_t position,
                               const fs_request_options_t &options) override;
    fs_request_t *write_request(std::span<const std::byte> bytes, uint64_t position,
                                const fs_request_options_t &options) override;
    bool request_finished(const fs_request_t &request) const override;
    bool complete(fs_request_t &request) override;
    void wait_and_release(fs_request_t &request) override;
    bool get_system_path(mstring_t &path) const override;
    bool get_mount_path(mstring_t &path) const override;
    bool get_display_name(mstring_t &name) const override;
    uint16_t get_mount_id() const override;
    bool commit() override;
    bool cancel() override;
    // Like forgetting: true when it has been committed or cancelled, otherwise cancels and gives false.
    bool close() override;

  private:
    sysfs_atomic_file_t(sysfs_device_t &device, const fs_path_t &target,
                        std::unique_ptr<sysfs_file_t> buffer);

    void discard_buffer();
    bool rename_buffer(const fs_path_t &buffer_path);

    fs_path_t target_;
    std::unique_ptr<sysfs_file_t> buffer_; // empty once committed or cancelled
    sysfs_device_t &device_;
};

} // namespace kestrel
