#pragma once

// The skin as the geometry file stores it: for every vertex of a piece four bones and their weights, and the
// vertices grouped by their influence sets.
//
// The binding is made once per model from its skin and then skins piece by piece. What an item's weights come
// to is worked out once, however many vertices share the item.

#include "tools/conv/intermediate/kim_model.h"
#include "tools/conv/intermediate/kis_model.h"
#include "tools/conv/kim2kmg/writer/clone_table.h"
#include "tools/conv/kim2kmg/writer/influences.h"

namespace kestrel {

// One vertex of a skinned piece in the order in which they are stored. A piece has at most 65535 vertices.
struct skinned_vertex_t {
    uint16_t source; // its number in the piece's streams
    uint16_t set;    // its influence set's number in the piece
};

struct piece_info_t {
    array_dyn_t<influence_set_t> influence_sets; // distinct, in the order of their first use
    array_dyn_t<skinned_vertex_t> vertex_order;
};

class skin_binding_t {
  public:
    // Selects the model's skin and leads its bones to the skeleton's. A model without skin is left without
    // one. False after an error: a bone that the skeleton lacks, or a weight of a bone that the model lacks.
    bool build(const kim_t &model, const kis_t *skeleton);

    // False after an error; warns of items with suspiciously many weights and of weights dropped.
    bool skin_piece(const kix_piece_t &piece, piece_info_t &info);

  private:
    bool build_bone_map(const kis_t &skeleton);
    bool check_weights();
    void warn_of_heavy_items();
    bool may_warn_of_heavy_items();
    bool find_items(const kix_piece_t &piece, std::span<const uint32_t> &items) const;
    bool collect_sets(const kix_piece_t &piece, std::span<const uint32_t> items, piece_info_t &info);
    bool order_vertices(piece_info_t &info);
    influence_quality_t influences_of(uint32_t item);

    // What an item's weights come to, once that has been worked out.
    struct item_influences_t {
        influence_set_t set;
        influence_quality_t quality;
        bool known = false;
    };
    // For sorting: the records that the sort moves are of this size.
    struct ordering_t {
        uint64_t source_vertex;
        uint64_t set;
    };

    const kim_t *model_ = nullptr;
    const kim_skin_stream_t *skin_ = nullptr;
    kim_skin_stream_t made_skin_;
    array_dyn_t<uint64_t> bone_map_; // from the model's bones to the skeleton's
    clone_table_t clones_;
    uint32_t heavy_item_lines_ = 0;
    array_dyn_t<uint32_t> heavy_items_;
    array_dyn_t<item_influences_t> item_influences_;
    // Scratch of one piece.
    array_dyn_t<influence_pair_t> pairs_;
    array_dyn_t<ordering_t> order_;
    array_dyn_t<uint32_t> set_slots_;
};

} // namespace kestrel
