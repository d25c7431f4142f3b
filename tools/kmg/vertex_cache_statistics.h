#pragma once

// How well a triangle list uses a cache of transformed vertices, by playing it through one.
//
//   ACMR  transformed vertices per triangle (average cache miss ratio): 0.5 at best on a large closed mesh, 3
//         at worst
//   ATVR  transformed vertices per vertex (average transform to vertex ratio): 1 at best
//
// FIFO is what is usually modelled: a hit changes nothing. In an LRU cache a hit vertex becomes the youngest.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace kestrel {

// The numbers of entries that are reported.
inline constexpr size_t vertex_cache_sizes[] = {16, 32};

enum class vertex_cache_kind_t : uint8_t { fifo, lru };

class vertex_cache_t {
  public:
    vertex_cache_t(vertex_cache_kind_t kind, size_t entries) : kind_(kind), entries_(entries, empty) {}

    // Gives whether the vertex had to be transformed.
    bool use(uint32_t vertex) {
        const auto found = std::find(entries_.begin(), entries_.end(), uint64_t{vertex});
        const bool missed = found == entries_.end();
        if (kind_ == vertex_cache_kind_t::lru) {
            const auto freed = missed ? entries_.end() - 1 : found;
            *freed = vertex;
            std::rotate(entries_.begin(), freed, freed + 1);
        } else if (missed) {
            entries_[oldest_] = vertex;
            oldest_ = (oldest_ + 1) % entries_.size();
        }
        return missed;
    }

  private:
    static constexpr uint64_t empty = UINT64_MAX;

    vertex_cache_kind_t kind_;
    std::vector<uint64_t> entries_; // fifo: a ring; lru: the youngest first
    size_t oldest_ = 0;             // fifo
};

struct vertex_cache_statistics_t {
    size_t triangles = 0;
    size_t vertices = 0; // that triangles use
    size_t transformed = 0;

    double acmr() const { return ratio(triangles); }
    double atvr() const { return ratio(vertices); }

  private:
    // 0 for no triangles at all.
    double ratio(size_t divisor) const {
        return divisor == 0 ? 0 : static_cast<double>(transformed) / static_cast<double>(divisor);
    }
};

// `indices` is any range of vertex numbers, three per triangle; a number at or above `vertex_count` counts as
// a vertex that no cache ever holds.
template <class I>
vertex_cache_statistics_t measure_vertex_cache(const I &indices, size_t vertex_count,
                                               vertex_cache_kind_t kind, size_t entries) {
    vertex_cache_statistics_t result;
    vertex_cache_t cache(kind, entries);
    std::vector<bool> used(vertex_count);
    for (const auto vertex : indices) {
        const bool known = vertex < vertex_count;
        result.transformed += !known || cache.use(vertex);
        if (known && !used[vertex]) {
            used[vertex] = true;
            ++result.vertices;
        }
    }
    result.triangles = indices.size() / 3;
    return result;
}

} // namespace kestrel
