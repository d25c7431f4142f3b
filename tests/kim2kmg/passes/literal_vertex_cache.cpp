#include "tests/kim2kmg/passes/literal_vertex_cache.h"

#include <algorithm>
#include <cmath>
#include <list>

namespace kestrel {

namespace {

constexpr size_t cache_size = 32;
constexpr uint32_t none = 0xFFFFFFFF;

float score_of_position(size_t k) {
    if (k < 3)
        return 0.75f;
    if (k > 31)
        return 0;
    const float x = static_cast<float>(k - 3) * (1.0f / 29.0f);
    return (1.0f - x) * std::sqrt(1.0f - x);
}

struct vertex_info_t {
    std::vector<uint32_t> triangles; // that are left
    float cache_score = 0;
    float valence_score = 0;
    float score = 0;

    void score_valence() {
        const auto n = static_cast<float>(triangles.size());
        valence_score = n == 0 ? 0.0f : 2.0f / std::sqrt(n);
        score = valence_score + cache_score;
    }
};

class literal_order_t {
  public:
    literal_order_t(std::span<const triangle_t> triangles, uint32_t vertex_count)
        : triangles_(triangles), scores_(triangles.size()), vertices_(vertex_count) {
        for (uint32_t t = 0; t < triangles.size(); ++t) {
            remaining_.push_back(t);
            for (const uint32_t corner : triangles[t].corners)
                vertices_[corner].triangles.push_back(t);
        }
        for (vertex_info_t &vertex : vertices_)
            vertex.score_valence();
        for (const uint32_t t : remaining_)
            sum_up(t);
    }

    std::vector<uint32_t> run() {
        for (uint32_t next = best_of(remaining_, none); next != none;) {
            emit(next);
            next = none;
            for (const uint32_t v : cache_) {
                for (const uint32_t t : vertices_[v].triangles)
                    sum_up(t);
                next = best_of(vertices_[v].triangles, next);
            }
            if (next == none)
                next = best_of(remaining_, none); // by the scores that they have
            while (cache_.size() > cache_size)
                cache_.pop_back();
        }
        return order_;
    }

  private:
    void sum_up(uint32_t t) {
        const auto &[a, b, c] = triangles_[t].corners;
        scores_[t] = vertices_[a].score + vertices_[b].score + vertices_[c].score;
    }

    // The first of the best ones, and `best` unless it is better.
    template <class T>
    uint32_t best_of(const T &triangles, uint32_t best) const {
        for (const uint32_t t : triangles)
            if (best == none || scores_[t] > scores_[best])
                best = t;
        return best;
    }

    void emit(uint32_t t) {
        order_.push_back(t);
        remaining_.remove(t);
        for (const uint32_t v : triangles_[t].corners) {
            cache_.remove(v);
            cache_.push_front(v);
            auto &left = vertices_[v].triangles;
            *std::find(left.begin(), left.end(), t) = left.back();
            left.pop_back();
            vertices_[v].score_valence();
        }
        size_t k = 0;
        for (const uint32_t v : cache_) {
            vertices_[v].cache_score = score_of_position(k++);
            vertices_[v].score = vertices_[v].cache_score + vertices_[v].valence_score;
        }
    }

    std::span<const triangle_t> triangles_;
    std::vector<float> scores_;
    std::vector<vertex_info_t> vertices_;
    std::list<uint32_t> remaining_;
    std::list<uint32_t> cache_; // the most recent one first
    std::vector<uint32_t> order_;
};

} // namespace

std::vector<uint32_t> literal_vertex_cache_order(std::span<const triangle_t> triangles,
                                                 uint32_t vertex_count) {
    return literal_order_t(triangles, vertex_count).run();
}

} // namespace kestrel
