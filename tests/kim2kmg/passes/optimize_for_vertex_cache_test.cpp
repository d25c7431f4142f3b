#include "tests/kim2kmg/passes/literal_passes.h"
#include "tests/support/captured_messages.h"
#include "tests/support/random_mesh.h"
#include "tools/conv/intermediate/parse_file.h"
#include "tools/conv/kim2kmg/passes/passes.h"
#include "tools/conv/kim2kmg/passes/vertex_cache_order.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>

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
    for (uint32_t seed = 0; seed < 4000; ++seed) {
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

// Grouping the triangles of hubs, giving that up before or in the middle of the work, and never doing so must
// all give the same order. Calling vertices of a few triangles hubs shows it on small meshes.
TEST(vertex_cache_order, does_not_depend_on_grouping) {
    for (uint32_t seed = 0; seed < 400; ++seed) {
        random_mesh_t random(seed);
        plain_model_t model;
        plain_piece_t &piece = model.pieces.emplace_back();
        std::vector<triangle_t> triangles;
        for (const auto &[a, b, c] : random.one_in(2) ? random.triangles() : random.hub_triangles()) {
            piece.vertex_count = std::max({piece.vertex_count, a + 1, b + 1, c + 1});
            if (a != b && b != c && c != a) {
                piece.triangles.push_back({a, b, c});
                triangles.push_back({{a, b, c}});
            }
        }
        piece.streams.push_back({"numbers", stream_format_t::float1, {}, {}});
        for (uint32_t v = 0; v < piece.vertex_count; ++v)
            piece.streams[0].items.push_back(bytes_of({static_cast<float>(v)}));
        plain_model_t expected = model;
        literal_vertex_cache(expected, false);
        ASSERT_TRUE(optimized_t(model).model == expected) << "seed " << seed;

        std::vector<uint32_t> order;
        // The larger the groups must be, the earlier they are given up.
        for (const uint32_t group_size : {1000u, 0u, 1u, 2u, 3u, 4u, 5u, 6u, 8u})
            for (const uint32_t use_count : {65u, 2u, 5u, 10u}) {
                vertex_cache_order_t cache_order({use_count, group_size});
                const auto numbers = cache_order.run(triangles, piece.vertex_count);
                if (order.empty())
                    order.assign(numbers.begin(), numbers.end());
                ASSERT_TRUE(std::ranges::equal(order, numbers))
                    << "seed " << seed << ", hubs from " << use_count << ", groups of " << group_size;
            }
    }
}

// Literally the same, and as good as it is meant to be: vertices that an LRU cache of 32 has to transform.
TEST(optimize_for_vertex_cache, sample_models) {
    const auto count_transformed = [](const plain_piece_t &piece) {
        std::vector<uint32_t> cache; // the most recent one last
        size_t transformed = 0;
        for (const plain_triangle_t &triangle : piece.triangles)
            for (const uint32_t corner : triangle) {
                transformed += std::erase(cache, corner) == 0;
                cache.push_back(corner);
                if (cache.size() > 32)
                    cache.erase(cache.begin());
            }
        return transformed;
    };
    size_t pieces = 0;
    for (const auto &entry : std::filesystem::recursive_directory_iterator(KIM2KMG_SAMPLES)) {
        if (entry.path().extension() != ".kim")
            continue;
        captured_messages_t captured;
        owner_list_t owners;
        std::ifstream file(entry.path(), std::ios::binary);
        const std::string text(std::istreambuf_iterator<char>(file), {});
        kim_t *const model = parse_model_text(text, "sample", owners);
        ASSERT_TRUE(model) << captured.text();
        const plain_model_t before = plain_copy(*model);
        plain_model_t expected = before;
        if (!model->skin)
            literal_vertex_cache(expected, false);
        optimize_for_vertex_cache(*model, false);
        const plain_model_t after = plain_copy(*model);
        EXPECT_TRUE(after == expected) << entry.path();
        for (size_t p = 0; p < after.pieces.size(); ++p, ++pieces)
            EXPECT_LE(count_transformed(after.pieces[p]), count_transformed(before.pieces[p]))
                << entry.path();
    }
    EXPECT_GE(pieces, 8u);
}

TEST(optimize_for_vertex_cache, merged_and_dropped_by_hand) {
    // Vertices 1, 3 and 6 are the same, and so are 2 and 5; vertex 7 is not used, 0 equals 7 but for the sign
    // of a zero.
    const plain_model_t before = one_piece_model(
        {{0.0f, 0, 0}, {1, 0, 0}, {0, 1.5f, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1.5f, 0}, {1, 0, 0}, {-0.0f, 0, 0}},
        {{1, 6, 4}, {3, 4, 5}, {0, 1, 2}});
    const optimized_t optimized(before, true);
    // The first of two triangles that score the same comes first, as it was written.
    EXPECT_EQ(optimized.model.pieces[0].triangles, (std::vector<plain_triangle_t>{{0, 1, 2}, {3, 0, 2}}));
    EXPECT_EQ(optimized.model.pieces[0].streams[0],
              position_stream({{1, 0, 0}, {1, 1, 0}, {0, 1.5f, 0}, {0.0f, 0, 0}}));
    EXPECT_EQ(optimized.lines,
              (std::vector<std::string>{
                  "I: [kim2kmg] m.kim: reduced number of vertices by 4 from 8 to 4 in piece 0 using material "
                  "'paint' with effect 'rvk2.dif'",
                  "I: [kim2kmg] m.kim:    1.000000, 0.000000, 0.000000",
                  "I: [kim2kmg] m.kim:    0.000000, 1.500000, 0.000000",
                  "I: [kim2kmg] m.kim: reduced number of triangles from 3 to 2 in piece 0 using material "
                  "'paint' with effect 'rvk2.dif'"}));
    EXPECT_EQ(optimized_t(before).lines.size(), 2u);
}

TEST(optimize_for_vertex_cache, leaves_alone_what_is_not_for_it) {
    const std::vector<std::array<float, 3>> same(4, {0, 0, 0});
    std::vector<plain_model_t> models = {
        one_piece_model(same, {}),                     // no triangles
        one_piece_model({}, {{0, 0, 0}}),              // no vertices
        one_piece_model(same, {{0, 1, 2}, {1, 2, 4}}), // a corner beyond the vertices
        one_piece_model(same, {{0xFFFFFFFF, 1, 2}}),   //
        one_piece_model(same, {{0, 1, 2}}),            // made to have no streams
        one_piece_model(same, {{0, 1, 2}}),            // made to have a piece skin of fewer vertices
        one_piece_model(same, {{0, 1, 2}}),            // made to have a skin of its own
    };
    models[4].pieces[0].streams.clear();
    models[5].piece_skins.emplace_back().items = {{{}, {{0, 1.0f}}, {0, 1, 2}}};
    for (const plain_model_t &model : models) {
        owner_list_t owners;
        captured_messages_t captured;
        kim_t &built = build_model(model, owners);
        if (&model == &models.back())
            built.skin = owners.create<kim_skin_t>();
        const plain_model_t before = plain_copy(built);
        optimize_for_vertex_cache(built, true);
        EXPECT_TRUE(plain_copy(built) == before) << (&model - models.data());
        EXPECT_EQ(captured.text(), "") << (&model - models.data());
    }
}

} // namespace kestrel
