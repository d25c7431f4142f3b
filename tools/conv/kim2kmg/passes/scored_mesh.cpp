#include "tools/conv/kim2kmg/passes/scored_mesh.h"

namespace kestrel {

bool scored_mesh_t::build(std::span<const triangle_t> triangles, uint32_t vertex_count) {
    triangles_ = triangles;
    vertices_.clear();
    if (triangles.size() > UINT32_MAX / 3 ||
        !vertices_.resize(vertex_count, {0, 0, 0, uncached, vertex_kind_t::ordinary}) ||
        !uses_.resize(3 * triangles.size()))
        return false;
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
    return true;
}

} // namespace kestrel
