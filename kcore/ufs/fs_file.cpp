#include "kcore/messages/messages.h"
#include "kcore/ufs/file.h"
#include "kcore/ufs/io_pump.h"

#include <algorithm>
#include <cstring>

namespace kestrel {

bool check_reason(fs_reason_t reason, const char *name) {
    const auto says = [&](const char *text) { return msg_error("[fs] %s: %s", name, text); };
    switch (reason) {
    case fs_reason_t::none:
        return true;
    case fs_reason_t::not_found:
    case fs_reason_t::exists:
        return false;
    case fs_reason_t::refused:
        return says("access denied");
    case fs_reason_t::no_space:
        return says("no space left on device");
    case fs_reason_t::would_block:
        return says("in use by another process");
    case fs_reason_t::unsupported:
        return says("not a regular file, or not supported by its file system");
    case fs_reason_t::other:
        break;
    }
    return says("input or output error");
}

fs_display_name_t display_name_of(const file_t *file) {
    fs_display_name_t name;
    if (file)
        file->get_display_name(name);
    else
        name.assign("<NULL>");
    return name;
}

const char *path_kind_word(fs_path_kind_t kind) {
    constexpr const char *words[] = {"UNKNOWNFS", "UFS", "SYSFS"};
    return kind <= fs_path_kind_t::sysfs ? words[static_cast<size_t>(kind)] : "BADFS";
}

void fs_read_statistics_t::add_read(uint64_t bytes) {
    total_operations.fetch_add(1, std::memory_order_relaxed);
    recent_operations.fetch_add(1, std::memory_order_relaxed);
    total_bytes.fetch_add(bytes, std::memory_order_relaxed);
    recent_bytes.fetch_add(bytes, std::memory_order_relaxed);
}

fs_request_t file_t::do_request(const fs_transfer_t &, const fs_callback_t &) {
    return {};
}

bool file_t::commit() {
    return msg_error("[file_t] Cannot use commit atomic operation on file %s", display_name_of(this).c_str());
}

bool file_t::cancel() {
    return msg_error("[file_t] Cannot use cancel atomic operation on file %s", display_name_of(this).c_str());
}

uint64_t file_t::get_size() const {
    fs_stat_t found;
    if (!stat(found)) {
        msg_error("[fs] failed to stat opened file (%s)!", display_name_of(this).c_str());
        report_fatal({"kcore/ufs/fs_file", __LINE__, "kestrel::file_t::get_size"},
                     "Failed to stat opened file!");
    }
    return found.size;
}

bool file_t::read_at(std::span<std::byte> buffer, uint64_t position) {
    if (buffer.empty())
        return true;
    if (!do_read(buffer, position))
        return false;
    fs_read_statistics.add_read(buffer.size());
    return true;
}

bool file_t::write_at(std::span<const std::byte> bytes, uint64_t position) {
    drop_cache();
    return bytes.empty() || do_write(bytes, position);
}

fs_request_t file_t::read_request(std::span<std::byte> buffer, uint64_t position,
                                  const fs_callback_t &callback) {
    return do_request({.reads = true, .into = buffer, .position = position}, callback);
}

// The cache could be filled again before the bytes have arrived.
fs_request_t file_t::write_request(std::span<const std::byte> bytes, uint64_t position,
                                   const fs_callback_t &callback) {
    drop_cache();
    has_write_requests_ = true;
    return do_request({.reads = false, .from = bytes, .position = position}, callback);
}

bool file_t::set_size(uint64_t size) {
    drop_cache();
    return do_set_size(size);
}

bool file_t::read(std::span<std::byte> buffer) {
    if (buffer.empty())
        return true;
    if (!buffer.data())
        return false;
    const bool cached = uses_read_cache() && !has_write_requests_;
    if (cached)
        buffer = buffer.subspan(copy_from_cache(buffer));
    if (cached && buffer.size() <= cache_size)
        return buffer.empty() || read_cached(buffer);
    if (!read_at(buffer, offset_))
        return false;
    offset_ += buffer.size();
    return true;
}

bool file_t::read_cached(std::span<std::byte> buffer) {
    if (!refill_cache())
        return msg_error("[fs] cached read - buffer update failed (%s)", display_name_of(this).c_str());
    if (cache_length_ < buffer.size())
        return msg_error("[fs] cached read - read request too big (%s)", display_name_of(this).c_str());
    copy_from_cache(buffer);
    return true;
}

// Copies what the cache holds from the offset on, at most the buffer's size, and moves the offset.
size_t file_t::copy_from_cache(std::span<std::byte> buffer) {
    if (offset_ < cache_start_ || offset_ - cache_start_ >= cache_length_)
        return 0;
    const uint64_t skipped = offset_ - cache_start_;
    const size_t copied = std::min<uint64_t>(buffer.size(), cache_length_ - skipped);
    std::memcpy(buffer.data(), cache_.get() + skipped, copied);
    offset_ += copied;
    return copied;
}

bool file_t::refill_cache() {
    cache_length_ = 0;
    if (!is_open())
        return false;
    if (!cache_)
        cache_.reset(new std::byte[cache_size]);
    const uint64_t size = get_size();
    const size_t length = offset_ < size ? std::min<uint64_t>(size - offset_, cache_size) : 0;
    if (!read_at({cache_.get(), length}, offset_))
        return false;
    cache_start_ = offset_;
    cache_length_ = length;
    return true;
}

void file_t::drop_cache() {
    cache_.reset();
    cache_length_ = 0;
    cache_start_ = 0;
}

bool file_t::write(std::span<const std::byte> bytes) {
    if (bytes.empty())
        return true;
    if (!bytes.data() || !write_at(bytes, offset_))
        return false;
    offset_ += bytes.size();
    return true;
}

bool file_t::write_owned(std::unique_ptr<std::byte[]> &buffer, size_t size) {
    if (!write({buffer.get(), size}))
        return false;
    buffer.reset();
    return true;
}

} // namespace kestrel
