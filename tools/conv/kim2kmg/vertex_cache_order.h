#pragma once

// Orders triangles for a cache of transformed vertices, after Tom Forsyth, "Linear-Speed Vertex Cache
// Optimisation" (2006).
//
// A least-recently-used cache of 32 vertices is simulated. Each vertex has a score: high while it is fresh in
// the cache, and high when few triangles that use it are left, so that no stragglers remain. Each step emits
// the triangle of greatest score among those that use a cached vertex; when none is left, the best of all.
//
// Ties go to the first triangle in this order: cached vertices from the most recent one on, of each its
// triangles; among all triangles, the order of the list. A vertex's triangles are in list order until one of
// them is emitted, whose place the last one takes. Scores are single precision throughout, so every processor
// gives the same order.

#include "tools/conv/intermediate/kix_stream.h"
#include "tools/conv/kim2kmg/remaining_triangles.h"

namespace kestrel {

class vertex_cache_order_t {
  public:
    static constexpr uint32_t cache_size = 32;

    // Orders triangles whose three corners differ and are below `vertex_count`. The triangles must outlive
    // the call only. False when working memory cannot be had. Results last until the next call.
    bool run(std::span<const triangle_t> triangles, uint32_t vertex_count);

    // The triangles' numbers in the order in which they should be drawn.
    std::span<const uint32_t> order() const { return order_.items(); }

  private:
    struct vertex_t {
        uint32_t first_use; // in uses_
        uint32_t use_count; // triangles not yet emitted
        float score;
        float valence_score;
    };
    static constexpr uint32_t none = remaining_triangles_t::none;
    static constexpr uint32_t overflowing_cache_size = cache_size + 3;

    bool prepare(uint32_t vertex_count);
    void list_uses();
    float score_of(uint32_t triangle) const;
    uint32_t first_triangle() const;
    void emit(uint32_t triangle);
    void remove_use(vertex_t &vertex, uint32_t triangle);
    void refresh_cache(const triangle_t &newest);
    uint32_t best_of_cache() const;
    bool evict();
    bool find_best_of_all(uint32_t &best);

    std::span<const triangle_t> triangles_;
    array_dyn_t<vertex_t> vertices_;
    array_dyn_t<uint32_t> uses_; // triangles of each vertex, not yet emitted ones first
    array_dyn_t<uint32_t> order_;
    array_dyn_t<uint8_t> emitted_; // of each triangle
    remaining_triangles_t remaining_;
    array_dyn_t<uint32_t> evicted_; // vertices that left the cache since the last search of all triangles
    uint32_t cache_[overflowing_cache_size]; // vertices, the most recent one first
    uint32_t cached_ = 0;
};

} // namespace kestrel
