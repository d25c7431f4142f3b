#pragma once

// A file: bytes read and written by explicit position, and on top of that a current offset with a small read
// cache.
//
// Contract: whoever opens a file owns it (std::unique_ptr<file_t>); destroying it closes it. Operations give
// false when they fail; every message names the file by its display name. A file is used by one thread at a
// time, its requests may end on another. A writer that must know that its bytes arrived asks close().

#include "kcore/ufs/fs_types.h"
#include "kcore/ufs/request.h"

#include <cstddef>
#include <memory>
#include <span>

namespace kestrel {

class file_t {
  public:
    static constexpr size_t cache_size = 8192;
    static constexpr uint16_t no_mount_id = 0xFFFF;

    explicit file_t(std::string_view name) : name_(name) {}
    virtual ~file_t() = default;
    file_t(const file_t &) = delete;
    file_t &operator=(const file_t &) = delete;

    virtual bool stat(fs_stat_t &out) const;
    virtual bool uses_read_cache() const { return true; }

    // Requests give null when they cannot be made. What is read into or written from must live until the
    // request is completed or released.
    virtual fs_request_t *read_request(std::span<std::byte> buffer, uint64_t position,
                                       const fs_request_options_t &options);
    virtual fs_request_t *write_request(std::span<const std::byte> bytes, uint64_t position,
                                        const fs_request_options_t &options);
    // Polls. True also while the callback is still running.
    virtual bool request_finished(const fs_request_t &request) const;
    // Waits, gives the request's success and releases it.
    virtual bool complete(fs_request_t &request);
    virtual void wait_and_release(fs_request_t &request);

    // Writes at the offset; the buffer is freed when that succeeds and stays the caller's when it does not.
    virtual bool write_owned(std::unique_ptr<std::byte[]> &buffer, size_t size);
    virtual bool set_size(uint64_t size);

    virtual bool get_system_path(mstring_t &path) const = 0;
    // The path inside the mounted tree; only for files of path kind ufs.
    virtual bool get_mount_path(mstring_t &path) const = 0;
    virtual bool get_display_name(mstring_t &name) const = 0;
    virtual uint16_t get_mount_id() const { return no_mount_id; }

    // Only atomic files can be committed or cancelled; the others say so and give false.
    virtual bool commit();
    virtual bool cancel();

    // Ends the use of the file; false when the system reports that written bytes may be lost. Closing again
    // gives true. The destructor closes a file that is still open, with nobody to tell.
    virtual bool close() { return true; }

    // Read and write at the offset and move it.
    bool read(std::span<std::byte> buffer);
    bool write(std::span<const std::byte> bytes);
    // Formats of kcore/strings/format.h; writes the text without its NUL.
    template <class... A>
    bool printf(format_for_t<std::type_identity_t<A>...> format, A... arguments) {
        return printf_variadic(format.text, arguments...);
    }
    // One blocking read past the cache, the offset untouched.
    bool read_at(std::span<std::byte> buffer, uint64_t position);
    // Fatal when the system cannot tell.
    uint64_t get_size() const;

    const string_dyn_t &name() const { return name_; }
    uint64_t offset() const { return offset_; }
    void set_offset(uint64_t offset) { offset_ = offset; }
    fs_path_kind_t path_kind() const { return path_kind_; }
    void set_path_kind(fs_path_kind_t kind) { path_kind_ = kind; }

  private:
    bool printf_variadic(const char *format, ...);
    bool read_cached(std::span<std::byte> buffer);
    bool refill_cache();
    size_t copy_from_cache(std::span<std::byte> buffer);
    void drop_cache();

    string_dyn_t name_;
    uint64_t offset_ = 0;
    fs_path_kind_t path_kind_ = fs_path_kind_t::unknown;
    uint64_t cache_length_ = 0;
    uint64_t cache_start_ = 0;
    std::unique_ptr<std::byte[]> cache_;
};

// The display name for messages; "<NULL>" when there is no file.
string_dyn_t display_name_of(const file_t *file);

} // namespace kestrel
