// Packing of colours and factors, UV channels, bounds, and what becomes of a model that is moved from.

#include "kcore/kutils/ufs/mem_file.h"
#include "tests/support/parsed_text.h"
#include "tools/conv/kim2kmg/writer/bounds.h"
#include "tools/conv/kim2kmg/writer/kmg_writer.h"
#include "tools/conv/kim2kmg/writer/uv_channels.h"
#include "tools/conv/kim2kmg/writer/vertex_packing.h"

#include <gtest/gtest.h>

#include <limits>
#include <random>
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

// A piece with streams of these tags and aliases.
struct tagged_piece_t {
    explicit tagged_piece_t(const std::vector<std::vector<std::string>> &tags) {
        for (const auto &names : tags) {
            kix_stream_t *stream = owners.create<kix_stream_t>();
            stream->tag.assign(names[0]);
            for (size_t i = 1; i < names.size(); ++i)
                stream->aliases.emplace_back(std::string_view(names[i]));
            piece.streams.push_back(stream);
        }
    }
    owner_list_t owners;
    kix_piece_t piece;
};

TEST(uv_channels, which_slots_they_feed) {
    const struct {
        std::vector<std::vector<std::string>> tags;
        uint32_t count;
        uint32_t slot_map;
    } cases[] = {
        {{}, 0, 0xFFFFFFFF},
        {{{"_UV1"}}, 0, 0xFFFFFFFF},
        {{{"_uv0"}}, 0, 0xFFFFFFFF},
        {{{"_UV0"}, {"_UV2"}}, 1, 0xFFFFFFF0},
        {{{"_UV1"}, {"_UV0"}}, 2, 0xFFFFFF10},
        {{{"_UV0", "_TEXCOORD2"}}, 1, 0xFFFFF0FF},
        {{{"_UV0", "_TEXCOORD0", "_TEXCOORD1"}}, 1, 0xFFFFFF00},
        {{{"_UV0", "_UV7", "_TEXCOORD7"}}, 1, 0x0FFFFFFF},
        {{{"_UV0", "nothing"}}, 1, 0xFFFFFFFF},
        // Later channels win.
        {{{"_UV0", "_TEXCOORD1"}, {"_UV1"}}, 2, 0xFFFFFF1F},
        {{{"_UV7"}, {"_UV6"}, {"_UV5"}, {"_UV4"}, {"_UV3"}, {"_UV2"}, {"_UV1"}, {"_UV0"}, {"_UV8"}},
         8,
         0x76543210},
    };
    for (const auto &each : cases) {
        const tagged_piece_t tagged(each.tags);
        const uv_channels_t channels = find_uv_channels(tagged.piece);
        EXPECT_EQ(channels.count, each.count);
        EXPECT_EQ(channels.slot_map, each.slot_map) << std::hex << channels.slot_map;
    }
}

TEST(bounds, spheres_grow_and_hold_every_point) {
    bounds_t bounds;
    EXPECT_EQ(bounds.sphere().radius, 0.0f);
    EXPECT_EQ(bounds.box().minimum[0], 3.4028235e38f);
    EXPECT_EQ(bounds.box().maximum[2], -3.4028235e38f);
    bounds.add(std::vector<float3_t>{{0, 0, 0}, {2, 0, 0}, {1, 0, 0}});
    EXPECT_EQ(bounds.sphere().centre, (kmg_float3_t{1, 0, 0}));
    EXPECT_EQ(bounds.sphere().radius, 1.0f);

    std::mt19937 random(5);
    std::normal_distribution<float> coordinate(3.0f, 10.0f);
    std::vector<float3_t> points(1000);
    for (float3_t &point : points)
        point = {coordinate(random), coordinate(random), coordinate(random)};
    bounds_t grown;
    grown.add(points);
    const auto &[c, r] = grown.sphere();
    for (const float3_t &point : points) {
        const double distance = std::hypot(point.x - c[0], point.y - c[1], point.z - c[2]);
        EXPECT_LE(distance, r * 1.0001);
        EXPECT_LE(grown.box().minimum[1], point.y);
        EXPECT_GE(grown.box().maximum[1], point.y);
    }
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
