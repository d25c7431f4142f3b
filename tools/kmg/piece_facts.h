#pragma once

// What a piece's record implies, for showing it: the fields of a vertex, who feeds a texture coordinate slot,
// the range of its indices.

#include "tools/kmg/kmg_reader.h"

#include <string>
#include <vector>

namespace kestrel {

struct vertex_field_t {
    std::string name; // "uv0" for the first UV channel
    uint32_t offset;  // within the vertex
};
// In the order of the vertex.
std::vector<vertex_field_t> vertex_fields(const kmg_piece_t &piece);

// The UV channel that feeds the slot; none when no channel does.
std::optional<uint32_t> channel_of_slot(const kmg_piece_t &piece, uint32_t slot);

struct index_range_t {
    uint16_t first;
    uint16_t last;
};
// None for a piece without triangles.
std::optional<index_range_t> index_range(const kmg_view_t<uint16_t> &indices);

// The part that each piece belongs to.
std::vector<uint32_t> parts_of_pieces(const kmg_reader_t &file);

} // namespace kestrel
