#include "tools/conv/kim2kmg/passes/high_valence_vertices.h"

namespace kestrel {

// Marks what a group key holds as a use count.
static constexpr uint32_t use_count_mark = 0x80000000;

static uint32_t corner_number(const triangle_t &triangle, uint32_t vertex) {
    return triangle.corners[0] == vertex ? 0 : triangle.corners[1] == vertex ? 1 : 2;
}

void high_valence_vertices_t::clear() {
    for (scored_mesh_t::vertex_t &vertex : mesh_.vertices())
        vertex.kind = vertex_kind_t::ordinary;
    hubs_.clear();
    groups_.clear();
    changed_.clear();
    too_many_kinds_ = false;
}

void high_valence_vertices_t::prepare() {
    clear();
    size_t use_count = 0;
    const auto vertices = mesh_.vertices();
    for (uint32_t v = 0; v < vertices.size(); ++v)
        if (vertices[v].use_count >= grouping_.least_use_count) {
            vertices[v].kind = vertex_kind_t::high_valence;
            use_count += vertices[v].use_count;
            hub_numbers_.resize(vertices.size());
            hub_numbers_[v] = static_cast<uint32_t>(hubs_.size());
            hubs_.emplace_back();
            hubs_.back().vertex = v;
        }
    if (hubs_.empty())
        return;
    most_groups_ = grouping_.least_group_size == 0 ? none : use_count / grouping_.least_group_size;
    members_.clear();
    members_.resize(3 * mesh_.triangles().size());
    group_table_.reset(64);
    for (const hub_t &hub : hubs_)
        number_uses(hub.vertex);
    for (uint32_t t = 0; t < mesh_.triangles().size() && !too_many_kinds_; ++t)
        for (uint32_t k = 0; k < 3; ++k)
            if (is_hub(mesh_.triangles()[t].corners[k]) && join_group(t, k)) {
                group_t &group = groups_[member(t, k).group];
                for (const rank_t rank : {place_among_uses, triangle_number})
                    group.by_rank[rank].append(heap_key(t, k, rank));
            }
    for (group_t &group : groups_)
        for (lazy_heap_t &heap : group.by_rank)
            heap.arrange();
}

void high_valence_vertices_t::number_uses(uint32_t hub) {
    uint32_t place = 0;
    for (const uint32_t t : mesh_.uses_of(mesh_.vertex(hub))) {
        const triangle_t &triangle = mesh_.triangles()[t];
        member(t, corner_number(triangle, hub)).place = place++;
        for (const uint32_t corner : triangle.corners)
            if (!is_hub(corner))
                mesh_.vertex(corner).kind = vertex_kind_t::beside_high_valence;
    }
}

bool high_valence_vertices_t::has_hub(const triangle_t &triangle) const {
    const auto [a, b, c] = triangle.corners;
    return is_hub(a) || is_hub(b) || is_hub(c);
}

void high_valence_vertices_t::mark_changed(uint32_t hub) {
    if (!hub_of(hub).changed)
        changed_.push_back(hub_numbers_[hub]);
    hub_of(hub).changed = true;
}

uint32_t high_valence_vertices_t::take_changed() {
    if (changed_.empty())
        return none;
    hub_t &hub = hubs_[changed_.back()];
    changed_.pop_back();
    hub.changed = false;
    return hub.vertex;
}

high_valence_vertices_t::group_key_t high_valence_vertices_t::key_of(const triangle_t &triangle,
                                                                     uint32_t corner) const {
    const auto kind_of = [&](uint32_t other) {
        const uint32_t vertex = triangle.corners[other];
        return is_hub(vertex) ? vertex : mesh_.vertex(vertex).use_count | use_count_mark;
    };
    return {triangle.corners[corner], corner, {kind_of(corner == 0 ? 1 : 0), kind_of(corner == 2 ? 1 : 2)}};
}

uint32_t high_valence_vertices_t::find_or_add_group(const group_key_t &key) {
    const auto number = static_cast<uint32_t>(groups_.size());
    uint64_t hash = mix_hash(key.corner, uint64_t{key.hub} << 32 | key.others[0]);
    hash = mix_hash(mix_hash(hash, key.others[1]), 0);
    const uint32_t found =
        group_table_.find_or_add(hash, number, [&](uint32_t other) { return groups_[other].key == key; });
    if (found == number) {
        groups_.emplace_back();
        groups_.back().key = key;
    }
    return found;
}

// What remains is to put the triangle into the group's heaps; false when there are too many kinds.
bool high_valence_vertices_t::join_group(uint32_t triangle, uint32_t corner) {
    const uint32_t number = find_or_add_group(key_of(mesh_.triangles()[triangle], corner));
    group_t &group = groups_[number];
    if (!group.listed)
        hub_of(group.key.hub).groups.push_back(number);
    group.listed = true;
    member(triangle, corner).group = number;
    mark_changed(group.key.hub);
    too_many_kinds_ = groups_.size() > most_groups_;
    return !too_many_kinds_;
}

bool high_valence_vertices_t::may_be_grouped(const triangle_t &triangle) const {
    for (const uint32_t corner : triangle.corners)
        if (!is_hub(corner) && mesh_.vertex(corner).is_cached())
            return false;
    return true;
}

uint64_t high_valence_vertices_t::heap_key(uint32_t triangle, uint32_t corner, rank_t rank) const {
    return uint64_t{rank == place_among_uses ? place_of(triangle, corner) : triangle} << 32 | triangle;
}

bool high_valence_vertices_t::holds(uint32_t group, rank_t rank, uint64_t key) const {
    const auto triangle = static_cast<uint32_t>(key);
    const uint32_t corner = groups_[group].key.corner;
    return members_[size_t{3} * triangle + corner].group == group &&
           key == heap_key(triangle, corner, rank) && may_be_grouped(mesh_.triangles()[triangle]);
}

void high_valence_vertices_t::push(uint32_t triangle, uint32_t corner, rank_t rank) {
    const uint32_t group = member(triangle, corner).group;
    groups_[group].by_rank[rank].push(heap_key(triangle, corner, rank),
                                      [&](uint64_t key) { return holds(group, rank, key); });
}

void high_valence_vertices_t::emitted(uint32_t triangle) {
    for (uint32_t k = 0; k < 3; ++k) {
        const uint32_t hub = mesh_.triangles()[triangle].corners[k];
        if (!is_hub(hub))
            continue;
        const uint32_t place = place_of(triangle, k), moved = mesh_.uses_of(mesh_.vertex(hub)).back();
        member(triangle, k).group = none;
        mesh_.remove_use(mesh_.vertex(hub), place);
        mark_changed(hub);
        if (moved == triangle)
            continue;
        const uint32_t corner = corner_number(mesh_.triangles()[moved], hub);
        member(moved, corner).place = place;
        push(moved, corner, place_among_uses);
    }
}

void high_valence_vertices_t::left_cache(uint32_t vertex) {
    for (const uint32_t t : mesh_.uses_of(mesh_.vertex(vertex))) {
        const triangle_t &triangle = mesh_.triangles()[t];
        if (!may_be_grouped(triangle))
            continue;
        for (uint32_t k = 0; k < 3; ++k) {
            if (!is_hub(triangle.corners[k]))
                continue;
            if (!join_group(t, k))
                return;
            push(t, k, place_among_uses);
            push(t, k, triangle_number);
        }
    }
}

high_valence_vertices_t::found_t high_valence_vertices_t::best(uint32_t hub, rank_t rank) {
    found_t best;
    array_dyn_t<uint32_t> &numbers = hub_of(hub).groups;
    for (size_t i = numbers.size(); i-- > 0;) {
        group_t &group = groups_[numbers[i]];
        const uint64_t top =
            group.by_rank[rank].top([&](uint64_t key) { return holds(numbers[i], rank, key); });
        if (top == lazy_heap_t::none) {
            group.listed = false;
            numbers.erase_unordered(i);
            continue;
        }
        const found_t found{static_cast<uint32_t>(top), mesh_.score_of(static_cast<uint32_t>(top)),
                            static_cast<uint32_t>(top >> 32)};
        if (found.score > best.score || (found.score == best.score && found.rank < best.rank))
            best = found;
    }
    return best;
}

} // namespace kestrel
