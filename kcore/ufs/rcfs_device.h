#pragma once

// The converter's view of a project tree: sources in, converted resources out.
//
//   BASE/ROOT                     primary store, the project's sources
//   BASE/base, base_vehicle,
//        base_share               fallback stores, sources shared by projects
//   BASE/rsrc/ROOT/@cache         cache store, converted outputs
//   BASE/rsrc/ROOT/@dep           dependency store, one record per output at the output's own path
//
// Construction never fails: it creates the last two directories, and a directory that is not there leaves its
// store unavailable. As a device it serves the cache store. Needs a started file system.

#include "kcore/ufs/sysfs_device.h"

namespace kestrel {

class rcfs_device_t final : public fs_device_t {
  public:
    rcfs_device_t(std::string_view base_directory, std::string_view root);

    // Whether sources are converted when they are accessed: in this system never.
    bool perform_conversion() const { return false; }

    std::unique_ptr<file_t> open(std::string_view path, fs_open_mode_t mode) override;
    bool can_name(std::string_view path) const override { return cache_->can_name(path); }
    // Removes an output and its dependency file. Warns, and always gives true.
    bool remove_file(std::string_view path) override;
    bool stat(std::string_view path, fs_stat_t &out) override;
    std::optional<fs_listing_t> list(std::string_view path) override;
    void set_mount(std::string_view mount_point, uint16_t mount_id, uint32_t owner) override;

    sysfs_device_t &primary_store() { return *primary_; }
    std::span<const std::unique_ptr<sysfs_device_t>> fallback_stores() const { return fallbacks_.items(); }
    sysfs_device_t &cache_store() { return *cache_; }
    sysfs_device_t &dependency_store() { return *dependencies_; }

  private:
    std::unique_ptr<sysfs_device_t> primary_;
    array_local_t<std::unique_ptr<sysfs_device_t>, 3> fallbacks_;
    std::unique_ptr<sysfs_device_t> cache_;
    std::unique_ptr<sysfs_device_t> dependencies_;
};

} // namespace kestrel
