#pragma once

// A mesh while its triangles are being ordered: which of them still use a vertex, and the scores of both.
//
// The score of a vertex says how fresh it is in the cache of transformed vertices, and how few triangles that
// use it are left; that of a triangle is the sum of its corners'. A vertex that is about to fall out of the
// cache is worth little; the corners of the last triangle are worth less than the next positions, so that the
// order does not degrade to endless strips. A vertex with one triangle left is worth most: drawing that
// triangle gets rid of it.

#include "tools/conv/intermediate/kix_stream.h"

#include <array>
#include <bit>
#include <cmath>

namespace kestrel {

class vertex_scores_t {
  public:
    static constexpr uint32_t cache_size = 32;
    static constexpr uint32_t newest_count = 3; // the corners of the last triangle
    // Positions that occur: a step puts three vertices in front before the last ones leave.
    static constexpr uint32_t position_count = cache_size + newest_count;

    vertex_scores_t() {
        for (uint32_t i = 0; i < cache_.size(); ++i)
            cache_[i] = compute_cache_score(i);
        for (uint32_t i = 0; i < valence_.size(); ++i)
            valence_[i] = compute_valence_score(i);
    }

    float cache_score(uint32_t position) const { return cache_[position]; }
    float valence_score(uint32_t use_count) const {
        return use_count < valence_.size() ? valence_[use_count] : compute_valence_score(use_count);
    }

  private:
    static float compute_cache_score(uint32_t position) {
        if (position < newest_count)
            return 0.75f;
        if (position >= cache_size)
            return 0;
        constexpr float scale = std::bit_cast<float>(0x3D0D3DCBu); // 1 / (cache_size - newest_count)
        const float left = 1.0f - static_cast<float>(position - newest_count) * scale;
        return std::sqrt(left) * left; // to the power of 1.5
    }
    static float compute_valence_score(uint32_t use_count) {
        return use_count == 0 ? 0.0f : 2.0f / std::sqrt(static_cast<float>(use_count));
    }

    // What the formulas give for the arguments that occur all the time.
    std::array<float, position_count> cache_;
    std::array<float, 128> valence_;
};

enum class vertex_kind_t : uint8_t {
    ordinary,
    high_valence,        // used by very many triangles; see high_valence_vertices.h
    beside_high_valence, // itself not, but in a triangle with one
};

class scored_mesh_t {
  public:
    static constexpr uint8_t uncached = 0xFF;
    static constexpr size_t most_triangles = UINT32_MAX / 3;

    struct vertex_t {
        uint32_t first_use; // in the list of all uses
        uint32_t use_count; // triangles not yet emitted
        float score;
        uint8_t position; // in the cache, 0 for the most recent vertex
        vertex_kind_t kind;

        bool is_cached() const { return position != uncached; }
    };

    // Lists the uses of each vertex in the order of the triangles; scores are zero. The triangles, at most
    // `most_triangles`, have corners below `vertex_count` and must outlive the use of this mesh.
    void build(std::span<const triangle_t> triangles, uint32_t vertex_count) {
        triangles_ = triangles;
        vertices_.clear();
        vertices_.resize(vertex_count, {0, 0, 0, uncached, vertex_kind_t::ordinary});
        uses_.resize(3 * triangles.size());
        for (const triangle_t &triangle : triangles)
            for (const uint32_t corner : triangle.corners)
                ++vertex(corner).use_count;
        uint32_t next = 0;
        for (vertex_t &vertex : vertices_) {
            vertex.first_use = next;
            next += vertex.use_count;
            vertex.use_count = 0;
        }
        for (uint32_t t = 0; t < triangles.size(); ++t)
            for (const uint32_t corner : triangles[t].corners)
                uses_.data()[vertex(corner).first_use + vertex(corner).use_count++] = t;
    }

    std::span<const triangle_t> triangles() const { return triangles_; }
    std::span<vertex_t> vertices() { return vertices_.items(); }
    vertex_t &vertex(uint32_t number) { return vertices_.data()[number]; }
    const vertex_t &vertex(uint32_t number) const { return vertices_.data()[number]; }

    std::span<const uint32_t> uses_of(const vertex_t &vertex) const {
        return {uses_.data() + vertex.first_use, vertex.use_count};
    }
    // Takes a use from a vertex; the last one takes its place.
    void remove_use(vertex_t &vertex, size_t place) {
        uint32_t *const uses = uses_.data() + vertex.first_use;
        uses[place] = uses[--vertex.use_count];
    }

    float score_of(uint32_t triangle) const {
        const auto [a, b, c] = triangles_[triangle].corners;
        return vertex(a).score + vertex(b).score + vertex(c).score;
    }

  private:
    std::span<const triangle_t> triangles_;
    array_dyn_t<vertex_t> vertices_;
    array_dyn_t<uint32_t> uses_; // triangle numbers, vertex by vertex
};

} // namespace kestrel
