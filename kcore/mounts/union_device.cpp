#include "kcore/mounts/union_device.h"

#include "kcore/messages/messages.h"
#include "kcore/ufs/file_system.h"

#include <algorithm>
#include <mutex>

namespace kestrel {

union_device_t::~union_device_t() {
    while (!mounted_.empty())
        unmount(mounted_.back());
}

// By the device itself: a device that forwards to another gives that one its own number.
union_device_t::mounted_t *union_device_t::entry_of(const fs_device_t &device) {
    mounted_t *const found = std::find_if(mounted_.begin(), mounted_.end(), [&](const mounted_t &mounted) {
        return mounted.device == &device;
    });
    return found == mounted_.end() ? nullptr : found;
}

uint16_t union_device_t::take_number() {
    while (numbers_in_use_[next_number_])
        ++next_number_;
    numbers_in_use_.set(next_number_);
    return next_number_++;
}

uint16_t union_device_t::mount(fs_device_t &device, uint32_t priority) {
    if (mounted_.size() >= max_devices)
        report_fatal(
            {"kcore/ufs/fs_mount_tracker", __LINE__, "kestrel::ufs_mount_tracker_t::register_device"},
            "[ufs] The table of UFS mounted devices is full.");
    mounted_.reserve(mounted_.size() + 1);
    const uint16_t mount_id = take_number();
    const size_t place = static_cast<size_t>(
        std::partition_point(mounted_.begin(), mounted_.end(),
                             [&](const mounted_t &mounted) { return mounted.priority >= priority; }) -
        mounted_.begin());
    mounted_.push_back({&device, priority, mount_id});
    std::rotate(mounted_.begin() + place, mounted_.end() - 1, mounted_.end());
    device.set_mount("", mount_id, number);
    return mount_id;
}

void union_device_t::unmount(mounted_t &entry) {
    entry.device->set_mount("", not_mounted, 0);
    numbers_in_use_.reset(entry.mount_id);
    mounted_.erase(mounted_.index_of(&entry));
}

static void report_mounted(std::string_view name) {
    while (name.starts_with("../"))
        name.remove_prefix(3);
    if (!name.empty())
        msg_info("[fs] device %s mounted.", name.data());
}

uint16_t union_device_t::register_device(fs_device_t &device, uint32_t priority) {
    uint16_t mount_id;
    {
        const std::unique_lock guard(lock_);
        if (const mounted_t *const registered = entry_of(device))
            return registered->mount_id;
        mount_id = mount(device, priority);
    }
    report_mounted(device.name().view());
    return mount_id;
}

void union_device_t::unregister_device(fs_device_t &device) {
    {
        const std::unique_lock guard(lock_);
        if (mounted_t *const entry = entry_of(device))
            return unmount(*entry);
    }
    msg_error("[ufs] Error unmounting device: device not found!");
}

static bool serves(const fs_device_t &device, std::string_view path) {
    return device.available() && device.can_name(path);
}

fs_device_t *union_device_t::first_with(std::string_view path, fs_stat_t &found) {
    for (const mounted_t &mounted : mounted_)
        if (serves(*mounted.device, path) && mounted.device->stat(path, found))
            return mounted.device;
    return nullptr;
}

std::unique_ptr<file_t> union_device_t::open_on_first(std::string_view path, fs_open_mode_t mode) {
    for (const mounted_t &mounted : mounted_)
        if (serves(*mounted.device, path))
            if (std::unique_ptr<file_t> file = mounted.device->open(path, mode))
                return file;
    return nullptr;
}

std::unique_ptr<file_t> union_device_t::open(std::string_view path, fs_open_mode_t mode) {
    const std::shared_lock guard(lock_);
    if (mode != fs_open_mode_t::read) {
        fs_stat_t found;
        if (fs_device_t *const holder = first_with(path, found))
            return holder->open(path, mode);
    }
    return open_on_first(path, mode);
}

bool union_device_t::remove_file(std::string_view path) {
    const std::shared_lock guard(lock_);
    fs_stat_t found;
    fs_device_t *const owner = first_with(path, found);
    return owner && owner->remove_file(path);
}

bool union_device_t::stat(std::string_view path, fs_stat_t &out) {
    const std::shared_lock guard(lock_);
    return first_with(path, out) != nullptr;
}

// The order by name; for one name the device that comes first is kept.
static void join_by_name(fs_listing_t &listing) {
    const std::span<fs_listing_entry_t> entries = listing.items();
    std::stable_sort(entries.begin(), entries.end());
    const auto end = std::unique(entries.begin(), entries.end(),
                                 [](const fs_listing_entry_t &a, const fs_listing_entry_t &b) {
                                     return a.name.view() == b.name.view();
                                 });
    listing.shrink(static_cast<size_t>(end - entries.begin()));
}

std::optional<fs_listing_t> union_device_t::list(std::string_view path) {
    const std::shared_lock guard(lock_);
    std::optional<fs_listing_t> joined;
    for (const mounted_t &mounted : mounted_) {
        if (!serves(*mounted.device, path))
            continue;
        std::optional<fs_listing_t> listing = mounted.device->list(path);
        if (!listing)
            continue;
        if (!joined)
            joined.emplace();
        for (fs_listing_entry_t &entry : *listing)
            joined->push_back(std::move(entry));
    }
    if (joined)
        join_by_name(*joined);
    return joined;
}

union_device_t &mounts() {
    static std::mutex mutex;
    const std::scoped_lock guard(mutex);
    std::unique_ptr<fs_device_t> &made = file_system()->union_device;
    if (!made)
        made = std::make_unique<union_device_t>();
    return static_cast<union_device_t &>(*made);
}

} // namespace kestrel
