#pragma once

// The skin of one piece: items of one position each, the bones that pull it, and the piece's vertices that
// share it.
//
// Building it is guarded: every step gives null when it holds, else the message of the check that failed. The
// declared totals bound what is accepted; the arrays grow with what really comes.

#include "tools/conv/intermediate/kim_skin.h"

namespace kestrel {

struct kim_piece_skin_item_t {
    float3_t position;
    uint32_t item_index;
    uint32_t first_weight; // position in the weights
    uint32_t weight_count;
    uint32_t first_vertex_index; // position in the vertex indices
    uint32_t vertex_index_count;
};

using kim_piece_skin_weight_t = skin_weight_t;

struct kim_piece_skin_t : kix_object_t {
    static constexpr uint32_t no_piece = 0xFFFFFFFF;
    static constexpr uint32_t no_item = 0xFFFFFFFF;

    uint32_t piece_index = no_piece;
    array_dyn_t<kim_piece_skin_item_t> items;
    array_dyn_t<kim_piece_skin_weight_t> weights;
    array_dyn_t<uint32_t> vertex_indices;
    array_dyn_t<uint32_t> vertex_items; // for each vertex index the item that lists it, or no_item
};

// Fills one piece skin in the order of its text.
class kim_piece_skin_builder_t {
  public:
    using check_t = const char *; // null, or the message of the failed check

    explicit kim_piece_skin_builder_t(kim_piece_skin_t &skin) : skin_(skin) {}

    check_t declare(stream_format_t format, std::string_view tag, uint32_t item_count,
                    uint32_t total_weight_count, uint32_t total_vertex_index_count);
    check_t add_item(uint32_t index, const float3_t &position);
    check_t set_weight_count(uint32_t count);
    check_t add_weight(uint32_t bone, float weight);
    check_t end_weights() const;
    check_t set_vertex_index_count(uint32_t count);
    check_t add_vertex_index(uint32_t vertex);
    check_t end_vertex_indices() const;
    check_t finish();

  private:
    kim_piece_skin_t &skin_;
    uint32_t item_count_ = 0;
    uint32_t total_weight_count_ = 0;
    uint32_t total_vertex_index_count_ = 0;
    uint32_t item_weights_ = 0;        // given to the current item so far
    uint32_t item_vertex_indices_ = 0; // likewise
};

} // namespace kestrel
