// Packing of colours and factors, and what becomes of a model that is moved from.

#include "kcore/kutils/ufs/mem_file.h"
#include "tests/support/parsed_text.h"
#include "tools/conv/kim2kmg/writer/kmg_writer.h"
#include "tools/conv/kim2kmg/writer/vertex_packing.h"

#include <gtest/gtest.h>

#include <limits>
#include <vector>

namespace kestrel {

namespace {

TEST(vertex_packing, colours_and_factors_at_their_edges) {
    constexpr float infinity = std::numeric_limits<float>::infinity();
    constexpr float nan = std::numeric_limits<float>::quiet_NaN();
    const struct {
        float value;
        uint8_t unit;
        uint8_t factor;
    } cases[] = {
        {0.0f, 0, 0},
        {1.0f, 255, 1},
        {0.5f, 128, 0},
        {std::nextafter(0.5f, 0.0f), 127, 0},
        {0.49f, 125, 0},
        {-1.0f, 0, 255},
        {2.5f, 255, 2},
        {infinity, 255, 0},
        {-infinity, 0, 0},
        {nan, 0, 0},
        {3.9f, 255, 3},
        {-3.9f, 0, 253},
        {256.0f, 255, 0},
        {511.5f, 255, 255},
        {2147483648.0f, 255, 0},
        {-2147483648.0f, 0, 0},
        {1.0f / 510.0f, 1, 0}, // 0.5 + 0.5 rounds up
    };
    for (const auto &each : cases) {
        EXPECT_EQ(pack_unit(each.value), each.unit) << each.value;
        EXPECT_EQ(pack_factor(each.value), each.factor) << each.value;
    }
    EXPECT_EQ(pack_colour({1.0f, 0.5f, 0.0f, 1.0f}), (std::array<uint8_t, 4>{128, 64, 0, 255}));
    EXPECT_EQ(pack_colour({0.998f, 2.5f, -1.0f, 0.49f}), (std::array<uint8_t, 4>{127, 255, 0, 125}));
}

// Three pieces, of which the second is written twice and the third never.
TEST(kmg_write, a_model_that_is_moved_from_gives_the_same_file) {
    std::string text = one_triangle_model;
    const size_t begin = text.find("Piece {"), end = text.find("Part {");
    const std::string piece = text.substr(begin, end - begin);
    text.insert(end, edited(piece, "1 ( 1.0 0.0 0.0 )", "1 ( 5.0 0.0 0.0 )") + piece);
    text = edited(text, "VertexCount: 3\n\tTriangleCount: 1", "VertexCount: 9\n\tTriangleCount: 3");
    text = edited(text, "PieceCount: 1", "PieceCount: 3");
    for (const char *list : {"Pieces: 1 0 1", "Pieces: 1 0 2"}) {
        const parsed_model_t parsed(edited(text, "Pieces: 0", list));
        ASSERT_TRUE(parsed.root) << parsed.messages;
        mem_file_t kept, spent;
        EXPECT_TRUE(kmg_write(*parsed.root, nullptr, false, kept));
        EXPECT_TRUE(kmg_write(std::move(*parsed.root), nullptr, false, spent));
        std::vector<std::byte> a(kept.get_size()), b(spent.get_size());
        EXPECT_TRUE(kept.read_at(a, 0) && spent.read_at(b, 0));
        EXPECT_EQ(a, b) << list;
    }
}

} // namespace

} // namespace kestrel
