#pragma once

// Devices laid over one another under one root: the home of virtual paths.
//
// Each mounted device has a priority. A path belongs to the first device that has it, by falling priority and
// among equals in the order of mounting; a new file goes to the first device that takes it, so what was
// written is what is read back. Devices that are not available are passed over. A listing joins what all of
// them have.
//
// The mounted devices stay their owners', who mount and unmount them through the mount table and let them go
// only when no file of theirs is open. Safe from several threads: look-ups share the lock, mounting has it
// alone, so a handler of messages must not mount.

#include "kcore/thread/rw_lock.h"
#include "kcore/ufs/fs_device.h"

namespace kestrel {

class union_device_t final : public fs_device_t {
  public:
    // What mounted devices keep as their owner.
    static constexpr uint32_t number = 1;

    union_device_t() : fs_device_t(fs_device_kind_t::union_of_devices, "union") {}

    // False when memory cannot be had.
    bool mount(fs_device_t &device, uint32_t priority);
    // False when the device is not mounted here.
    bool unmount(const fs_device_t &device);

    std::unique_ptr<file_t> open(std::string_view path, fs_open_mode_t mode) override;
    bool remove_file(std::string_view path) override;
    bool stat(std::string_view path, fs_stat_t &out) override;
    std::optional<fs_listing_t> list(std::string_view path) override;

  private:
    struct mounted_t {
        fs_device_t *device;
        uint32_t priority;
    };

    // Under the lock. Null when no device has the path.
    fs_device_t *first_with(std::string_view path, fs_stat_t &found);
    std::unique_ptr<file_t> open_on_first(std::string_view path, fs_open_mode_t mode);

    thread::rw_lock_t lock_;
    array_dyn_t<mounted_t> mounted_; // by falling priority
};

} // namespace kestrel
