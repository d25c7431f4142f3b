#include "tools/kmg/vertex_cache_statistics.h"

#include <gtest/gtest.h>

namespace kestrel {

static std::vector<uint16_t> strip_of_quads(uint16_t quads) {
    std::vector<uint16_t> indices;
    for (uint16_t i = 0; i < quads; ++i)
        for (const int corner : {0, 1, 2, 2, 1, 3})
            indices.push_back(static_cast<uint16_t>(2 * i + corner));
    return indices;
}

TEST(vertex_cache_statistics, a_strip_transforms_every_vertex_once) {
    for (const auto kind : {vertex_cache_kind_t::fifo, vertex_cache_kind_t::lru}) {
        const auto statistics = measure_vertex_cache(strip_of_quads(100), 202, kind, 16);
        EXPECT_EQ(statistics.transformed, 202u);
        EXPECT_EQ(statistics.acmr(), 202.0 / 200.0);
        EXPECT_EQ(statistics.atvr(), 1.0);
    }
}

TEST(vertex_cache_statistics, a_hit_keeps_a_vertex_only_in_an_lru_cache) {
    // Three entries. FIFO: 3 throws out 0, then 0 throws out 1, then 1 throws out 2. LRU: 3 throws out 2.
    const std::vector<uint32_t> indices{0, 1, 2, 0, 1, 3, 0, 1, 3};
    EXPECT_EQ(measure_vertex_cache(indices, 4, vertex_cache_kind_t::fifo, 3).transformed, 6u);
    EXPECT_EQ(measure_vertex_cache(indices, 4, vertex_cache_kind_t::lru, 3).transformed, 4u);
}

TEST(vertex_cache_statistics, counts_used_vertices_and_survives_the_others) {
    const std::vector<uint32_t> indices{0, 1, 9, 9, 1, 0};
    const auto statistics = measure_vertex_cache(indices, 8, vertex_cache_kind_t::fifo, 16);
    EXPECT_EQ(statistics.vertices, 2u);
    EXPECT_EQ(statistics.transformed, 4u);
    EXPECT_EQ(measure_vertex_cache(std::vector<uint32_t>{}, 8, vertex_cache_kind_t::fifo, 16).acmr(), 0);
}

} // namespace kestrel
