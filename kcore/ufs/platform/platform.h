#pragma once

// What the file system asks of the operating system, and all that it asks.
//
// One object serves every device. Paths are UTF-8 system locations of at most 255 bytes; turning them into
// the system's own form is the layer's business. Operations give false (or an invalid handle) when they fail
// and leave messages to the caller, except where one is named here. May be used from several threads. The
// tests put a layer with injected faults in its place.

#include "kcore/ufs/fs_types.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>

namespace kestrel {

enum class fs_handle_t : intptr_t { invalid = -1 };

// What became of one transfer. `moved` says how many bytes, which may be fewer than asked; 0 of a read is the
// end of the file. Who asked continues after `moved` and `interrupted`.
struct fs_transfer_result_t {
    enum class outcome_t { moved, interrupted, failed };

    outcome_t outcome;
    size_t count;
};

class fs_platform_t {
  public:
    virtual ~fs_platform_t() = default;

    // Modes read to create_or_read_write. Never waits; opens regular files only.
    virtual fs_handle_t open(const char *path, fs_open_mode_t mode) = 0;
    // The handle is gone whatever the result. False: something written through it may be lost.
    virtual bool close(fs_handle_t handle) = 0;

    virtual fs_transfer_result_t read(fs_handle_t handle, std::span<std::byte> buffer, uint64_t position) = 0;
    virtual fs_transfer_result_t write(fs_handle_t handle, std::span<const std::byte> bytes,
                                       uint64_t position) = 0;
    virtual bool set_end_of_file(fs_handle_t handle, uint64_t size) = 0;
    // Gives true when what was written survives a loss of power: a file's bytes, or a directory's entries.
    virtual bool flush_file(fs_handle_t handle) = 0;
    virtual bool flush_directory(const char *path) = 0;

    virtual bool stat_file(fs_handle_t handle, fs_stat_t &out) = 0;
    virtual bool stat_path(const char *path, fs_stat_t &out) = 0;

    virtual bool delete_file(const char *path) = 0;
    // Succeeds for a directory that exists and for a path that ends in ':' (a drive). Says when access was
    // refused.
    virtual bool create_directory(const char *path) = 0;
    virtual bool remove_directory(const char *path) = 0;
    virtual bool copy_file(const char *from, const char *to, bool overwrite) = 0;
    // Both names on one volume; in one step, so that `to` names the old file or the new one at any moment.
    virtual bool move_file(const char *from, const char *to, bool replace) = 0;
    virtual std::optional<fs_listing_t> list(const char *path) = 0;
};

// The layer of the system that this program runs on.
std::unique_ptr<fs_platform_t> make_native_platform();

} // namespace kestrel
