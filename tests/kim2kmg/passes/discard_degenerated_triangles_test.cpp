#include "tests/support/captured_messages.h"
#include "tests/support/plain_model.h"
#include "tools/conv/kim2kmg/passes/passes.h"

#include <gtest/gtest.h>

#include <limits>

namespace kestrel {

struct cleaned_t {
    explicit cleaned_t(const plain_model_t &plain) {
        captured_messages_t captured;
        owner_list_t owners;
        kim_t &built = build_model(plain, owners);
        discard_degenerated_triangles(built);
        model = plain_copy(built);
        for (const kix_piece_t *piece : built.pieces)
            EXPECT_EQ(piece->triangles->capacity(), piece->triangle_count);
        messages = captured.text();
    }

    plain_model_t model;
    std::string messages;
};

TEST(discard_degenerated_triangles, tolerance) {
    constexpr float nan = std::numeric_limits<float>::quiet_NaN();
    constexpr float infinity = std::numeric_limits<float>::infinity();
    const struct {
        std::array<float, 3> a, b, c;
        bool proper;
    } cases[] = {
        {{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, true},
        {{0, 0, 0}, {0, 0, 3}, {0, 4, 0}, true},
        {{0, 0, 0}, {1, 0, 0}, {2, 0, 0}, false}, // on one line, each corner in the middle once
        {{1, 0, 0}, {2, 0, 0}, {0, 0, 0}, false},
        {{2, 0, 0}, {0, 0, 0}, {1, 0, 0}, false},
        {{5, 5, 5}, {5, 5, 5}, {5, 5, 5}, false},
        {{0, 0, 0}, {0, 0, 0}, {1, 0, 0}, false},
        // The tolerance is absolute: a right triangle has half its circumference beyond its longest side by
        // (1 + 1 - sqrt 2) / 2 = 0.29 times its short ones.
        {{0, 0, 0}, {1e-5f, 0, 0}, {0, 1e-5f, 0}, false},
        {{0, 0, 0}, {3e-5f, 0, 0}, {0, 3e-5f, 0}, false}, // 0.88e-5
        {{0, 0, 0}, {4e-5f, 0, 0}, {0, 4e-5f, 0}, true},  // 1.17e-5
        {{0, 0, 0}, {1, 0, 0}, {nan, 1, 0}, false},
        {{0, 0, 0}, {1, 0, 0}, {0, infinity, 0}, false},  // infinity less infinity
        {{0, 0, 0}, {1e30f, 0, 0}, {0, 1e30f, 0}, false}, // the squares overflow
    };
    for (const auto &[a, b, c, proper] : cases)
        for (const plain_triangle_t &triangle : {plain_triangle_t{0, 1, 2}, {2, 1, 0}})
            EXPECT_EQ(cleaned_t(one_piece_model({a, b, c}, {triangle})).model.pieces[0].triangles.size(),
                      proper)
                << a[0] << ' ' << b[0] << ' ' << c[0];
}

// Vertices 0 to 2 span a triangle, 2 to 4 lie on a line.
static const plain_model_t mixed =
    one_piece_model({{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {0, 2, 0}, {0, 3, 0}},
                    {{2, 3, 4}, {0, 1, 2}, {5, 5, 5}, {4, 3, 2}, {0xFFFFFFFF, 2, 3}, {1, 0, 2}, {3, 3, 3}});

TEST(discard_degenerated_triangles, keeps_the_others_and_what_names_no_vertex_in_order) {
    plain_model_t expected = mixed;
    expected.pieces[0].triangles = {{0, 1, 2}, {5, 5, 5}, {0xFFFFFFFF, 2, 3}, {1, 0, 2}};
    const cleaned_t cleaned(mixed), again(cleaned.model);
    EXPECT_TRUE(cleaned.model == expected);
    EXPECT_EQ(cleaned.messages, "I: [kim2kmg] m.kim: removed 3 degenerated triangles from piece 7\n");
    EXPECT_TRUE(again.model == expected);
    EXPECT_EQ(again.messages, "");
}

TEST(discard_degenerated_triangles, leaves_foliage_alone_and_reports_what_it_cannot_check) {
    plain_model_t model = mixed;
    for (const char *effect : {"rvk2.leaves.oak", "rvk2.leaves.", "rvk2.dif.billb.grass"}) {
        model.materials[0].second = effect;
        model.pieces[0].streams[0].tag = "_POSITION";
        EXPECT_TRUE(cleaned_t(model).model == model) << effect;
        model.pieces[0].streams[0].tag = "_Position";
        EXPECT_EQ(cleaned_t(model).messages, "") << effect;
    }
    const std::string no_positions = "E: [kim2kmg] m.kim: discard_degenerated_triangles could not find a "
                                     "float3 _POSITION stream in piece 7\n";
    for (const char *effect : {"rvk2.leaves", "RVK2.leaves.oak", "rvk2.dif.billb", "x.rvk2.leaves.oak", ""}) {
        model.materials[0].second = effect;
        EXPECT_EQ(cleaned_t(model).messages, no_positions) << effect;
    }
    model.pieces[0].material = 1; // no such material: not one of the foliage either
    EXPECT_EQ(cleaned_t(model).messages, no_positions);
    EXPECT_TRUE(cleaned_t(model).model == model);
    // The first stream of that name counts.
    model = mixed;
    model.pieces[0].streams.insert(
        model.pieces[0].streams.begin(),
        {"_POSITION", stream_format_t::float1, {}, std::vector<std::string>(5, "abcd")});
    EXPECT_EQ(cleaned_t(model).messages, no_positions);

    owner_list_t owners;
    captured_messages_t captured;
    kim_t &built = build_model(mixed, owners);
    built.pieces[0]->triangles = nullptr;
    discard_degenerated_triangles(built);
    EXPECT_EQ(
        captured.text(),
        "E: [kim2kmg] m.kim: discard_degenerated_triangles could not find a triangle stream in piece 7\n");
}

} // namespace kestrel
