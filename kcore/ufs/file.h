#pragma once

// A file: bytes read and written by explicit position, and on top of that a current offset with a small read
// cache.
//
// Contract: whoever opens a file owns it (std::unique_ptr<file_t>); destroying it closes it. Operations give
// false when they fail; every message names the file by its display name. A file is used by one thread at a
// time, its requests end on others. A writer that must know that its bytes arrived asks close().

#include "kcore/ufs/fs_types.h"

#include <atomic>
#include <cstddef>
#include <memory>
#include <span>

namespace kestrel {

// Requests: kcore/ufs/io_pump.h.
class fs_request_t;
struct fs_callback_t;
struct fs_transfer_t;

class file_t {
  public:
    static constexpr size_t cache_size = 8192;
    static constexpr uint16_t no_mount_id = 0xFFFF;

    explicit file_t(std::string_view name) : name_(name) {}
    virtual ~file_t() = default;
    file_t(const file_t &) = delete;
    file_t &operator=(const file_t &) = delete;

    virtual bool stat(fs_stat_t &) const { return false; }
    virtual bool is_open() const { return true; }
    virtual bool uses_read_cache() const { return true; }

    // Read and write at the offset and move it.
    bool read(std::span<std::byte> buffer);
    bool write(std::span<const std::byte> bytes);
    // Formats of kcore/strings/format.h; writes the text without its NUL.
    template <class... A>
    bool printf(format_for_t<std::type_identity_t<A>...> format, A... arguments) {
        string_dyn_t text;
        return text.assign_formatted(format, arguments...) && write(std::as_bytes(std::span(text.view())));
    }
    // The buffer is freed when the write succeeds and stays the caller's when it does not.
    bool write_owned(std::unique_ptr<std::byte[]> &buffer, size_t size);

    // One transfer past the cache in the calling thread, the offset untouched. The whole range or false.
    bool read_at(std::span<std::byte> buffer, uint64_t position);
    bool write_at(std::span<const std::byte> bytes, uint64_t position);
    // The same as requests, empty when they cannot be made. A file with write requests is read without the
    // cache from then on.
    fs_request_t read_request(std::span<std::byte> buffer, uint64_t position, const fs_callback_t &callback);
    fs_request_t write_request(std::span<const std::byte> bytes, uint64_t position,
                               const fs_callback_t &callback);

    bool set_size(uint64_t size);
    // Fatal when the system cannot tell.
    uint64_t get_size() const;

    virtual bool get_system_path(mstring_t &path) const = 0;
    // The path inside the mounted tree; only for files of path kind ufs.
    virtual bool get_mount_path(mstring_t &path) const = 0;
    virtual bool get_display_name(mstring_t &name) const = 0;
    virtual uint16_t get_mount_id() const { return no_mount_id; }

    // Only atomic files can be committed or cancelled; the others say so and give false.
    virtual bool commit();
    virtual bool cancel();

    // Ends the use of the file once its requests have ended; false when the system reports that written bytes
    // may be lost. Closing again gives true, every other use fails. The destructor closes a file that is
    // still open, with nobody to tell.
    virtual bool close() { return true; }

    const string_dyn_t &name() const { return name_; }
    uint64_t offset() const { return offset_; }
    void set_offset(uint64_t offset) { offset_ = offset; }
    fs_path_kind_t path_kind() const { return path_kind_; }
    void set_path_kind(fs_path_kind_t kind) { path_kind_ = kind; }

  protected:
    // Neither buffer is empty.
    virtual bool do_read(std::span<std::byte> buffer, uint64_t position) = 0;
    virtual bool do_write(std::span<const std::byte> bytes, uint64_t position) = 0;
    // The transfer has everything but the system's handle.
    virtual fs_request_t do_request(const fs_transfer_t &transfer, const fs_callback_t &callback);
    virtual bool do_set_size(uint64_t) { return false; }

  private:
    bool read_cached(std::span<std::byte> buffer);
    bool refill_cache();
    size_t copy_from_cache(std::span<std::byte> buffer);
    void drop_cache();

    string_dyn_t name_;
    uint64_t offset_ = 0;
    fs_path_kind_t path_kind_ = fs_path_kind_t::unknown;
    bool has_write_requests_ = false;
    uint64_t cache_length_ = 0;
    uint64_t cache_start_ = 0;
    std::unique_ptr<std::byte[]> cache_;
};

// The display name for messages, cut after 1023 bytes; "<NULL>" when there is no file. Takes no memory, so
// that destructors can use it.
using fs_display_name_t = string_local_t<1024>;
fs_display_name_t display_name_of(const file_t *file);

// How the name of a path kind reads in display names; "BADFS" when it is none.
const char *path_kind_word(fs_path_kind_t kind);

// How much has been read past the caches: the process's totals, and the same since the profiler last took
// them.
struct fs_read_statistics_t {
    std::atomic<uint64_t> total_operations = 0;
    std::atomic<uint64_t> recent_operations = 0;
    std::atomic<uint64_t> total_bytes = 0;
    std::atomic<uint64_t> recent_bytes = 0;

    void add_read(uint64_t bytes);
};

inline fs_read_statistics_t fs_read_statistics;

} // namespace kestrel
