#include "kcore/ufs/fs_mount_tracker.h"

#include "kcore/messages/fatal.h"
#include "kcore/messages/messages.h"

#include <algorithm>

namespace kestrel {

[[noreturn]] static void fail(uint32_t line, const char *text) {
    report_fatal({"kcore/ufs/fs_mount_tracker", line, "kestrel::ufs_mount_tracker_t::register_device"}, "%s",
                 text);
}

// The entry of the number, or the one before which it would stand.
ufs_mount_tracker_t::entry_t *ufs_mount_tracker_t::place_of(uint16_t mount_id) {
    return std::lower_bound(entries_.begin(), entries_.end(), mount_id,
                            [](const entry_t &entry, uint16_t id) { return entry.mount_id < id; });
}

fs_device_t *ufs_mount_tracker_t::device_at(uint16_t mount_id) {
    const entry_t *const place = place_of(mount_id);
    return place != entries_.end() && place->mount_id == mount_id ? place->device : nullptr;
}

// Enters the device under the first number from the counter on that is free.
uint16_t ufs_mount_tracker_t::enter(fs_device_t &device) {
    if (entries_.size() >= max_devices)
        fail(__LINE__, "[ufs] The table of UFS mounted devices is full.");
    if (!entries_.reserve(entries_.size() + 1))
        fail(__LINE__, "[ufs] No memory for the table of UFS mounted devices.");
    uint16_t id = next_id_;
    entry_t *place = place_of(id);
    while (place != entries_.end() && place->mount_id == id) {
        ++place;
        if (++id == 0)
            place = entries_.begin();
    }
    next_id_ = static_cast<uint16_t>(id + 1);
    entries_.push_back({id, &device});
    std::rotate(place, entries_.end() - 1, entries_.end());
    return id;
}

static void report_mounted(std::string_view name) {
    while (name.starts_with("../"))
        name.remove_prefix(3);
    if (!name.empty())
        msg_info("[fs] device %s mounted.", name.data());
}

uint16_t ufs_mount_tracker_t::register_device(fs_device_t &device, uint32_t priority) {
    uint16_t id;
    {
        const std::scoped_lock guard(mutex_);
        if (device_at(device.mount_id()) == &device)
            return device.mount_id();
        id = enter(device);
        device.set_mount("", id, union_device_t::number);
        if (!union_device_.mount(device, priority))
            fail(__LINE__, "[ufs] No memory to mount a device.");
    }
    report_mounted(device.name().view());
    return id;
}

void ufs_mount_tracker_t::unregister_device(fs_device_t &device) {
    {
        const std::scoped_lock guard(mutex_);
        if (union_device_.unmount(device)) {
            if (device_at(device.mount_id()) == &device)
                entries_.erase(entries_.index_of(place_of(device.mount_id())));
            device.set_mount("", fs_device_t::not_mounted, 0);
            return;
        }
    }
    msg_error("[ufs] Error unmounting device: device not found!");
}

fs_device_t *ufs_mount_tracker_t::find(uint16_t mount_id) {
    const std::scoped_lock guard(mutex_);
    return device_at(mount_id);
}

size_t ufs_mount_tracker_t::size() {
    const std::scoped_lock guard(mutex_);
    return entries_.size();
}

} // namespace kestrel
