#pragma once

// A file that replaces its target as a whole or not at all.
//
// What is written goes to a buffer file beside the target, named like it with ".atomic" behind. Commit waits
// for requests under way, makes the buffer file durable and renames it over the target; cancel deletes it. A
// reader of the target sees the old file or the complete new one, also after a loss of power. Exactly one of
// commit and cancel is called before the file goes; forgetting both is reported and cancels. Atomic files
// cannot be read.
//
// A target that is there and is neither a regular file nor a link to one is refused when the file is opened.
// A commit that fails leaves the target as it was. One that gives true has replaced it; a directory that
// cannot be flushed then, so that the new name may not survive a loss of power, is a warning.

#include "kcore/ufs/sysfs_file.h"

#include <memory>

namespace kestrel {

class sysfs_atomic_file_t final : public sysfs_named_file_t {
  public:
    // Null when the buffer file cannot be opened. An old buffer file is replaced.
    static std::unique_ptr<sysfs_atomic_file_t> open(sysfs_device_t &device, std::string_view target);

    ~sysfs_atomic_file_t() override { sysfs_atomic_file_t::close(); }

    bool stat(fs_stat_t &out) const override { return is_open() && buffer_->stat(out); }
    bool is_open() const override { return buffer_ != nullptr; }
    bool commit() override;
    bool cancel() override;
    // Like forgetting: true when it has been committed or cancelled, otherwise cancels and gives false.
    bool close() override;

  protected:
    bool do_read(std::span<std::byte> buffer, uint64_t position) override;
    bool do_write(std::span<const std::byte> bytes, uint64_t position) override;
    fs_request_t do_request(const fs_transfer_t &transfer, const fs_callback_t &callback) override;

  private:
    sysfs_atomic_file_t(sysfs_device_t &device, std::string_view target)
        : sysfs_named_file_t(target, device, "<atomic>", false) {}

    bool refuse_to_read() const;
    bool can_write() const;
    fs_path_t take_buffer();
    void flush_directory() const;

    std::unique_ptr<sysfs_file_t> buffer_; // empty once committed or cancelled
};

} // namespace kestrel
