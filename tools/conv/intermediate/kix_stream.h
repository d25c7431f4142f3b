#pragma once

// A typed array of fixed-size items: vertex data, triangle lists, bone names.
//
// Items are packed without gaps, little-endian. The capacity is what the file declares and bounds what is
// accepted; storage grows with the items that really come, so that a declared count alone costs nothing.

#include "kcore/strings/string.h"
#include "tools/conv/intermediate/kix_object.h"

#include <cstddef>
#include <span>

namespace kestrel {

enum class stream_format_t : uint32_t {
    float1 = 0,
    float2 = 1,
    float3 = 2,
    float4 = 3,
    float5 = 4,
    float6 = 5,
    string = 6, // 256 bytes, NUL-terminated, zeros behind
    int1 = 7,
    int2 = 8,
    int3 = 9, // triangle lists
    float4x4 = 10,
    quaternion = 11,
    bytes4 = 12,
    none = 13,
};

// Bytes per item; 0 for none.
constexpr size_t item_size_of(stream_format_t format) {
    constexpr size_t sizes[] = {4, 8, 12, 16, 20, 24, 256, 4, 8, 12, 64, 16, 4, 0};
    return sizes[static_cast<size_t>(format)];
}
inline constexpr size_t max_item_size = 256;

// Tags that the converter looks for.
inline constexpr std::string_view position_tag = "_POSITION";

// Three corners, as vertex indices of the piece.
struct triangle_t {
    uint32_t corners[3];
};

struct float3_t {
    float x, y, z;
};

class kix_stream_t : public kix_object_t {
  public:
    name_t tag;
    uint32_t alias_count = 0; // as declared
    array_dyn_t<string_dyn_t> aliases;

    ~kix_stream_t() override;

    // Prepares an unallocated stream for up to `capacity` items and takes storage for them at once, but for
    // no more than `likely_bytes` (what the rest of a file can hold). Reports when storage cannot be had; the
    // stream then keeps format and capacity, stays unallocated and accepts no item.
    bool allocate(stream_format_t format, uint32_t capacity, size_t likely_bytes = SIZE_MAX);
    // Makes room for `more` items behind those that are there, as the new capacity. Silent; false, changing
    // nothing, when that cannot be had.
    bool extend(uint32_t more);
    // Forgets the items from number `count` on; the capacity stays.
    void truncate(uint32_t count) {
        if (count < count_)
            count_ = count;
    }
    // Gives the storage back; tag and aliases stay.
    void release();
    // Exchanges everything but tag and aliases.
    void swap_storage(kix_stream_t &other) noexcept;

    // Where the next item goes (item_size() bytes, not zeroed); none when the stream is unallocated or full,
    // or memory cannot be had. The item counts once item_written() is called.
    std::byte *next_item() {
        if (count_ >= capacity_ || !allocated_) [[unlikely]]
            return nullptr;
        const size_t offset = count_ * item_size_;
        if (offset + item_size_ > reserved_bytes_) [[unlikely]]
            if (!grow())
                return nullptr;
        return data_ + offset;
    }
    void item_written() { ++count_; }
    // Both in one; `bytes` holds at least item_size().
    bool append_item(std::span<const std::byte> bytes);
    // As many items as fit are appended; false when not all did.
    bool append_items(std::span<const std::byte> bytes);

    bool is_allocated() const { return allocated_; }
    stream_format_t format() const { return format_; }
    size_t item_size() const { return item_size_; }
    uint32_t count() const { return count_; }
    uint32_t capacity() const { return capacity_; }

    std::span<const std::byte> bytes() const { return {data_, count_ * item_size_}; }
    std::span<std::byte> bytes() { return {data_, count_ * item_size_}; }
    std::span<const std::byte> item(uint32_t index) const {
        return bytes().subspan(index * item_size_, item_size_);
    }

    // The items as records of the format's size; empty when the size is another one.
    template <class T>
    std::span<const T> items_as() const {
        if (sizeof(T) != item_size_)
            return {};
        return {reinterpret_cast<const T *>(data_), count_};
    }
    template <class T>
    std::span<T> items_as() {
        if (sizeof(T) != item_size_)
            return {};
        return {reinterpret_cast<T *>(data_), count_};
    }

  private:
    bool grow();
    bool reserve_bytes(size_t bytes);

    bool allocated_ = false;
    stream_format_t format_ = stream_format_t::none;
    size_t item_size_ = 0;
    std::byte *data_ = nullptr;
    size_t reserved_bytes_ = 0;
    uint32_t count_ = 0;
    uint32_t capacity_ = 0;
};

} // namespace kestrel
