#include "tools/conv/kim2kmg/passes/passes.h"

#include "tests/kim2kmg/passes/literal_vertex_cache.h"
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

// A piece whose vertices lie at these positions.
static plain_model_t make_model(const std::vector<std::array<float, 3>> &positions,
                                const std::vector<plain_triangle_t> &triangles) {
    plain_model_t model;
    model.materials = {{"paint", "rvk2.dif"}};
    plain_piece_t &piece = model.pieces.emplace_back();
    piece.index = 9; // lines name the position instead
    piece.vertex_count = static_cast<uint32_t>(positions.size());
    piece.streams = {position_stream(positions)};
    piece.triangles = triangles;
    return model;
}

TEST(optimize_for_vertex_cache, merged_and_dropped_by_hand) {
    // Vertices 1, 3 and 6 are the same, and so are 2 and 5; vertex 7 is not used, 0 equals 7 but for the sign
    // of a zero.
    const plain_model_t before = make_model(
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

TEST(optimize_for_vertex_cache, weights_decide_whether_vertices_are_the_same) {
    // Five vertices in one place, each once a corner of its own triangle.
    std::vector<std::array<float, 3>> positions(5, {0, 0, 0});
    std::vector<plain_triangle_t> triangles;
    for (uint32_t v = 0; v < 5; ++v) {
        triangles.push_back({v, 5 + 2 * v, 6 + 2 * v});
        positions.push_back({1, static_cast<float>(v), 0});
        positions.push_back({2, static_cast<float>(v), 0});
    }
    plain_model_t model = make_model(positions, triangles);
    plain_skin_t skin;
    skin.items = {{{}, {{1, 0.5f}, {2, 0.5f}}, {0, 1}}, // 0 and 1 share an item
                  {{}, {{1, 0.5f}, {2, 0.5f}}, {2}},    // equal weights elsewhere
                  {{}, {{2, 0.5f}, {1, 0.5f}}, {3}},    // in another order
                  {{}, {{1, 0.5f}}, {4}},               // fewer
                  {{}, {{3, 1.0f}}, {5, 6, 7, 8, 9, 10, 11, 12, 13, 14}}};
    model.piece_skins = {skin};
    const plain_model_t result = optimized_t(model).model;
    EXPECT_EQ(result.pieces[0].vertex_count, 13u); // 1 and 2 went into 0
    const auto &items = result.piece_skins[0].items;
    ASSERT_EQ(items.size(), 4u); // the one of vertex 2 skins nothing any more
    EXPECT_EQ(items[0].vertices.size(), 1u);
    EXPECT_EQ(items[1].weights, skin.items[2].weights);
    EXPECT_EQ(items[2].weights, skin.items[3].weights);
    EXPECT_EQ(items[3].vertices.size(), 10u);
    EXPECT_TRUE(result.piece_skins[0].vertex_items.empty());
}

TEST(optimize_for_vertex_cache, leaves_alone_what_is_not_for_it) {
    const std::vector<std::array<float, 3>> same(4, {0, 0, 0});
    std::vector<plain_model_t> models = {
        make_model(same, {}),                     // no triangles
        make_model({}, {{0, 0, 0}}),              // no vertices
        make_model(same, {{0, 1, 2}, {1, 2, 4}}), // a corner beyond the vertices
        make_model(same, {{0xFFFFFFFF, 1, 2}}),   //
        make_model(same, {{0, 1, 2}}),            // made to have no streams
        make_model(same, {{0, 1, 2}}),            // made to have a skin of fewer vertices
    };
    models[4].pieces[0].streams.clear();
    models[5].piece_skins.emplace_back().items = {{{}, {{0, 1.0f}}, {0, 1, 2}}};
    for (const plain_model_t &model : models) {
        owner_list_t owners;
        captured_messages_t captured;
        kim_t &built = build_model(model, owners);
        const plain_model_t before = plain_copy(built);
        optimize_for_vertex_cache(built, true);
        EXPECT_TRUE(plain_copy(built) == before) << (&model - models.data());
        EXPECT_EQ(captured.text(), "") << (&model - models.data());
    }

    plain_model_t model = make_model(same, {{0, 1, 2}});
    owner_list_t owners;
    kim_t &built = build_model(model, owners);
    built.skin = owners.create<kim_skin_t>();
    optimize_for_vertex_cache(built, true);
    EXPECT_TRUE(plain_copy(built) == model);
}

// Meshes that would take minutes if anything went through all vertices or triangles again and again.
TEST(optimize_for_vertex_cache, large_meshes_of_one_kind) {
    constexpr uint32_t count = 200000;
    const auto distinct = [](uint32_t vertices) {
        std::vector<std::array<float, 3>> positions;
        for (uint32_t v = 0; v < vertices; ++v)
            positions.push_back({static_cast<float>(v), 0, 0});
        return positions;
    };
    std::vector<plain_triangle_t> loose, fan, wings, repeated;
    for (uint32_t t = 0; t < count; ++t) {
        loose.push_back({3 * t, 3 * t + 1, 3 * t + 2});
        fan.push_back({0, t + 1, t + 2});
        wings.push_back({2 * t + 1, 0, 2 * t + 2});
        repeated.push_back({0, 1, 2});
    }
    const struct {
        uint32_t vertex_count;
        const std::vector<plain_triangle_t> &triangles;
    } cases[] = {{3 * count, loose}, {count + 2, fan}, {2 * count + 1, wings}, {3, repeated}};
    for (const auto &each : cases) {
        const plain_piece_t piece =
            optimized_t(make_model(distinct(each.vertex_count), each.triangles)).model.pieces[0];
        EXPECT_EQ(piece.vertex_count, each.vertex_count) << (&each - cases);
        EXPECT_EQ(piece.triangles.size(), count) << (&each - cases);
    }

    // All vertices in one place; then two and two, each pair a position to list.
    std::vector<std::array<float, 3>> positions(3 * count, {1, 2, 3});
    EXPECT_EQ(optimized_t(make_model(positions, loose)).model.pieces[0].vertex_count, 0u);
    for (uint32_t v = 0; v < 3 * count; ++v)
        positions[v][0] = static_cast<float>(v / 6 * 3 + v % 3);
    const optimized_t pairs(make_model(positions, loose), true);
    EXPECT_EQ(pairs.model.pieces[0].vertex_count, 3 * count / 2);
    EXPECT_EQ(pairs.lines.size(), 1u + 3 * count / 2);
}

} // namespace kestrel
