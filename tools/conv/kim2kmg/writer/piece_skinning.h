#pragma once

// The skin as the geometry file stores it: for every vertex of a piece four bones and their weights, and the
// vertices grouped by their influence sets.
//
// The skin is one for the whole model: the positions of its Skin paragraph, or all its piece skins, their
// items counted through in piece order. One walk over its items enters the influence set of every vertex that
// an item names into one table, from which the pieces are then skinned one by one. What an item's weights
// come to is worked out once, however many vertices share the item.

#include "kcore/collections/hashed_table.h"
#include "tools/conv/intermediate/kim_model.h"
#include "tools/conv/intermediate/kis_model.h"
#include "tools/conv/kim2kmg/writer/influences.h"

namespace kestrel {

struct skinned_vertex_t {
    uint32_t source; // its number in the piece's streams
    uint32_t set;    // its influence set's number in the model
};

// The vertices of a skinned piece in the order in which they are stored.
using vertex_order_t = array_dyn_t<skinned_vertex_t>;

class skin_binding_t {
  public:
    // Leads the model's bones to the skeleton's and works out the table. A model without skin is left without
    // one. False after an error: a bone that the skeleton lacks, or a weight of a bone that the model lacks.
    // The skeleton has at most kmg_max_bones bones.
    bool build(const kim_t &model, const kis_t *skeleton);

    // False after an error; warns of items with suspiciously many weights and of weights dropped.
    bool skin_piece(const kix_piece_t &piece, vertex_order_t &order);

    std::span<const influence_set_t> influence_sets() const { return sets_.items(); }

  private:
    // The vertices of the pieces with one index, which a skin item names by that index.
    struct group_t {
        uint32_t piece_index;
        uint32_t vertex_count; // the most that a piece with this index has
        size_t first_vertex;   // of the group, in the table
        uint32_t last_vertex;  // the largest that an item names, and the item; 0 when none does
        uint32_t last_vertex_item;
    };
    // What the skin item that names a vertex comes to; the last item when several do.
    struct vertex_skin_t {
        uint32_t set;
        influence_quality_t quality;
    };
    struct heavy_item_t {
        uint32_t number;
        size_t weight_count;
        array_dyn_t<skin_clone_t> vertices;
    };

    bool map_bones(const kis_t &skeleton);
    void group_pieces();
    group_t *find_group(uint32_t piece_index);
    template <class for_each_vertex_t>
    bool add_item(std::span<const skin_weight_t> weights, for_each_vertex_t for_each_vertex);
    vertex_skin_t bind(std::span<const skin_weight_t> weights);
    void warn_of_heavy_items();
    bool may_warn_of_heavy_items();
    bool check_piece(const kix_piece_t &piece, const group_t &group,
                     std::span<const vertex_skin_t> vertices) const;
    static bool has_vertex_of(std::span<const vertex_skin_t> vertices, influence_quality_t quality);
    void order_vertices(std::span<const vertex_skin_t> vertices, vertex_order_t &order);

    const kim_t *model_ = nullptr;
    bool has_skin_ = false;
    array_dyn_t<uint8_t> bone_map_; // from the model's bones to the skeleton's
    array_dyn_t<group_t> groups_;   // in the order of the model's pieces
    hashed_table_t group_numbers_;  // by piece index
    group_t *last_group_ = nullptr; // that was found: vertices of one piece mostly follow each other
    array_dyn_t<vertex_skin_t> table_;
    array_dyn_t<influence_set_t> sets_; // distinct
    hashed_table_t set_numbers_;
    uint32_t item_count_ = 0;
    array_dyn_t<heavy_item_t> heavy_items_;
    uint32_t heavy_item_lines_ = 0;
    array_dyn_t<influence_pair_t> pairs_; // scratch of one item
    // Scratch of one piece: its sets in the order of their first use, and for every set of the model its
    // number among them.
    array_dyn_t<uint32_t> piece_sets_;
    array_dyn_t<uint32_t> piece_set_numbers_;
};

} // namespace kestrel
