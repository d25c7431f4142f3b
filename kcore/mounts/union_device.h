#pragma once

// Devices laid over one another under one root: the home of virtual paths, and the process's table of mounted
// devices.
//
// Each mounted device has a priority. A path belongs to the first device that has it, by falling priority and
// among equals in the order of mounting; a new file goes to the first device that takes it, so what was
// written is what is read back. Devices that are not available are passed over, and so are those for which
// the path would be too long. A listing joins what all of them have.
//
// Each mounted device has a number too, 16 bits wide. Numbers are handed out in order and used again only
// after the counter has come round; a number still in use is skipped.
//
// The mounted devices stay their owners', who unregister them before they go and only when no file of theirs
// is open. Safe from several threads: look-ups share the lock, mounting has it alone, so a handler of
// messages must not mount.

#include "kcore/ufs/fs_device.h"

#include <bitset>
#include <shared_mutex>

namespace kestrel {

class union_device_t final : public fs_device_t {
  public:
    static constexpr size_t max_devices = 8000;
    // What mounted devices keep as their owner.
    static constexpr uint32_t number = 1;

    union_device_t() : fs_device_t(fs_device_kind_t::union_of_devices, "union") {}
    // Unmounts what is mounted.
    ~union_device_t() override;

    // Mounts the device and gives its number; says so. A full table is fatal. A device that is registered
    // keeps the number and the place that it has.
    uint16_t register_device(fs_device_t &device, uint32_t priority);
    // Reports a device that is not registered.
    void unregister_device(fs_device_t &device);

    std::unique_ptr<file_t> open(std::string_view path, fs_open_mode_t mode) override;
    bool remove_file(std::string_view path) override;
    bool stat(std::string_view path, fs_stat_t &out) override;
    std::optional<fs_listing_t> list(std::string_view path) override;

  private:
    struct mounted_t {
        fs_device_t *device;
        uint32_t priority;
        uint16_t mount_id;
    };

    // Under the lock.
    mounted_t *entry_of(const fs_device_t &device);
    uint16_t take_number();
    uint16_t mount(fs_device_t &device, uint32_t priority);
    void unmount(mounted_t &entry);
    // Null when no device has the path.
    fs_device_t *first_with(std::string_view path, fs_stat_t &found);
    std::unique_ptr<file_t> open_on_first(std::string_view path, fs_open_mode_t mode);

    std::shared_mutex lock_;
    array_dyn_t<mounted_t> mounted_; // by falling priority
    std::bitset<1 << 16> numbers_in_use_;
    uint16_t next_number_ = 0;
};

// The union device of the started file system: made by the first call, it goes when the file system stops.
union_device_t &mounts();

} // namespace kestrel
