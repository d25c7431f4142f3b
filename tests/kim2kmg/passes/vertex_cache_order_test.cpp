#include "tools/conv/kim2kmg/passes/vertex_cache_order.h"

#include "tests/support/random_mesh.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>

namespace kestrel {

struct ordered_t {
    // Leaves collapsed triangles out, as the pass does.
    ordered_t(const std::vector<plain_triangle_t> &plain, const grouping_t &crowding) {
        std::vector<triangle_t> triangles;
        uint32_t vertex_count = 0;
        for (const auto &[a, b, c] : plain) {
            vertex_count = std::max({vertex_count, a + 1, b + 1, c + 1});
            if (a != b && b != c && c != a)
                triangles.push_back({{a, b, c}});
        }
        vertex_cache_order_t cache_order(crowding);
        const auto numbers = cache_order.run(triangles, vertex_count);
        order.assign(numbers.begin(), numbers.end());
    }

    std::vector<uint32_t> order;
};

// Grouping the triangles of crowded vertices, giving that up before or in the middle of the work, and never
// doing so must all give the same order. Calling vertices of a few triangles crowded shows it on small
// meshes.
TEST(vertex_cache_order, does_not_depend_on_grouping) {
    const grouping_t never{std::numeric_limits<uint32_t>::max(), 1};
    for (uint32_t seed = 0; seed < 250; ++seed) {
        random_mesh_t random(seed);
        const auto triangles = random.one_in(2) ? random.triangles() : random.crowded_triangles();
        const std::vector<uint32_t> expected = ordered_t(triangles, never).order;
        // The larger the groups must be, the earlier they are given up.
        for (const uint32_t group_size : {0u, 1u, 2u, 3u, 4u, 5u, 6u, 8u})
            for (const uint32_t use_count : {2u, 5u, 10u})
                ASSERT_EQ(ordered_t(triangles, {use_count, group_size}).order, expected)
                    << "seed " << seed << ", crowded from " << use_count << ", groups of " << group_size;
    }
}

} // namespace kestrel
