#pragma once

// Small meshes of every awkward kind, the same for the same seed.

#include "tests/support/plain_model.h"

#include <random>

namespace kestrel {

class random_mesh_t {
  public:
    explicit random_mesh_t(uint32_t seed) : random_(seed) {}

    // From 0 to `end`, less `end` itself.
    uint32_t below(uint32_t end) { return static_cast<uint32_t>(random_() % end); }
    bool one_in(uint32_t n) { return below(n) == 0; }

    // One of: loose triangles, a fan, a strip, a grid, any triples over few or many vertices; often with
    // repeated, collapsed and shuffled triangles among them.
    std::vector<plain_triangle_t> triangles();
    // A hundred and more triangles around one, two or a few vertices: fans, loose triangles and patches that
    // share only the hub, the same triangles again and again.
    std::vector<plain_triangle_t> hub_triangles();
    // A piece over those triangles, with vertices that look the same, vertices without a triangle, zeros of
    // both signs and NaNs in its one to three streams.
    plain_piece_t piece();
    // Items of one to three vertices, weights from a small choice; some vertices are in no item.
    plain_skin_t skin(uint32_t vertex_count);

  private:
    void disturb(std::vector<plain_triangle_t> &triangles);
    float coordinate();

    std::mt19937 random_;
};

} // namespace kestrel
