#pragma once

// Vertices that very many triangles use: the hub of a large fan, a corner of a triangle that is repeated a
// thousand times.
//
// The ordering looks at all triangles of the vertices in the cache at every step, which for such a hub would
// cost the square of its triangles. But these are of few kinds as long as their other corners stay out of the
// cache: the score of one follows from the hub's place among the corners and, for each other corner, from
// which hub it is or else from how many triangles that vertex has left. So the triangles of each hub are kept
// in groups of equal score, and of each group only the first triangle matters. A bound on the scores instead
// of groups would not do: where the best triangles stand behind many others, every step passes all of those.
//
// A triangle with an ordinary corner in the cache is in no group: it is looked at by way of that corner. It
// leaves its group without notice, and joins the one for its new score when that corner leaves the cache.

#include "kcore/collections/hashed_table.h"
#include "tools/conv/kim2kmg/passes/lazy_heap.h"
#include "tools/conv/kim2kmg/passes/vertex_cache_scores.h"

namespace kestrel {

// When grouping is worth its cost; the order of the triangles does not depend on it.
struct grouping_t {
    uint32_t least_use_count = 65; // of a vertex of high valence
    uint32_t least_group_size = 8; // on average; 0 for any
};

class high_valence_vertices_t {
  public:
    static constexpr uint32_t none = 0xFFFFFFFF;

    // Which of a hub's triangles comes first among equal scores.
    enum rank_t { place_among_uses, triangle_number };

    struct found_t {
        uint32_t triangle = none;
        float score = -1;
        uint32_t rank = none; // of the kind that was asked for
    };

    high_valence_vertices_t(scored_mesh_t &mesh, const grouping_t &grouping)
        : mesh_(mesh), grouping_(grouping) {}

    // Marks the hubs of the mesh and the vertices beside them, and groups their triangles. No vertex is in
    // the cache yet.
    void prepare();
    // Makes every vertex an ordinary one again.
    void clear();
    // Whether the kinds are so many that grouping costs more than it saves. Then nothing may be asked until
    // all is cleared.
    bool are_too_many_kinds() const { return too_many_kinds_; }

    // Takes a triangle from its groups and from the uses of the hubs among its corners.
    void emitted(uint32_t triangle);
    // To be told of every vertex beside a hub that has left the cache.
    void left_cache(uint32_t vertex);

    bool has_hub(const triangle_t &triangle) const;
    // The place of a triangle among the uses of the hub that is its corner number `corner`.
    uint32_t place_of(uint32_t triangle, uint32_t corner) const {
        return members_[size_t{3} * triangle + corner].place;
    }
    // The triangle of greatest score in the groups of a hub, none when they are empty.
    found_t best(uint32_t hub, rank_t rank);
    // A hub whose best triangle may be another one than when it last was taken from this list; none when the
    // list is empty.
    uint32_t take_changed();

  private:
    struct hub_t {
        uint32_t vertex = none;
        bool changed = false;
        array_dyn_t<uint32_t> groups; // all that have triangles, and some that had
    };
    struct group_key_t {
        uint32_t hub;
        uint32_t corner;    // its number among the corners
        uint32_t others[2]; // another hub, or a use count and a mark

        bool operator==(const group_key_t &) const = default;
    };
    struct group_t {
        group_key_t key{};
        bool listed = false;    // in its hub
        lazy_heap_t by_rank[2]; // a triangle's rank, and below it the triangle
    };
    // A triangle as one of those of a hub.
    struct member_t {
        uint32_t place = none; // among the uses of the hub
        uint32_t group = none; // the last one that it joined; none when it has been emitted
    };

    member_t &member(uint32_t triangle, uint32_t corner) { return members_[size_t{3} * triangle + corner]; }
    bool is_hub(uint32_t vertex) const { return mesh_.vertex(vertex).kind == vertex_kind_t::high_valence; }
    hub_t &hub_of(uint32_t vertex) { return hubs_[hub_numbers_[vertex]]; }

    void number_uses(uint32_t hub);
    void mark_changed(uint32_t hub);
    group_key_t key_of(const triangle_t &triangle, uint32_t corner) const;
    uint32_t find_or_add_group(const group_key_t &key);
    bool join_group(uint32_t triangle, uint32_t corner);
    bool may_be_grouped(const triangle_t &triangle) const;
    uint64_t heap_key(uint32_t triangle, uint32_t corner, rank_t rank) const;
    bool holds(uint32_t group, rank_t rank, uint64_t key) const;
    void push(uint32_t triangle, uint32_t corner, rank_t rank);

    scored_mesh_t &mesh_;
    const grouping_t grouping_;
    array_dyn_t<hub_t> hubs_;
    array_dyn_t<uint32_t> hub_numbers_; // of each vertex
    array_dyn_t<member_t> members_;     // three for each triangle
    array_dyn_t<group_t> groups_;
    hashed_table_t group_table_;
    size_t most_groups_ = 0;
    array_dyn_t<uint32_t> changed_; // numbers of hubs
    bool too_many_kinds_ = false;
};

} // namespace kestrel
