#include "tools/conv/intermediate/kix_stream.h"

#include "kcore/messages/messages.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

namespace kestrel {

kix_stream_t::~kix_stream_t() {
    std::free(data_);
}

static bool allocation_failed(size_t bytes) {
    return msg_error("cannot allocate stream [size %Iu]", bytes);
}

bool kix_stream_t::allocate(stream_format_t format, uint32_t capacity, size_t likely_bytes) {
    format_ = format;
    item_size_ = item_size_of(format);
    capacity_ = capacity;
    if (allocated_ || item_size_ == 0)
        return false;
    const size_t bytes = capacity * item_size_; // below 2^40
    allocated_ = reserve_bytes(std::min(bytes, likely_bytes));
    return allocated_ || allocation_failed(bytes);
}

bool kix_stream_t::reserve_bytes(size_t bytes) {
    if (bytes <= reserved_bytes_)
        return true;
    void *grown = std::realloc(data_, bytes);
    if (!grown)
        return false;
    data_ = static_cast<std::byte *>(grown);
    reserved_bytes_ = bytes;
    return true;
}

bool kix_stream_t::grow() {
    constexpr size_t least = 1024;
    const size_t most = capacity_ * item_size_;
    return reserve_bytes(std::min(std::max({least, item_size_, reserved_bytes_ * 2}), most)) ||
           allocation_failed(most);
}

bool kix_stream_t::extend(uint32_t more) {
    const uint64_t wanted = uint64_t{count_} + more;
    if (!allocated_ || wanted > UINT32_MAX || !reserve_bytes(wanted * item_size_))
        return false;
    capacity_ = static_cast<uint32_t>(wanted);
    return true;
}

void kix_stream_t::release() {
    kix_stream_t empty;
    swap_storage(empty);
}

void kix_stream_t::swap_storage(kix_stream_t &other) noexcept {
    std::swap(allocated_, other.allocated_);
    std::swap(format_, other.format_);
    std::swap(item_size_, other.item_size_);
    std::swap(data_, other.data_);
    std::swap(reserved_bytes_, other.reserved_bytes_);
    std::swap(count_, other.count_);
    std::swap(capacity_, other.capacity_);
}

bool kix_stream_t::append_item(std::span<const std::byte> bytes) {
    std::byte *place = next_item();
    if (!place)
        return false;
    std::memcpy(place, bytes.data(), item_size_);
    item_written();
    return true;
}

bool kix_stream_t::append_items(std::span<const std::byte> bytes) {
    if (!allocated_ || bytes.empty())
        return bytes.empty();
    const size_t wanted = bytes.size() / item_size_;
    const size_t accepted = std::min<size_t>(wanted, capacity_ - count_);
    const size_t end = (count_ + accepted) * item_size_;
    if (!reserve_bytes(end))
        return allocation_failed(end);
    std::memcpy(data_ + count_ * item_size_, bytes.data(), accepted * item_size_);
    count_ += static_cast<uint32_t>(accepted);
    return accepted == wanted;
}

} // namespace kestrel
