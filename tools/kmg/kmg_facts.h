#pragma once

// What a file's records and data imply, for showing, checking and comparing them.

#include "tools/kmg/kmg_reader.h"

#include <algorithm>
#include <bitset>
#include <cmath>
#include <string>
#include <vector>

namespace kestrel {

struct section_t {
    const char *name;
    uint32_t offset;
    uint64_t size;
};
std::array<section_t, 8> sections_of(const kmg_header_t &header);

// Calls string(offset, text) for the strings of a pool as the pool itself tells them: each ends with a NUL or
// the pool. The first empty one is padding and ends the list.
template <class F>
void for_each_string(std::string_view pool, F &&string) {
    for (size_t next = 0; next < pool.size() && pool[next] != '\0';) {
        const size_t end = std::min(pool.find('\0', next), pool.size());
        string(static_cast<uint32_t>(next), pool.substr(next, end - next));
        next = end + 1;
    }
}

struct model_totals_t {
    uint64_t vertices = 0;
    uint64_t triangles = 0;
};
model_totals_t totals_of(const kmg_reader_t &file);

// The locators that parts list; those behind them belong to none.
size_t listed_locators(const kmg_reader_t &file);

struct vertex_field_t {
    std::string name; // "uv0" for the first UV channel
    uint32_t offset;  // within the vertex
};
// In the order of the vertex.
std::vector<vertex_field_t> vertex_fields(const kmg_piece_t &piece);

// The UV channel that feeds the slot; none when no channel does.
std::optional<uint32_t> channel_of_slot(const kmg_piece_t &piece, uint32_t slot);

// The part that each piece belongs to.
std::vector<uint32_t> parts_of_pieces(const kmg_reader_t &file);

// Is the bone's name the one that the converter gives to a bone whose own name is no token?
bool has_lost_its_name(uint64_t name, size_t bone);

// The bytes of one vertex with all its fields.
inline std::span<const std::byte> vertex_bytes(const kmg_reader_t &file, const kmg_piece_t &piece,
                                               size_t vertex) {
    return file.bytes().subspan(piece.position_offset + vertex * piece.vertex_stride, piece.vertex_stride);
}

// By triangles; corners beyond the vertices are passed over.
std::vector<bool> used_vertices(const kmg_piece_t &piece, const kmg_piece_data_t &data);
// Vertices that are byte by byte copies of an earlier one, in ascending order.
std::vector<uint32_t> copied_vertices(const kmg_reader_t &file, const kmg_piece_t &piece);

using bone_set_t = std::bitset<kmg_max_bones + 1>;
// Bones that move at least one vertex of the piece.
bone_set_t bones_used(const kmg_piece_data_t &data);
std::vector<uint32_t> members_of(const bone_set_t &bones, uint32_t bone_count);

// Least and largest value of each component. What is not finite is passed over.
template <class T>
struct value_range_t {
    T minimum{}, maximum{};
    bool empty = true;

    void add(const T &value) {
        for (size_t i = 0; i < value.size(); ++i) {
            minimum[i] = empty ? value[i] : std::min(minimum[i], value[i]);
            maximum[i] = empty ? value[i] : std::max(maximum[i], value[i]);
        }
        empty = false;
    }
    bool is_constant() const { return minimum == maximum; }
};
template <size_t N>
bool all_finite(const std::array<float, N> &values) {
    for (const float value : values)
        if (!std::isfinite(value))
            return false;
    return true;
}
template <class T>
value_range_t<T> range_of(const kmg_view_t<T> &values) {
    value_range_t<T> range;
    for (const T value : values) {
        if constexpr (std::is_floating_point_v<typename T::value_type>)
            if (!all_finite(value))
                continue;
        range.add(value);
    }
    return range;
}

} // namespace kestrel
