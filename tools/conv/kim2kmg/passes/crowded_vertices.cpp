#include "tools/conv/kim2kmg/passes/crowded_vertices.h"

namespace kestrel {

// Marks what a group key holds as a use count.
static constexpr uint32_t use_count_mark = 0x80000000;

static uint32_t corner_number(const triangle_t &triangle, uint32_t vertex) {
    return triangle.corners[0] == vertex ? 0 : triangle.corners[1] == vertex ? 1 : 2;
}

void crowded_vertices_t::clear() {
    hubs_.clear();
    memberships_.clear();
    groups_.clear();
    changed_.clear();
    numbers_listed_ = false;
    failed_ = false;
}

void crowded_vertices_t::prepare() {
    clear();
    const auto vertex_count = static_cast<uint32_t>(mesh_.vertices().size());
    for (uint32_t v = 0; v < vertex_count && !failed_; ++v)
        if (mesh_.vertex(v).use_count >= crowding_.least_use_count)
            failed_ = !add_hub(v);
    if (hubs_.empty() || failed_)
        return;
    failed_ = !reserve_tables();
    if (failed_)
        return;
    for (const hub_t &hub : hubs_)
        number_uses(hub.vertex);
    for (uint32_t t = 0; t < mesh_.triangles().size() && !failed_; ++t)
        join_groups(t);
}

bool crowded_vertices_t::reserve_tables() {
    size_t use_count = 0;
    for (const hub_t &hub : hubs_)
        use_count += mesh_.vertex(hub.vertex).use_count;
    most_groups_ = crowding_.least_group_size == 0 ? none : use_count / crowding_.least_group_size;
    return memberships_.resize(3 * mesh_.triangles().size()) && group_table_.reset(64) &&
           changed_.reserve(hubs_.size());
}

bool crowded_vertices_t::add_hub(uint32_t vertex) {
    if (hubs_.empty() && !hub_numbers_.resize(mesh_.vertices().size()))
        return false;
    hub_numbers_[vertex] = static_cast<uint32_t>(hubs_.size());
    mesh_.vertex(vertex).kind = vertex_kind_t::crowded;
    if (!hubs_.emplace_back())
        return false;
    hubs_.back().vertex = vertex;
    return true;
}

void crowded_vertices_t::number_uses(uint32_t vertex) {
    uint32_t place = 0;
    for (const uint32_t t : mesh_.uses_of(mesh_.vertex(vertex))) {
        const triangle_t &triangle = mesh_.triangles()[t];
        membership(t, corner_number(triangle, vertex)).place = place++;
        for (const uint32_t corner : triangle.corners)
            if (!is_crowded(corner))
                mesh_.vertex(corner).kind = vertex_kind_t::beside_crowded;
    }
}

bool crowded_vertices_t::is_beside_crowded(const triangle_t &triangle) const {
    const auto [a, b, c] = triangle.corners;
    return is_crowded(a) || is_crowded(b) || is_crowded(c);
}

void crowded_vertices_t::mark_changed(uint32_t vertex) {
    hub_t &hub = hub_of(vertex);
    if (!hub.changed)
        changed_.push_back(hub_numbers_[vertex]); // has room for each hub once
    hub.changed = true;
}

crowded_vertices_t::group_key_t crowded_vertices_t::key_of(const triangle_t &triangle,
                                                           uint32_t corner) const {
    const auto sort_of = [&](uint32_t other) {
        const uint32_t vertex = triangle.corners[other];
        return is_crowded(vertex) ? vertex : mesh_.vertex(vertex).use_count | use_count_mark;
    };
    return {triangle.corners[corner], corner, {sort_of(corner == 0 ? 1 : 0), sort_of(corner == 2 ? 1 : 2)}};
}

uint32_t crowded_vertices_t::find_or_add_group(const group_key_t &key) {
    const auto number = static_cast<uint32_t>(groups_.size());
    if (number == most_groups_ || !group_table_.reserve(number + 1) || !groups_.reserve(number + 1))
        return none;
    uint64_t hash = mix_hash(key.corner, uint64_t{key.vertex} << 32 | key.others[0]);
    hash = mix_hash(mix_hash(hash, key.others[1]), 0);
    const uint32_t found =
        group_table_.find_or_add(hash, number, [&](uint32_t other) { return groups_[other].key == key; });
    if (found == number) {
        groups_.emplace_back();
        groups_.back().key = key;
    }
    return found;
}

// A triangle without an ordinary corner in the cache is in one group of each of its crowded corners.
void crowded_vertices_t::join_groups(uint32_t triangle) {
    const triangle_t &corners = mesh_.triangles()[triangle];
    for (uint32_t k = 0; k < 3; ++k)
        if (is_crowded(corners.corners[k]) && !join_group(triangle, k))
            failed_ = true;
}

bool crowded_vertices_t::join_group(uint32_t triangle, uint32_t corner) {
    const triangle_t &corners = mesh_.triangles()[triangle];
    const uint32_t number = find_or_add_group(key_of(corners, corner));
    if (number == none)
        return false;
    hub_t &hub = hub_of(corners.corners[corner]);
    group_t &group = groups_[number];
    if (group.triangle_count == 0) {
        group.place = static_cast<uint32_t>(hub.groups.size());
        if (!hub.groups.push_back(number))
            return false;
    }
    ++group.triangle_count;
    membership(triangle, corner).group = number;
    mark_changed(hub.vertex);
    return add_place(triangle, corner) && (!numbers_listed_ || add_number(triangle, corner));
}

void crowded_vertices_t::leave_group(uint32_t triangle, uint32_t corner) {
    const uint32_t number = membership(triangle, corner).group;
    if (number == none)
        return;
    membership(triangle, corner).group = none;
    group_t &group = groups_[number];
    hub_t &hub = hub_of(group.key.vertex);
    if (--group.triangle_count == 0) {
        groups_[hub.groups.back()].place = group.place;
        hub.groups.erase_unordered(group.place);
    }
    mark_changed(hub.vertex);
}

bool crowded_vertices_t::add_place(uint32_t triangle, uint32_t corner) {
    const membership_t &member = membership(triangle, corner);
    group_t &group = groups_[member.group];
    return group.by_place.push(uint64_t{member.place} << 32 | triangle, group.triangle_count,
                               [&](uint64_t entry) { return is_at_place(member.group, entry); });
}

bool crowded_vertices_t::add_number(uint32_t triangle, uint32_t corner) {
    const uint32_t number = membership(triangle, corner).group;
    group_t &group = groups_[number];
    return group.by_number.push(triangle, group.triangle_count, [&](uint64_t entry) {
        return is_member(number, static_cast<uint32_t>(entry));
    });
}

void crowded_vertices_t::remove(uint32_t triangle) {
    const triangle_t &corners = mesh_.triangles()[triangle];
    for (uint32_t k = 0; k < 3; ++k) {
        const uint32_t vertex = corners.corners[k];
        if (!is_crowded(vertex))
            continue;
        leave_group(triangle, k);
        const uint32_t place = membership(triangle, k).place;
        const uint32_t moved = mesh_.uses_of(mesh_.vertex(vertex)).back();
        mesh_.remove_use(mesh_.vertex(vertex), place);
        if (moved == triangle)
            continue;
        const uint32_t moved_corner = corner_number(mesh_.triangles()[moved], vertex);
        membership(moved, moved_corner).place = place;
        if (membership(moved, moved_corner).group != none && !add_place(moved, moved_corner))
            failed_ = true;
    }
}

void crowded_vertices_t::vertex_entered_cache(uint32_t vertex) {
    for (const uint32_t t : mesh_.uses_of(mesh_.vertex(vertex)))
        for (uint32_t k = 0; k < 3; ++k)
            leave_group(t, k);
}

void crowded_vertices_t::vertex_left_cache(uint32_t vertex) {
    const auto stays_out = [this](uint32_t corner) {
        return !is_crowded(corner) && mesh_.vertex(corner).is_cached();
    };
    for (const uint32_t t : mesh_.uses_of(mesh_.vertex(vertex))) {
        const auto [a, b, c] = mesh_.triangles()[t].corners;
        if (!stays_out(a) && !stays_out(b) && !stays_out(c))
            join_groups(t);
    }
}

bool crowded_vertices_t::is_member(uint32_t group, uint32_t triangle) const {
    return memberships_[size_t{3} * triangle + groups_[group].key.corner].group == group;
}

bool crowded_vertices_t::is_at_place(uint32_t group, uint64_t entry) const {
    const auto triangle = static_cast<uint32_t>(entry);
    return is_member(group, triangle) && place_of(triangle, groups_[group].key.corner) == entry >> 32;
}

crowded_vertices_t::found_t crowded_vertices_t::first_best(uint32_t vertex) {
    found_t best;
    for (const uint32_t number : hub_of(vertex).groups) {
        const uint64_t entry =
            groups_[number].by_place.top([&](uint64_t e) { return is_at_place(number, e); });
        consider(static_cast<uint32_t>(entry), static_cast<uint32_t>(entry >> 32), best);
    }
    return best;
}

crowded_vertices_t::found_t crowded_vertices_t::lowest_best(uint32_t vertex) {
    found_t best;
    for (const uint32_t number : hub_of(vertex).groups) {
        const auto triangle = static_cast<uint32_t>(groups_[number].by_number.top(
            [&](uint64_t e) { return is_member(number, static_cast<uint32_t>(e)); }));
        consider(triangle, triangle, best);
    }
    return best;
}

void crowded_vertices_t::consider(uint32_t triangle, uint32_t order, found_t &best) const {
    const float score = mesh_.score_of(triangle);
    if (score > best.score || (score == best.score && order < best.order))
        best = {triangle, score, order};
}

uint32_t crowded_vertices_t::take_changed() {
    if (changed_.empty())
        return none;
    hub_t &hub = hubs_[changed_.back()];
    changed_.pop_back();
    hub.changed = false;
    return hub.vertex;
}

void crowded_vertices_t::list_numbers() {
    numbers_listed_ = true;
    for (uint32_t corner = 0; corner < memberships_.size() && !failed_; ++corner)
        if (memberships_[corner].group != none)
            failed_ = !add_number(corner / 3, corner % 3);
}

} // namespace kestrel
