#pragma once

// For every vertex of every skinned piece the skin item that names it; the last one when several do.
//
// A clone names its piece by the index written in the model, which several pieces may share, and clones that
// name no piece count for nothing. Made in one walk over all clones, whatever the number of pieces.

#include "tools/conv/intermediate/kim_model.h"

#include <span>

namespace kestrel {

class clone_table_t {
  public:
    static constexpr uint32_t no_item = 0xFFFFFFFF;

    // False when memory cannot be had.
    bool build(const kim_skin_stream_t &skin, std::span<const kix_piece_t *const> pieces);

    // What is known of the pieces with one index.
    struct group_t {
        uint32_t piece_index;
        uint32_t vertex_count; // the most that a piece with this index has
        size_t first_vertex;   // of the group, in the table
        uint32_t last_vertex;  // the largest that a clone names, and an item that does; 0 without clones
        uint32_t last_vertex_item;
    };

    // The piece must be one that the table was built with.
    const group_t &group_of(const kix_piece_t &piece) const { return groups_[find(piece.index)]; }
    // One entry per vertex of the piece.
    std::span<const uint32_t> items_of(const group_t &group, const kix_piece_t &piece) const {
        return items_.items().subspan(group.first_vertex, piece.vertex_count);
    }

  private:
    bool make_groups(std::span<const kix_piece_t *const> pieces);
    void enter_clones(const kim_skin_stream_t &skin);
    // The position of the group of that index; the number of groups when there is none.
    size_t find(uint32_t piece_index) const;

    array_dyn_t<group_t> groups_; // in the order of their piece index
    array_dyn_t<uint32_t> items_;
};

} // namespace kestrel
