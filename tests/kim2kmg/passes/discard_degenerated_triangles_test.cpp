#include "tools/conv/kim2kmg/passes/passes.h"

#include "tests/support/captured_messages.h"
#include "tests/support/plain_model.h"
#include "tools/conv/kim2kmg/passes/triangle_area.h"

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

TEST(triangle_area, proper_and_degenerated_triangles) {
    constexpr float nan = std::numeric_limits<float>::quiet_NaN();
    constexpr float infinity = std::numeric_limits<float>::infinity();
    const struct {
        float3_t a, b, c;
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
    for (const auto &each : cases) {
        EXPECT_EQ(has_area(each.a, each.b, each.c), each.proper) << (&each - cases);
        EXPECT_EQ(has_area(each.c, each.b, each.a), each.proper) << (&each - cases);
    }
}

// Vertices 0 to 2 span a triangle, 2 to 4 lie on a line.
static plain_model_t make_model(const std::string &effect) {
    plain_model_t model;
    model.materials = {{"m", effect}};
    plain_piece_t &piece = model.pieces.emplace_back();
    piece.index = 7;
    piece.vertex_count = 5;
    piece.streams = {position_stream({{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {0, 2, 0}, {0, 3, 0}})};
    piece.triangles = {{2, 3, 4}, {0, 1, 2}, {4, 3, 2}, {1, 0, 2}, {3, 3, 3}};
    return model;
}

TEST(discard_degenerated_triangles, keeps_the_others_in_order) {
    const plain_model_t before = make_model("rvk2.dif");
    plain_model_t expected = before;
    expected.pieces[0].triangles = {{0, 1, 2}, {1, 0, 2}};
    const cleaned_t cleaned(before);
    EXPECT_TRUE(cleaned.model == expected);
    EXPECT_EQ(cleaned.messages, "I: [kim2kmg] m.kim: removed 3 degenerated triangles from piece 7\n");

    const cleaned_t again(cleaned.model);
    EXPECT_TRUE(again.model == expected);
    EXPECT_EQ(again.messages, "");
}

TEST(discard_degenerated_triangles, may_leave_none) {
    plain_model_t before = make_model("rvk2.dif");
    before.pieces[0].triangles = {{2, 3, 4}};
    const cleaned_t cleaned(before);
    EXPECT_TRUE(cleaned.model.pieces[0].triangles.empty());
    EXPECT_EQ(cleaned.model.pieces[0].vertex_count, 5u);
    EXPECT_EQ(cleaned.messages, "I: [kim2kmg] m.kim: removed 1 degenerated triangles from piece 7\n");
}

TEST(discard_degenerated_triangles, leaves_foliage_alone) {
    for (const char *effect : {"rvk2.leaves.oak", "rvk2.leaves.", "rvk2.dif.billb.grass"}) {
        plain_model_t before = make_model(effect);
        EXPECT_TRUE(cleaned_t(before).model == before) << effect;
        before.pieces[0].streams[0].tag = "_PLACE";
        EXPECT_EQ(cleaned_t(before).messages, "") << effect;
    }
    for (const char *effect : {"rvk2.leaves", "RVK2.leaves.oak", "rvk2.dif.billb", "x.rvk2.leaves.oak", ""})
        EXPECT_EQ(cleaned_t(make_model(effect)).model.pieces[0].triangles.size(), 2u) << effect;
}

TEST(discard_degenerated_triangles, reports_what_it_cannot_check) {
    const std::string no_positions = "E: [kim2kmg] m.kim: discard_degenerated_triangles could not find a "
                                     "float3 _POSITION stream in piece 7\n";
    plain_model_t before = make_model("rvk2.dif");
    before.pieces[0].streams[0].tag = "_Position";
    EXPECT_EQ(cleaned_t(before).messages, no_positions);
    EXPECT_TRUE(cleaned_t(before).model == before);

    // The first stream of that name counts.
    before = make_model("rvk2.dif");
    plain_stream_t other{"_POSITION", stream_format_t::float1, {}, std::vector<std::string>(5, "abcd")};
    before.pieces[0].streams.insert(before.pieces[0].streams.begin(), other);
    EXPECT_EQ(cleaned_t(before).messages, no_positions);

    owner_list_t owners;
    captured_messages_t captured;
    kim_t &model = build_model(make_model("rvk2.dif"), owners);
    model.pieces[0]->triangles = nullptr;
    discard_degenerated_triangles(model);
    EXPECT_EQ(
        captured.text(),
        "E: [kim2kmg] m.kim: discard_degenerated_triangles could not find a triangle stream in piece 7\n");
}

TEST(discard_degenerated_triangles, keeps_what_names_no_vertex) {
    plain_model_t before = make_model("rvk2.dif");
    before.pieces[0].material = 1; // no such material: not one of the foliage either
    before.pieces[0].triangles = {{5, 5, 5}, {2, 3, 4}, {0xFFFFFFFF, 2, 3}, {2, 3, 5}};
    plain_model_t expected = before;
    expected.pieces[0].triangles = {{5, 5, 5}, {0xFFFFFFFF, 2, 3}, {2, 3, 5}};
    EXPECT_TRUE(cleaned_t(before).model == expected);
}

} // namespace kestrel
