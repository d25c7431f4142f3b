#pragma once

// Orders triangles for a cache of transformed vertices, after Tom Forsyth, "Linear-Speed Vertex Cache
// Optimisation" (2006).
//
// A least-recently-used cache of 32 vertices is simulated. Each vertex has a score (vertex_cache_scores.h),
// each triangle the sum of its corners' scores. Each step emits the triangle of greatest score among those
// that use a cached vertex; when there is none, the best of all.
//
// Ties go to the first triangle in this order: cached vertices from the most recent one on, of each its
// triangles; among all triangles, the order of the list. A vertex's triangles are in list order until one of
// them is emitted, whose place the last one takes. Scores are single precision throughout, so every processor
// gives the same order.

#include "tools/conv/kim2kmg/passes/high_valence_vertices.h"

namespace kestrel {

class vertex_cache_order_t {
  public:
    explicit vertex_cache_order_t(const grouping_t &grouping = {}) : hubs_(mesh_, grouping) {}

    // Orders triangles (at most scored_mesh_t::most_triangles) whose three corners differ and are below
    // `vertex_count`. Gives their numbers in the order in which they should be drawn, until the next call.
    std::span<const uint32_t> run(std::span<const triangle_t> triangles, uint32_t vertex_count);

  private:
    static constexpr uint32_t none = high_valence_vertices_t::none;

    struct cached_t {
        uint32_t vertex;
        float best_score; // no triangle of this vertex has a greater one; see best_of_cache
    };
    // Where the search of the cache comes upon a triangle first.
    struct meeting_t {
        uint32_t position; // of the vertex in the cache
        uint32_t place;    // among the uses of the vertex

        auto operator<=>(const meeting_t &) const = default;
    };
    struct best_t {
        uint32_t triangle = none;
        float score = -1;
        meeting_t meeting{};
    };

    void start();
    void stop_grouping();
    uint32_t first_triangle() const;
    void emit(uint32_t triangle);
    void move_to_front(const triangle_t &newest);
    void evict();

    best_t best_of_cache();
    void search_uses(cached_t &cached, best_t &best) const;
    void search_groups(uint32_t hub, best_t &best);
    meeting_t first_meeting(uint32_t triangle, meeting_t known) const;

    uint32_t best_of_all();
    void list_remaining();
    void update_remaining();
    bool is_current(uint64_t key) const;

    const vertex_scores_t scores_;
    scored_mesh_t mesh_;
    high_valence_vertices_t hubs_;
    array_dyn_t<uint32_t> order_;
    array_dyn_t<uint8_t> emitted_; // of each triangle
    // Triangles by descending score, for the moments when no cached vertex has one left. Empty until the
    // first of them; then it has every triangle without a hub, and of each hub the best one.
    lazy_heap_t remaining_;
    bool remaining_listed_ = false;
    array_dyn_t<uint32_t> evicted_; // vertices that left the cache since the last search of all triangles
    // The cached vertices that have triangles left, the most recent one first. The others only take up
    // positions.
    cached_t cache_[vertex_scores_t::position_count];
    uint32_t cached_ = 0;
};

} // namespace kestrel
