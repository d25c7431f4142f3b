#include "tools/conv/kim2kmg/optimize_for_vertex_cache.h"

#include "tests/kim2kmg/vertex_cache/literal_vertex_cache.h"
#include "tests/support/captured_messages.h"
#include "tests/support/random_mesh.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace kestrel {

struct optimized_t {
    explicit optimized_t(const plain_model_t &plain, bool verbose = false) {
        captured_messages_t captured;
        owner_list_t owners;
        kim_t &built = build_model(plain, owners);
        optimize_for_vertex_cache(built, verbose);
        model = plain_copy(built);
        lines = captured.lines();
    }

    plain_model_t model;
    std::vector<std::string> lines;
};

TEST(optimize_for_vertex_cache, does_what_its_steps_say_on_random_meshes) {
    uint32_t merges = 0, drops = 0;
    for (uint32_t seed = 0; seed < 6000; ++seed) {
        random_mesh_t random(seed);
        plain_model_t before;
        before.materials = {{"alias", "effect"}};
        const bool skinned = random.one_in(3);
        for (uint32_t p = 1 + random.below(2); p > 0; --p) {
            before.pieces.push_back(random.piece());
            before.pieces.back().material = random.below(2);
            if (skinned)
                before.piece_skins.push_back(random.skin(before.pieces.back().vertex_count));
        }
        const bool verbose = random.one_in(2);
        owner_list_t owners;
        plain_model_t expected = plain_copy(build_model(before, owners)); // with the tables of the skins
        const std::vector<std::string> lines = literal_vertex_cache(expected, verbose);
        const optimized_t optimized(before, verbose);
        ASSERT_TRUE(optimized.model == expected) << "seed " << seed;
        ASSERT_EQ(optimized.lines, lines) << "seed " << seed;
        for (const std::string &line : lines) {
            merges += line.find(", ") != std::string::npos;
            drops += line.find("of triangles") != std::string::npos;
        }
    }
    EXPECT_GT(merges, 1000u); // or the meshes test less than they should
    EXPECT_GT(drops, 1000u);
}

TEST(optimize_for_vertex_cache, does_what_its_steps_say_around_crowded_vertices) {
    for (uint32_t seed = 0; seed < 600; ++seed) {
        random_mesh_t random(seed);
        plain_model_t before;
        plain_piece_t &piece = before.pieces.emplace_back();
        piece.triangles = random.crowded_triangles();
        for (const plain_triangle_t &triangle : piece.triangles)
            piece.vertex_count = std::max(piece.vertex_count, *std::ranges::max_element(triangle) + 1);
        piece.streams.push_back({"numbers", stream_format_t::float1, {}, {}});
        for (uint32_t v = 0; v < piece.vertex_count; ++v)
            piece.streams[0].items.push_back(bytes_of({static_cast<float>(v)}));
        plain_model_t expected = before;
        literal_vertex_cache(expected, false);
        ASSERT_TRUE(optimized_t(before).model == expected) << "seed " << seed;
    }
}

} // namespace kestrel
