#include "tools/conv/kim2kmg/passes/vertex_cache_order.h"

#include <limits>

namespace kestrel {

using vertex_t = scored_mesh_t::vertex_t;

std::span<const uint32_t> vertex_cache_order_t::run(std::span<const triangle_t> triangles,
                                                    uint32_t vertex_count) {
    mesh_.build(triangles, vertex_count);
    start();
    uint32_t next = first_triangle();
    while (next != none) {
        emit(next);
        move_to_front(triangles[next]);
        next = best_of_cache().triangle;
        evict();
        if (next == none && order_.size() < triangles.size())
            next = best_of_all();
    }
    return order_.items();
}

void vertex_cache_order_t::start() {
    remaining_.clear();
    remaining_listed_ = false;
    evicted_.clear();
    order_.clear();
    emitted_.clear();
    cached_ = 0;
    emitted_.resize(mesh_.triangles().size());
    order_.reserve(mesh_.triangles().size());
    for (vertex_t &vertex : mesh_.vertices())
        vertex.score = scores_.valence_score(vertex.use_count);
    hubs_.prepare();
    if (hubs_.are_too_many_kinds())
        stop_grouping();
}

// The order stays the same; what was left out for the groups' sake is made up for.
void vertex_cache_order_t::stop_grouping() {
    hubs_.clear();
    for (uint32_t i = 0; i < cached_; ++i)
        cache_[i].best_score = std::numeric_limits<float>::infinity();
    remaining_.clear();
    remaining_listed_ = false;
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
    bool has_hub = false;
    for (const uint32_t corner : mesh_.triangles()[triangle].corners) {
        vertex_t &vertex = mesh_.vertex(corner);
        if (vertex.kind == vertex_kind_t::high_valence) {
            has_hub = true;
            continue;
        }
        const auto uses = mesh_.uses_of(vertex);
        const auto use = std::find(uses.begin(), uses.end(), triangle);
        mesh_.remove_use(vertex, static_cast<size_t>(use - uses.begin()));
    }
    if (has_hub)
        hubs_.emitted(triangle);
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
    add({c, 0}, mesh_.vertex(c), 0);
    add({b, 0}, mesh_.vertex(b), 1);
    add({a, 0}, mesh_.vertex(a), 2);
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
void vertex_cache_order_t::evict() {
    for (; cached_ > 0; --cached_) {
        const uint32_t number = cache_[cached_ - 1].vertex;
        vertex_t &vertex = mesh_.vertex(number);
        if (vertex.position < vertex_scores_t::cache_size)
            break;
        vertex.position = scored_mesh_t::uncached;
        if (vertex.kind == vertex_kind_t::beside_high_valence)
            hubs_.left_cache(number);
        if (remaining_listed_)
            evicted_.push_back(number);
    }
    if (hubs_.are_too_many_kinds())
        stop_grouping();
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
        if (vertex.kind == vertex_kind_t::high_valence)
            search_groups(cache_[i].vertex, best);
        else if (vertex.position < grown_count || cache_[i].best_score > best.score ||
                 vertex.kind == vertex_kind_t::beside_high_valence)
            search_uses(cache_[i], best);
    }
    return best;
}

void vertex_cache_order_t::search_uses(cached_t &cached, best_t &best) const {
    const vertex_t &vertex = mesh_.vertex(cached.vertex);
    const bool beside_hub = vertex.kind == vertex_kind_t::beside_high_valence;
    cached.best_score = -1;
    meeting_t meeting{vertex.position, 0};
    for (const uint32_t triangle : mesh_.uses_of(vertex)) {
        const float score = mesh_.score_of(triangle);
        cached.best_score = std::max(cached.best_score, score);
        if (score > best.score)
            best = {triangle, score, beside_hub ? first_meeting(triangle, meeting) : meeting};
        else if (beside_hub && score == best.score)
            if (const meeting_t first = first_meeting(triangle, meeting); first < best.meeting)
                best = {triangle, score, first};
        ++meeting.place;
    }
}

void vertex_cache_order_t::search_groups(uint32_t hub, best_t &best) {
    const auto found = hubs_.best(hub, high_valence_vertices_t::place_among_uses);
    if (found.score > best.score)
        best = {found.triangle, found.score, {mesh_.vertex(hub).position, found.rank}};
}

// A triangle that was met at an ordinary vertex, but would have been at a hub before.
vertex_cache_order_t::meeting_t vertex_cache_order_t::first_meeting(uint32_t triangle,
                                                                    meeting_t known) const {
    for (uint32_t k = 0; k < 3; ++k) {
        const vertex_t &vertex = mesh_.vertex(mesh_.triangles()[triangle].corners[k]);
        if (vertex.kind == vertex_kind_t::high_valence && vertex.position < known.position)
            known = {vertex.position, hubs_.place_of(triangle, k)};
    }
    return known;
}

// Ascending keys are descending scores, and of equal ones ascending triangles: scores are not negative, so
// their bits are ordered as they are.
static uint64_t remaining_key(uint32_t triangle, float score) {
    return uint64_t{~std::bit_cast<uint32_t>(score)} << 32 | triangle;
}

bool vertex_cache_order_t::is_current(uint64_t key) const {
    const auto triangle = static_cast<uint32_t>(key);
    return !emitted_[triangle] && key == remaining_key(triangle, mesh_.score_of(triangle));
}

// No cached vertex has a triangle left, so every score is what the valences give.
uint32_t vertex_cache_order_t::best_of_all() {
    if (!remaining_listed_)
        list_remaining();
    update_remaining();
    return static_cast<uint32_t>(remaining_.top([this](uint64_t key) { return is_current(key); }));
}

void vertex_cache_order_t::list_remaining() {
    const auto triangles = mesh_.triangles();
    for (uint32_t t = 0; t < triangles.size(); ++t)
        if (!emitted_[t] && !hubs_.has_hub(triangles[t]))
            remaining_.append(remaining_key(t, mesh_.score_of(t)));
    remaining_.arrange();
    remaining_listed_ = true;
    evicted_.clear();
}

void vertex_cache_order_t::update_remaining() {
    const auto update = [this](uint32_t triangle) {
        remaining_.push(remaining_key(triangle, mesh_.score_of(triangle)),
                        [this](uint64_t key) { return is_current(key); });
    };
    for (const uint32_t vertex : evicted_)
        for (const uint32_t t : mesh_.uses_of(mesh_.vertex(vertex)))
            if (!hubs_.has_hub(mesh_.triangles()[t]))
                update(t);
    evicted_.clear();
    for (uint32_t hub = hubs_.take_changed(); hub != none; hub = hubs_.take_changed())
        if (const auto found = hubs_.best(hub, high_valence_vertices_t::triangle_number);
            found.triangle != none)
            update(found.triangle);
}

} // namespace kestrel
