#pragma once

// A mesh while it is being ordered: which triangles still use a vertex, and the scores of both.

#include "tools/conv/intermediate/kix_stream.h"

namespace kestrel {

enum class vertex_kind_t : uint8_t {
    ordinary,
    crowded,        // used by very many triangles; see crowded_vertices.h
    beside_crowded, // not crowded, but in a triangle with one that is
};

class scored_mesh_t {
  public:
    static constexpr uint8_t uncached = 0xFF;

    struct vertex_t {
        uint32_t first_use; // in the list of all uses
        uint32_t use_count; // triangles not yet emitted
        float score;
        uint8_t position; // in the cache, 0 for the most recent vertex
        vertex_kind_t kind;

        bool is_cached() const { return position != uncached; }
    };

    // Lists the uses of each vertex in the order of the triangles; scores are zero. The triangles' corners
    // are below `vertex_count`; the triangles must outlive the use of this mesh. False when memory cannot be
    // had.
    bool build(std::span<const triangle_t> triangles, uint32_t vertex_count);

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
