#pragma once

// Vertices that very many triangles use: the hub of a large fan, a corner of a triangle that is repeated a
// thousand times.
//
// The ordering looks at all triangles of the vertices in the cache at every step, which for such a vertex
// would cost the square of its triangles. But those triangles are of few sorts as long as their other corners
// stay out of the cache: the score of one follows from its place among the corners and, for each other
// corner, from which vertex it is, if that is crowded too, and else from how many triangles that vertex has
// left. So the triangles of each crowded vertex are kept in groups of equal score, and of each group only the
// first triangle matters.
//
// A triangle with an ordinary corner in the cache is in no group: it is looked at by way of that corner.
//
// Where the sorts are not few, or memory for them cannot be had, grouping fails, and the work has to be begun
// again without it: the order is the same, it only takes longer.

#include "tools/conv/kim2kmg/passes/index_table.h"
#include "tools/conv/kim2kmg/passes/late_heap.h"
#include "tools/conv/kim2kmg/passes/scored_mesh.h"

namespace kestrel {

// When grouping is worth its cost; the order of the triangles does not depend on it.
struct crowding_t {
    uint32_t least_use_count = 65; // of a crowded vertex
    uint32_t least_group_size = 8; // on average; 0 for any
};

class crowded_vertices_t {
  public:
    static constexpr uint32_t none = 0xFFFFFFFF;

    struct found_t {
        uint32_t triangle = none;
        float score = -1;
        uint32_t order = none; // lower comes first among equal scores
    };

    crowded_vertices_t(scored_mesh_t &mesh, const crowding_t &crowding) : mesh_(mesh), crowding_(crowding) {}

    // Forgets everything: no vertex is crowded.
    void clear();
    // Marks the crowded vertices of the mesh and those beside them, all of them out of the cache, and groups
    // their triangles.
    void prepare();
    // From then on nothing may be asked.
    bool has_failed() const { return failed_; }

    // Takes a triangle from its groups and from the uses of its crowded corners.
    void remove(uint32_t triangle);
    // To be told of every vertex beside a crowded one, when it has entered or left the cache.
    void vertex_entered_cache(uint32_t vertex);
    void vertex_left_cache(uint32_t vertex);

    bool is_beside_crowded(const triangle_t &triangle) const;
    // The place of a triangle among the uses of its crowded corner number `corner`.
    uint32_t place_of(uint32_t triangle, uint32_t corner) const {
        return memberships_[size_t{3} * triangle + corner].place;
    }
    // The triangle of greatest score in the groups of a crowded vertex, none when they are empty. Among
    // equals the first of the vertex's uses, or the one with the lowest number.
    found_t first_best(uint32_t vertex);
    found_t lowest_best(uint32_t vertex); // only after list_numbers()

    void list_numbers();
    // The crowded vertices for which lowest_best may have another result than when they last were taken from
    // this list; none when it is empty.
    uint32_t take_changed();

  private:
    struct hub_t {
        uint32_t vertex = none;
        bool changed = false;
        array_dyn_t<uint32_t> groups; // those with triangles in them
    };
    struct group_key_t {
        uint32_t vertex;    // the crowded one
        uint32_t corner;    // its number among the corners
        uint32_t others[2]; // a crowded vertex, or a use count and a mark

        bool operator==(const group_key_t &) const = default;
    };
    struct group_t {
        group_key_t key{};
        uint32_t place = none; // among the groups of its vertex
        uint32_t triangle_count = 0;
        late_heap_t by_place;  // places among the uses, with triangles in the lower half
        late_heap_t by_number; // empty until asked for
    };
    // Of a crowded corner of a triangle.
    struct membership_t {
        uint32_t place = none; // among the uses of the corner
        uint32_t group = none;
    };

    membership_t &membership(uint32_t triangle, uint32_t corner) {
        return memberships_[size_t{3} * triangle + corner];
    }
    bool is_crowded(uint32_t vertex) const { return mesh_.vertex(vertex).kind == vertex_kind_t::crowded; }
    hub_t &hub_of(uint32_t vertex) { return hubs_[hub_numbers_[vertex]]; }

    bool add_hub(uint32_t vertex);
    bool reserve_tables();
    void number_uses(uint32_t vertex);
    group_key_t key_of(const triangle_t &triangle, uint32_t corner) const;
    uint32_t find_or_add_group(const group_key_t &key);
    void join_groups(uint32_t triangle);
    bool join_group(uint32_t triangle, uint32_t corner);
    void leave_group(uint32_t triangle, uint32_t corner);
    bool add_place(uint32_t triangle, uint32_t corner);
    bool add_number(uint32_t triangle, uint32_t corner);
    bool is_member(uint32_t group, uint32_t triangle) const;
    bool is_at_place(uint32_t group, uint64_t entry) const;
    void consider(uint32_t triangle, uint32_t order, found_t &best) const;
    void mark_changed(uint32_t vertex);

    scored_mesh_t &mesh_;
    const crowding_t crowding_;
    array_dyn_t<hub_t> hubs_;
    array_dyn_t<uint32_t> hub_numbers_;     // of each vertex
    array_dyn_t<membership_t> memberships_; // three for each triangle
    array_dyn_t<group_t> groups_;
    index_table_t group_table_;
    size_t most_groups_ = 0;
    array_dyn_t<uint32_t> changed_; // numbers of hubs
    bool numbers_listed_ = false;
    bool failed_ = false;
};

} // namespace kestrel
