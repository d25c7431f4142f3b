#include "tools/conv/kim2kmg/vertex_cache_order.h"

#include <algorithm>
#include <bit>
#include <cmath>

namespace kestrel {

namespace {

constexpr uint32_t fresh_positions = 3; // the corners of the last triangle
constexpr float fresh_score = 0.75f;    // below what the decay would give: do not prefer endless strips
constexpr float decay_scale = std::bit_cast<float>(0x3D0D3DCBu); // 1 / (cache size - fresh positions)
constexpr float valence_boost = 2.0f;

float cache_score(uint32_t position) {
    if (position < fresh_positions)
        return fresh_score;
    if (position >= vertex_cache_order_t::cache_size)
        return 0;
    const float left = 1.0f - static_cast<float>(position - fresh_positions) * decay_scale;
    return std::sqrt(left) * left; // to the power of 1.5
}

float valence_score(uint32_t use_count) {
    return use_count == 0 ? 0.0f : valence_boost / std::sqrt(static_cast<float>(use_count));
}

// What the formulas give for the numbers that occur all the time.
struct score_tables_t {
    score_tables_t() {
        for (uint32_t i = 0; i < std::size(cache); ++i)
            cache[i] = cache_score(i);
        for (uint32_t i = 0; i < std::size(valence); ++i)
            valence[i] = valence_score(i);
    }
    float of_valence(uint32_t use_count) const {
        return use_count < std::size(valence) ? valence[use_count] : valence_score(use_count);
    }

    float cache[vertex_cache_order_t::cache_size + 3];
    float valence[64];
};

const score_tables_t scores;

} // namespace

bool vertex_cache_order_t::run(std::span<const triangle_t> triangles, uint32_t vertex_count) {
    triangles_ = triangles;
    if (!prepare(vertex_count))
        return false;
    uint32_t next = first_triangle();
    while (next != none) {
        emit(next);
        refresh_cache(triangles_[next]);
        next = best_of_cache();
        if (!evict())
            return false;
        if (next == none && order_.size() < triangles_.size() && !find_best_of_all(next))
            return false;
    }
    return true;
}

bool vertex_cache_order_t::prepare(uint32_t vertex_count) {
    const size_t triangle_count = triangles_.size();
    vertices_.clear();
    emitted_.clear();
    order_.clear();
    if (!vertices_.resize(vertex_count) || !uses_.resize(3 * triangle_count) ||
        !emitted_.resize(triangle_count) || !order_.reserve(triangle_count))
        return false;
    remaining_.clear();
    evicted_.clear();
    cached_ = 0;
    list_uses();
    for (vertex_t &vertex : vertices_) {
        vertex.valence_score = scores.of_valence(vertex.use_count);
        vertex.score = vertex.valence_score;
    }
    return true;
}

// Each vertex's triangles, in list order, one vertex after the other.
void vertex_cache_order_t::list_uses() {
    vertex_t *const vertices = vertices_.data();
    for (const triangle_t &triangle : triangles_)
        for (const uint32_t corner : triangle.corners)
            ++vertices[corner].use_count;
    uint32_t next = 0;
    for (vertex_t &vertex : vertices_) {
        vertex.first_use = next;
        next += vertex.use_count;
        vertex.use_count = 0;
    }
    uint32_t *const uses = uses_.data();
    for (uint32_t t = 0; t < triangles_.size(); ++t)
        for (const uint32_t corner : triangles_[t].corners)
            uses[vertices[corner].first_use + vertices[corner].use_count++] = t;
}

float vertex_cache_order_t::score_of(uint32_t triangle) const {
    const vertex_t *const vertices = vertices_.data();
    const auto [a, b, c] = triangles_[triangle].corners;
    return vertices[a].score + vertices[b].score + vertices[c].score;
}

uint32_t vertex_cache_order_t::first_triangle() const {
    uint32_t best = none;
    float best_score = -1;
    for (uint32_t t = 0; t < triangles_.size(); ++t)
        if (const float score = score_of(t); score > best_score) {
            best = t;
            best_score = score;
        }
    return best;
}

void vertex_cache_order_t::emit(uint32_t triangle) {
    order_.push_back(triangle);
    emitted_[triangle] = 1;
    for (const uint32_t corner : triangles_[triangle].corners) {
        vertex_t &vertex = vertices_[corner];
        remove_use(vertex, triangle);
        vertex.valence_score = scores.of_valence(vertex.use_count);
    }
}

// The last triangle takes the place of the removed one.
void vertex_cache_order_t::remove_use(vertex_t &vertex, uint32_t triangle) {
    const auto uses = uses_.items().subspan(vertex.first_use, vertex.use_count);
    *std::find(uses.begin(), uses.end(), triangle) = uses.back();
    --vertex.use_count;
}

// Brings the corners of the triangle to the front, the last one first, and scores the vertices by their new
// positions.
void vertex_cache_order_t::refresh_cache(const triangle_t &newest) {
    const auto [a, b, c] = newest.corners;
    uint32_t refreshed[overflowing_cache_size] = {c, b, a};
    uint32_t count = 3;
    for (uint32_t i = 0; i < cached_; ++i)
        if (const uint32_t vertex = cache_[i]; vertex != a && vertex != b && vertex != c)
            refreshed[count++] = vertex;
    cached_ = count;
    for (uint32_t i = 0; i < count; ++i) {
        cache_[i] = refreshed[i];
        vertex_t &vertex = vertices_[refreshed[i]];
        vertex.score = scores.cache[i] + vertex.valence_score;
    }
}

uint32_t vertex_cache_order_t::best_of_cache() const {
    uint32_t best = none;
    float best_score = -1;
    for (uint32_t i = 0; i < cached_; ++i) {
        const vertex_t &vertex = vertices_[cache_[i]];
        for (const uint32_t triangle : uses_.items().subspan(vertex.first_use, vertex.use_count))
            if (const float score = score_of(triangle); score > best_score) {
                best = triangle;
                best_score = score;
            }
    }
    return best;
}

// Lets the least recent vertices go until the cache has its size again.
bool vertex_cache_order_t::evict() {
    for (; cached_ > cache_size; --cached_) {
        const uint32_t vertex = cache_[cached_ - 1];
        if (remaining_.is_sorted() && vertices_[vertex].use_count > 0 && !evicted_.push_back(vertex))
            return false;
    }
    return true;
}

// No cached vertex has a triangle left, so every score is what the valences give.
bool vertex_cache_order_t::find_best_of_all(uint32_t &best) {
    if (remaining_.is_sorted()) {
        for (const uint32_t vertex : evicted_)
            for (const uint32_t t :
                 uses_.items().subspan(vertices_[vertex].first_use, vertices_[vertex].use_count))
                if (!remaining_.update(t, score_of(t)))
                    return false;
        evicted_.clear();
    } else {
        for (uint32_t t = 0; t < triangles_.size(); ++t)
            if (!emitted_[t] && !remaining_.add(t, score_of(t)))
                return false;
        remaining_.sort();
    }
    best = remaining_.take_best(
        [this](uint32_t t, float score) { return !emitted_[t] && score_of(t) == score; });
    return true;
}

} // namespace kestrel
