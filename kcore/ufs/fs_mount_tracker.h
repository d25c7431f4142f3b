#pragma once

// The process's table of mounted devices: a number for each, and its place in the union device.
//
// Numbers are handed out in order, 16 bits wide, and used again only after the counter has come round; a
// number still in use is skipped. The table holds 8000 devices at most and takes memory only for those that
// are there. Devices stay their owners', who unregister them before they go. Safe from several threads.

#include "kcore/collections/array.h"
#include "kcore/ufs/union_device.h"

#include <mutex>

namespace kestrel {

class ufs_mount_tracker_t {
  public:
    static constexpr size_t max_devices = 8000;

    explicit ufs_mount_tracker_t(union_device_t &union_device) : union_device_(union_device) {}

    // Mounts the device in the union device and gives its number; says so. A full table is fatal. A device
    // that is registered keeps the number that it has.
    uint16_t register_device(fs_device_t &device, uint32_t priority);
    // Reports a device that is not registered.
    void unregister_device(fs_device_t &device);

    // Null when no device has the number.
    fs_device_t *find(uint16_t mount_id);
    size_t size();

  private:
    struct entry_t {
        uint16_t mount_id;
        fs_device_t *device;
    };

    // Under the lock.
    entry_t *place_of(uint16_t mount_id);
    fs_device_t *device_at(uint16_t mount_id);
    uint16_t enter(fs_device_t &device);

    union_device_t &union_device_;
    std::mutex mutex_;
    array_dyn_t<entry_t> entries_; // by number
    uint16_t next_id_ = 0;
};

} // namespace kestrel
