#include "tools/conv/kim2kmg/passes/vertex_cache_order.h"

#include <algorithm>

namespace kestrel {

using vertex_t = scored_mesh_t::vertex_t;

bool vertex_cache_order_t::run(std::span<const triangle_t> triangles, uint32_t vertex_count) {
    return order_triangles(triangles, vertex_count, grouping_t::crowded_vertices) ||
           order_triangles(triangles, vertex_count, grouping_t::none);
}

bool vertex_cache_order_t::order_triangles(std::span<const triangle_t> triangles, uint32_t vertex_count,
                                           grouping_t grouping) {
    if (!mesh_.build(triangles, vertex_count) || !prepare(grouping))
        return false;
    uint32_t next = first_triangle();
    while (next != none) {
        emit(next);
        move_to_front(triangles[next]);
        if (crowded_.has_failed())
            return false;
        next = best_of_cache().triangle;
        if (!evict())
            return false;
        if (next == none && order_.size() < triangles.size() && !find_best_of_all(next))
            return false;
    }
    return true;
}

bool vertex_cache_order_t::prepare(grouping_t grouping) {
    const size_t triangle_count = mesh_.triangles().size();
    remaining_.clear();
    evicted_.clear();
    order_.clear();
    emitted_.clear();
    cached_ = 0;
    if (!emitted_.resize(triangle_count) || !order_.reserve(triangle_count))
        return false;
    for (vertex_t &vertex : mesh_.vertices())
        vertex.score = scores_.valence_score(vertex.use_count);
    crowded_.clear();
    if (grouping == grouping_t::crowded_vertices)
        crowded_.prepare();
    return !crowded_.has_failed();
}

uint32_t vertex_cache_order_t::first_triangle() const {
    uint32_t best = none;
    float best_score = -1;
    for (uint32_t t = 0; t < mesh_.triangles().size(); ++t)
        if (const float score = mesh_.score_of(t); score > best_score) {
            best = t;
            best_score = score;
        }
    return best;
}

void vertex_cache_order_t::emit(uint32_t triangle) {
    order_.push_back(triangle);
    emitted_[triangle] = 1;
    bool beside_crowded = false;
    for (const uint32_t corner : mesh_.triangles()[triangle].corners) {
        vertex_t &vertex = mesh_.vertex(corner);
        beside_crowded = beside_crowded || vertex.kind != vertex_kind_t::ordinary;
        if (vertex.kind == vertex_kind_t::crowded)
            continue;
        const auto uses = mesh_.uses_of(vertex);
        const auto use = std::find(uses.begin(), uses.end(), triangle);
        mesh_.remove_use(vertex, static_cast<size_t>(use - uses.begin()));
    }
    if (beside_crowded)
        crowded_.remove(triangle);
}

// The corners of the triangle take the first positions, the last one the very first; the vertices that were
// before them move back.
void vertex_cache_order_t::move_to_front(const triangle_t &newest) {
    const auto [a, b, c] = newest.corners;
    const uint32_t behind_a = mesh_.vertex(a).position, behind_b = mesh_.vertex(b).position,
                   behind_c = mesh_.vertex(c).position;
    cached_t moved[vertex_scores_t::position_count];
    uint32_t count = 0;
    const auto add = [&](cached_t cached, vertex_t &vertex, uint32_t position) {
        vertex.position = static_cast<uint8_t>(position);
        vertex.score = scores_.cache_score(position) + scores_.valence_score(vertex.use_count);
        moved[count] = cached;
        count += vertex.use_count > 0;
    };
    const auto add_corner = [&](uint32_t corner, uint32_t position) {
        vertex_t &vertex = mesh_.vertex(corner);
        if (vertex.kind == vertex_kind_t::beside_crowded && !vertex.is_cached())
            crowded_.vertex_entered_cache(corner);
        add({corner, 0}, vertex, position);
    };
    add_corner(c, 0);
    add_corner(b, 1);
    add_corner(a, 2);
    for (uint32_t i = 0; i < cached_; ++i) {
        const uint32_t number = cache_[i].vertex;
        if (number == a || number == b || number == c)
            continue;
        vertex_t &vertex = mesh_.vertex(number);
        const uint32_t position = vertex.position;
        add(cache_[i], vertex,
            position + (position < behind_a) + (position < behind_b) + (position < behind_c));
    }
    std::copy_n(moved, count, cache_);
    cached_ = count;
}

// Lets the least recent vertices go until the cache has its size again.
bool vertex_cache_order_t::evict() {
    for (; cached_ > 0; --cached_) {
        const uint32_t number = cache_[cached_ - 1].vertex;
        vertex_t &vertex = mesh_.vertex(number);
        if (vertex.position < vertex_scores_t::cache_size)
            break;
        vertex.position = scored_mesh_t::uncached;
        if (vertex.kind == vertex_kind_t::beside_crowded)
            crowded_.vertex_left_cache(number);
        if (remaining_.is_sorted() && !evicted_.push_back(number))
            return false;
    }
    return true;
}

// Only the vertices of the last two triangles have a greater score than a step ago, and they come first. The
// triangles of any other vertex need not be looked at while the best of them, as it was when they last were,
// does not exceed what has been found. A triangle whose score grew through another vertex is found there, and
// that vertex stays in the cache for longer.
vertex_cache_order_t::best_t vertex_cache_order_t::best_of_cache() {
    constexpr uint32_t grown_count = 2 * vertex_scores_t::newest_count;
    best_t best;
    for (uint32_t i = 0; i < cached_; ++i) {
        const vertex_t &vertex = mesh_.vertex(cache_[i].vertex);
        if (vertex.kind == vertex_kind_t::crowded)
            search_groups(cache_[i].vertex, best);
        else if (vertex.position < grown_count || cache_[i].best_score > best.score ||
                 vertex.kind == vertex_kind_t::beside_crowded)
            search_uses(cache_[i], best);
    }
    return best;
}

void vertex_cache_order_t::search_uses(cached_t &cached, best_t &best) const {
    const vertex_t &vertex = mesh_.vertex(cached.vertex);
    const bool beside_crowded = vertex.kind == vertex_kind_t::beside_crowded;
    cached.best_score = -1;
    meeting_t meeting{vertex.position, 0};
    for (const uint32_t triangle : mesh_.uses_of(vertex)) {
        const float score = mesh_.score_of(triangle);
        cached.best_score = std::max(cached.best_score, score);
        if (score > best.score)
            best = {triangle, score, beside_crowded ? first_meeting(triangle, meeting) : meeting};
        else if (beside_crowded && score == best.score)
            if (const meeting_t first = first_meeting(triangle, meeting); first < best.meeting)
                best = {triangle, score, first};
        ++meeting.place;
    }
}

void vertex_cache_order_t::search_groups(uint32_t vertex, best_t &best) {
    const auto found = crowded_.first_best(vertex);
    if (found.score > best.score)
        best = {found.triangle, found.score, {mesh_.vertex(vertex).position, found.order}};
}

// A triangle that was met at an ordinary vertex, but would have been at a crowded one before.
vertex_cache_order_t::meeting_t vertex_cache_order_t::first_meeting(uint32_t triangle,
                                                                    meeting_t known) const {
    for (uint32_t k = 0; k < 3; ++k) {
        const vertex_t &vertex = mesh_.vertex(mesh_.triangles()[triangle].corners[k]);
        if (vertex.kind == vertex_kind_t::crowded && vertex.position < known.position)
            known = {vertex.position, crowded_.place_of(triangle, k)};
    }
    return known;
}

// No cached vertex has a triangle left, so every score is what the valences give.
bool vertex_cache_order_t::find_best_of_all(uint32_t &best) {
    if (!remaining_.is_sorted())
        crowded_.list_numbers();
    if (crowded_.has_failed() || !(remaining_.is_sorted() ? update_remaining() : list_remaining()))
        return false;
    for (uint32_t vertex = crowded_.take_changed(); vertex != none; vertex = crowded_.take_changed())
        if (const auto found = crowded_.lowest_best(vertex); found.triangle != none)
            if (!update_remaining(found.triangle))
                return false;
    best = remaining_.best([this](uint32_t t, float score) { return is_current(t, score); });
    return true;
}

bool vertex_cache_order_t::is_current(uint32_t triangle, float score) const {
    return !emitted_[triangle] && mesh_.score_of(triangle) == score;
}

bool vertex_cache_order_t::list_remaining() {
    const auto triangles = mesh_.triangles();
    for (uint32_t t = 0; t < triangles.size(); ++t)
        if (!emitted_[t] && !crowded_.is_beside_crowded(triangles[t]) &&
            !remaining_.add(t, mesh_.score_of(t)))
            return false;
    remaining_.sort();
    return true;
}

bool vertex_cache_order_t::update_remaining() {
    for (const uint32_t vertex : evicted_)
        for (const uint32_t t : mesh_.uses_of(mesh_.vertex(vertex)))
            if (!crowded_.is_beside_crowded(mesh_.triangles()[t]) && !update_remaining(t))
                return false;
    evicted_.clear();
    return true;
}

bool vertex_cache_order_t::update_remaining(uint32_t triangle) {
    return remaining_.update(triangle, mesh_.score_of(triangle), mesh_.triangles().size() - order_.size(),
                             [this](uint32_t t, float score) { return is_current(t, score); });
}

} // namespace kestrel
