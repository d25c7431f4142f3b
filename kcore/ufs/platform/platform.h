#pragma once

// What the file system asks of the operating system, and all that it asks.
//
// One object serves every device. Paths are UTF-8 system locations of at most 255 bytes; turning them into
// the system's own form is the layer's business, and so is going on after an interrupted call. Every
// operation gives the reason of its failure, `none` when there is none, and leaves messages to the caller.
// May be used from several threads. The tests put a file system in memory in its place.

#include "kcore/ufs/platform/transfers.h"

namespace kestrel {

class fs_platform_t {
  public:
    virtual ~fs_platform_t() = default;

    // Opens regular files only, anything else is unsupported. Modes read, create and create_or_read_write;
    // the other two are made of these by sysfs_device_t. Never waits for a pipe or a terminal, but waits
    // while another process that holds a regular file under a lease gives it up.
    virtual fs_reason_t open(const char *path, fs_open_mode_t mode, fs_handle_t &handle) = 0;
    // The handle is gone whatever the result. A failure: something written through it may be lost.
    virtual fs_reason_t close(fs_handle_t handle) = 0;

    // Moves some of the bytes, how many is told in `moved`; 0 of a read is the end of the file.
    virtual fs_reason_t read(fs_handle_t handle, std::span<std::byte> buffer, uint64_t position,
                             size_t &moved) = 0;
    virtual fs_reason_t write(fs_handle_t handle, std::span<const std::byte> bytes, uint64_t position,
                              size_t &moved) = 0;
    // Who makes the transfers of requests. A system that does it without a thread for each has its own.
    virtual std::unique_ptr<fs_transfer_maker_t> make_transfers(fs_transfer_listener_t &listener) {
        return make_blocking_transfers(*this, listener);
    }
    virtual fs_reason_t set_end_of_file(fs_handle_t handle, uint64_t size) = 0;
    // Success means that what was written survives a loss of power: a file's bytes, a directory's entries.
    virtual fs_reason_t flush_file(fs_handle_t handle) = 0;
    virtual fs_reason_t flush_directory(const char *path) = 0;

    virtual fs_reason_t stat_file(fs_handle_t handle, fs_stat_t &out) = 0;
    // Of what a link points to; a link to nothing is neither file nor directory.
    virtual fs_reason_t stat_path(const char *path, fs_stat_t &out) = 0;

    // Removes a name: a file's, or a link's and not what it points to.
    virtual fs_reason_t delete_file(const char *path) = 0;
    virtual fs_reason_t create_directory(const char *path) = 0;
    virtual fs_reason_t remove_directory(const char *path) = 0;
    // Both names on one volume; in one step, so that `to` names the old file or the new one at any moment.
    virtual fs_reason_t move_file(const char *from, const char *to, bool replace) = 0;
    virtual fs_reason_t list(const char *path, fs_listing_t &entries) = 0;

    // All of the bytes: transfers that fall short are continued. A file that ends inside the asked range
    // gives not_found.
    fs_reason_t read_all(fs_handle_t handle, std::span<std::byte> buffer, uint64_t position) {
        return move_all(buffer, position, fs_reason_t::not_found,
                        [&](auto rest, uint64_t at, size_t &moved) { return read(handle, rest, at, moved); });
    }
    fs_reason_t write_all(fs_handle_t handle, std::span<const std::byte> bytes, uint64_t position) {
        return move_all(bytes, position, fs_reason_t::other, [&](auto rest, uint64_t at, size_t &moved) {
            return write(handle, rest, at, moved);
        });
    }

  private:
    template <class bytes_t, class F>
    fs_reason_t move_all(bytes_t rest, uint64_t position, fs_reason_t when_none_moves, F move) {
        while (!rest.empty()) {
            size_t moved = 0;
            if (const fs_reason_t reason = move(rest, position, moved); reason != fs_reason_t::none)
                return reason;
            if (moved == 0)
                return when_none_moves;
            rest = rest.subspan(moved);
            position += moved;
        }
        return fs_reason_t::none;
    }
};

// The layer of the system that this program runs on.
std::unique_ptr<fs_platform_t> make_native_platform();

} // namespace kestrel
