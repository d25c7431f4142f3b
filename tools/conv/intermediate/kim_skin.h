#pragma once

// The two forms of a model's skin: one for the whole model, or one for each piece.
//
// Declared totals bound what is accepted; storage grows with what really comes.

#include "tools/conv/intermediate/kix_stream.h"

namespace kestrel {

struct skin_weight_t {
    uint32_t bone; // position among the model's bone names
    float weight;
};

struct skin_clone_t {
    uint32_t piece; // the piece's index as written
    uint32_t vertex;
};

struct kim_skinitem_t {
    uint32_t weight_count = 0; // as declared; an item may have fewer
    uint32_t clone_count = 0;
    uint32_t first_weight = 0; // position in the weight pool
    uint32_t first_clone = 0;
    uint32_t weights_added = 0;
    uint32_t clones_added = 0;
};

// Items of one value, the bones that pull it, and the (piece, vertex) pairs that share it.
class kim_skin_stream_t : public kix_stream_t {
  public:
    // Gives the result of allocating the stream, which takes no storage ahead: nothing compares the counts
    // with what comes, and there may be many such streams.
    bool initialise(stream_format_t format, uint32_t item_count, uint32_t total_weight_count,
                    uint32_t total_clone_count);
    // All of these give false when the item or the pool has no room for more, or there is no item yet.
    bool add_item(std::span<const std::byte> value);
    bool set_weight_count(uint32_t count);
    bool set_clone_count(uint32_t count);
    bool add_weight(uint32_t bone, float weight);
    bool add_clone(uint32_t piece, uint32_t vertex);
    // Gives all storage back.
    void release();

    std::span<const kim_skinitem_t> items() const { return items_.items(); }
    // As declared; there may be fewer.
    uint32_t total_weight_count() const { return total_weight_count_; }
    uint32_t total_clone_count() const { return total_clone_count_; }
    // What the item really has, which may be less than it declares.
    std::span<const skin_weight_t> weights_of(const kim_skinitem_t &item) const {
        return weights_.items().subspan(item.first_weight, item.weights_added);
    }
    std::span<const skin_clone_t> clones_of(const kim_skinitem_t &item) const {
        return clones_.items().subspan(item.first_clone, item.clones_added);
    }

  private:
    array_dyn_t<kim_skinitem_t> items_;
    array_dyn_t<skin_weight_t> weights_;
    array_dyn_t<skin_clone_t> clones_;
    uint32_t total_weight_count_ = 0;
    uint32_t total_clone_count_ = 0;
};

struct kim_skin_t : kix_object_t {
    array_dyn_t<kim_skin_stream_t *> streams;
    uint32_t stream_count = 0;
};

struct kim_piece_skin_item_t {
    float3_t position;
    uint32_t item_index;
    uint32_t first_weight; // position in the weights
    uint32_t weight_count;
    uint32_t first_vertex_index; // position in the vertex indices
    uint32_t vertex_index_count;
};

// Items of one position each, the bones that pull it, and the piece's vertices that share it.
struct kim_piece_skin_t : kix_object_t {
    static constexpr uint32_t no_piece = 0xFFFFFFFF;
    static constexpr uint32_t no_item = 0xFFFFFFFF;

    uint32_t piece_index = no_piece;
    array_dyn_t<kim_piece_skin_item_t> items;
    array_dyn_t<skin_weight_t> weights;
    array_dyn_t<uint32_t> vertex_indices;
    array_dyn_t<uint32_t> vertex_items; // for each vertex index the item that lists it, or no_item

    // Gives all storage back.
    void release();
};

} // namespace kestrel
