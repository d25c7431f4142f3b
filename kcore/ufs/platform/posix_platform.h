#pragma once

// The file system layer of POSIX systems. "\" separates directories like "/" where the formats come from, so
// every path is taken with "/" in its place.

#include "kcore/ufs/platform/platform.h"

namespace kestrel {

class posix_platform_t final : public fs_platform_t {
  public:
    fs_handle_t open(const char *path, fs_open_mode_t mode) override;
    bool close(fs_handle_t handle) override;
    fs_transfer_result_t read(fs_handle_t handle, std::span<std::byte> buffer, uint64_t position) override;
    fs_transfer_result_t write(fs_handle_t handle, std::span<const std::byte> bytes,
                               uint64_t position) override;
    bool set_end_of_file(fs_handle_t handle, uint64_t size) override;
    bool flush_file(fs_handle_t handle) override;
    bool flush_directory(const char *path) override;
    bool stat_file(fs_handle_t handle, fs_stat_t &out) override;
    bool stat_path(const char *path, fs_stat_t &out) override;
    bool delete_file(const char *path) override;
    bool create_directory(const char *path) override;
    bool remove_directory(const char *path) override;
    bool copy_file(const char *from, const char *to, bool overwrite) override;
    bool move_file(const char *from, const char *to, bool replace) override;
    std::optional<fs_listing_t> list(const char *path) override;
};

} // namespace kestrel
