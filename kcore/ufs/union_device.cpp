#include "kcore/ufs/union_device.h"

#include <algorithm>

namespace kestrel {

bool union_device_t::mount(fs_device_t &device, uint32_t priority) {
    const std::unique_lock guard(lock_);
    const size_t place = static_cast<size_t>(
        std::partition_point(mounted_.begin(), mounted_.end(),
                             [&](const mounted_t &mounted) { return mounted.priority >= priority; }) -
        mounted_.begin());
    if (!mounted_.push_back({&device, priority}))
        return false;
    std::rotate(mounted_.begin() + place, mounted_.end() - 1, mounted_.end());
    return true;
}

bool union_device_t::unmount(const fs_device_t &device) {
    const std::unique_lock guard(lock_);
    mounted_t *const place = std::find_if(mounted_.begin(), mounted_.end(), [&](const mounted_t &mounted) {
        return mounted.device == &device;
    });
    if (place == mounted_.end())
        return false;
    mounted_.erase(mounted_.index_of(place));
    return true;
}

fs_device_t *union_device_t::first_with(std::string_view path, fs_stat_t &found) {
    for (const mounted_t &mounted : mounted_)
        if (mounted.device->available() && mounted.device->stat(path, found))
            return mounted.device;
    return nullptr;
}

std::unique_ptr<file_t> union_device_t::open_on_first(std::string_view path, fs_open_mode_t mode) {
    for (const mounted_t &mounted : mounted_)
        if (mounted.device->available())
            if (std::unique_ptr<file_t> file = mounted.device->open(path, mode))
                return file;
    return nullptr;
}

std::unique_ptr<file_t> union_device_t::open(std::string_view path, fs_open_mode_t mode) {
    const std::shared_lock guard(lock_);
    if (mode != fs_open_mode_t::read) {
        fs_stat_t found;
        if (fs_device_t *const owner = first_with(path, found))
            return owner->open(path, mode);
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
    std::stable_sort(entries.begin(), entries.end(),
                     [](const fs_listing_entry_t &a, const fs_listing_entry_t &b) {
                         return a.name.view() < b.name.view();
                     });
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
        if (!mounted.device->available())
            continue;
        std::optional<fs_listing_t> listing = mounted.device->list(path);
        if (!listing)
            continue;
        if (!joined)
            joined.emplace();
        for (fs_listing_entry_t &entry : *listing)
            if (!joined->push_back(std::move(entry)))
                return std::nullopt;
    }
    if (joined)
        join_by_name(*joined);
    return joined;
}

} // namespace kestrel
