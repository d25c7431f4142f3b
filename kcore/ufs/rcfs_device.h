#pragma once

// The converter's view of a project tree: sources in, converted resources out.
//
//   BASE/ROOT                     primary store, the project's sources
//   BASE/base, base_vehicle,
//        base_share               fallback stores, sources shared by projects
//   BASE/rsrc/ROOT/@cache         cache store, converted outputs
//   BASE/rsrc/ROOT/@dep           dependency store, one record per output at the output's own path
//
// Construction fails only for memory (std::bad_alloc): it creates the last two directories, and a directory
// that is not there leaves its store unavailable. As a device it serves the cache store.

#include "kcore/ufs/sysfs_device.h"

namespace kestrel {

struct file_system_t;

class rcfs_device_t final : public fs_device_t {
  public:
    // The file system outlives the device.
    rcfs_device_t(file_system_t &system, std::string_view base_directory, std::string_view root);

    // Whether sources are converted when they are accessed: in this system never.
    bool perform_conversion() const { return false; }

    std::unique_ptr<file_t> open(std::string_view path, fs_open_mode_t mode) override {
        return cache_->open(path, mode);
    }
    bool can_name(std::string_view path) const override { return cache_->can_name(path); }
    // Removes an output and its dependency file. Warns, and always gives true.
    bool remove_file(std::string_view path) override;
    bool stat(std::string_view path, fs_stat_t &out) override { return cache_->stat(path, out); }
    bool get_meta(std::string_view path, fs_meta_t &out) override { return cache_->get_meta(path, out); }
    fs_request_t read_chunk(std::string_view path, std::span<std::byte> buffer, uint64_t position) override;
    bool chunk_finished(const fs_request_t &request) override { return cache_->chunk_finished(request); }
    bool release_chunk(fs_request_t &request) override { return cache_->release_chunk(request); }
    std::optional<fs_listing_t> list(std::string_view path) override { return cache_->list(path); }
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
