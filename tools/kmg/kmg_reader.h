#pragma once

// Reads a geometry file (.kmg) in place.
//
//     std::vector<std::byte> bytes = ...;
//     kmg_fault_t fault;
//     if (const auto file = kmg_reader_t::open(bytes, &fault))
//         for (const kmg_piece_t piece : file->pieces())
//             draw(file->data_of(piece).positions, file->data_of(piece).indices);
//     else
//         complain(to_text(fault));
//
// Open checks the structure once: every count, offset and size of the file must be what the layout of the
// format makes it, so sections and the data of pieces neither overlap nor leave the file. After that nothing
// a reader hands out can lead outside the bytes, and no accessor fails. What the numbers mean is not checked:
// a vertex index may exceed its piece's vertex count, a bone index the bone count, a real may be NaN.
//
// The bytes belong to the caller and must outlive the reader and every view of it. Nothing is copied and
// nothing allocated; a view decodes an element when it is asked for it. Depends on the format's records and
// the standard library alone.

#include "tools/kmg/kmg_layout_and_limits.h"

#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>

namespace kestrel {

using kmg_float2_t = std::array<float, 2>;
using kmg_bytes4_t = std::array<uint8_t, 4>;

// Elements of one type at equal distances in the file: records of a section, one field of a piece's vertices,
// triangle indices.
template <class T>
class kmg_view_t {
  public:
    kmg_view_t() = default;
    kmg_view_t(const std::byte *first, size_t stride, size_t count)
        : first_(first), stride_(stride), count_(count) {}

    size_t size() const { return count_; }
    bool empty() const { return count_ == 0; }
    T operator[](size_t i) const {
        const std::byte *bytes = first_ + i * stride_;
        if constexpr (requires { typename std::integral_constant<size_t, T::size>; })
            return unpack<T>(std::span<const std::byte, T::size>(bytes, T::size));
        else {
            T value;
            little_endian::get(bytes, value);
            return value;
        }
    }

    class iterator {
      public:
        iterator(kmg_view_t view, size_t position) : view_(view), position_(position) {}
        T operator*() const { return view_[position_]; }
        iterator &operator++() {
            ++position_;
            return *this;
        }
        bool operator==(const iterator &other) const { return position_ == other.position_; }

      private:
        kmg_view_t view_;
        size_t position_;
    };
    iterator begin() const { return {*this, 0}; }
    iterator end() const { return {*this, count_}; }

  private:
    const std::byte *first_ = nullptr;
    size_t stride_ = 0;
    size_t count_ = 0;
};

// What the vertex and index data hold of one piece. Fields that its vertices lack are empty, all others have
// one element per vertex.
struct kmg_piece_data_t {
    kmg_view_t<kmg_float3_t> positions;
    kmg_view_t<kmg_float3_t> normals;
    kmg_view_t<kmg_float4_t> tangents;
    kmg_view_t<kmg_bytes4_t> colours; // r, g, b at half their value, a
    kmg_view_t<kmg_bytes4_t> factors;
    std::array<kmg_view_t<kmg_float2_t>, kmg_max_uv_channels> uv_channels;
    kmg_view_t<kmg_bytes4_t> bone_indices;
    kmg_view_t<kmg_bytes4_t> bone_weights;
    kmg_view_t<uint16_t> indices;
};

enum class kmg_record_kind_t : uint8_t { file, header, pool, bone, part, locator, piece };

enum class kmg_fault_code_t : uint8_t {
    file_too_short, // for a header, or for what its header announces
    file_too_long,  // bytes after the index data
    signature,
    count,        // a count outside its limits, or at odds with another one
    section,      // a section's offset or size is not where or what the layout makes it
    piece_layout, // the same of a piece's vertex stride and offsets
    part_range,   // a part does not continue where the part before it ended
    bone_parent,  // a bone whose parent does not come before it
};

// One place where a file breaks the layout: a field holds `found`, which is not what `wanted` says.
struct kmg_fault_t {
    kmg_fault_code_t code{};
    kmg_record_kind_t kind{};
    uint32_t index = 0;     // of the record in its section
    uint64_t byte = 0;      // where the field lies in the file
    const char *field = ""; // its name, or "size" for the file's own
    uint64_t found = 0;
    const char *wanted = "expected"; // how `expected` is meant, such as "expected at most"
    uint64_t expected = 0;
};

// Finds where the structure is broken, in the order of the file. Stops where a fault leaves no way to tell
// what the bytes behind it are, so nothing found means that all was looked at.
//
// What follows from a wrong field is not held against the fields that follow: when a count, a size, an offset
// or the number of UV channels is wrong and everything else agrees, it is the one that is named.
void find_structure_faults(std::span<const std::byte> file,
                           const std::function<void(const kmg_fault_t &)> &report);

const char *name_of(kmg_record_kind_t kind);
// "piece 3", "header".
std::string to_text(kmg_record_kind_t kind, uint32_t index);
// "vertex_stride is 44, expected 40".
std::string text_of(const kmg_fault_t &fault);
// "piece 3 (byte 612): vertex_stride is 44, expected 40".
std::string to_text(const kmg_fault_t &fault);

class kmg_reader_t {
  public:
    // None when the structure is broken; `fault`, if given, then holds the first fault.
    static std::optional<kmg_reader_t> open(std::span<const std::byte> file, kmg_fault_t *fault = nullptr);

    std::span<const std::byte> bytes() const { return file_; }
    const kmg_header_t &header() const { return header_; }
    kmg_view_t<kmg_bone_data_t> bones() const {
        return section<kmg_bone_data_t>(header_.bones_offset, header_.bone_count);
    }
    kmg_view_t<kmg_part_t> parts() const {
        return section<kmg_part_t>(header_.parts_offset, header_.part_count);
    }
    kmg_view_t<kmg_locator_t> locators() const {
        return section<kmg_locator_t>(header_.locators_offset, header_.locator_count);
    }
    kmg_view_t<kmg_piece_t> pieces() const {
        return section<kmg_piece_t>(header_.pieces_offset, header_.piece_count);
    }
    std::string_view string_pool() const;

    // Of a piece of this file.
    kmg_piece_data_t data_of(const kmg_piece_t &piece) const;
    // The hookup's text up to its end or that of the pool; none when it has none or it lies outside the pool.
    std::optional<std::string_view> hookup_of(const kmg_locator_t &locator) const;

  private:
    explicit kmg_reader_t(std::span<const std::byte> file);

    template <class R>
    kmg_view_t<R> section(uint32_t offset, uint32_t count) const {
        return {file_.data() + offset, R::size, count};
    }
    // One field of all vertices; empty when its offset is absent.
    template <class T>
    kmg_view_t<T> stream(const kmg_piece_t &piece, uint32_t offset) const {
        if (offset == kmg_absent)
            return {};
        return {file_.data() + offset, piece.vertex_stride, piece.vertex_count};
    }

    std::span<const std::byte> file_;
    kmg_header_t header_;
};

} // namespace kestrel
