#include "tests/kim2kmg/passes/literal_passes.h"
#include "tests/support/captured_messages.h"
#include "tests/support/random_mesh.h"
#include "tools/conv/kim2kmg/passes/passes.h"

#include <gtest/gtest.h>

namespace kestrel {

static plain_model_t merged(const plain_model_t &plain) {
    captured_messages_t captured;
    owner_list_t owners;
    kim_t &model = build_model(plain, owners);
    merge_part_pieces(model);
    EXPECT_EQ(captured.text(), "");
    return plain_copy(model);
}

// One stream of each layout, with `vertex_count` items that tell where they come from.
static plain_piece_t make_piece(uint32_t number, uint32_t vertex_count, std::vector<plain_stream_t> layouts) {
    plain_piece_t piece;
    piece.index = 100 + number;
    piece.vertex_count = vertex_count;
    for (plain_stream_t &stream : layouts) {
        for (uint32_t v = 0; v < vertex_count; ++v) {
            std::string item(item_size_of(stream.format), static_cast<char>('a' + piece.streams.size()));
            item[0] = static_cast<char>(number);
            item[1] = static_cast<char>(v);
            stream.items.push_back(item);
        }
        piece.streams.push_back(stream);
    }
    return piece;
}

// Pieces of few vertices with streams that hardly differ, or pieces without streams, of any size.
static plain_model_t random_model(uint32_t seed) {
    random_mesh_t random(seed);
    const uint32_t kind = random.below(4);
    const std::vector<plain_stream_t> layouts = {
        {"p", stream_format_t::float3, {}, {}},    {"n", stream_format_t::float3, {}, {}},
        {"p", stream_format_t::float2, {}, {}},    {"n", stream_format_t::float3, {"x"}, {}},
        {"n", stream_format_t::float3, {"y"}, {}}, {"u", stream_format_t::float1, {"x", "y"}, {}},
        {"P", stream_format_t::float3, {}, {}}};
    plain_model_t model;
    const uint32_t count = 1 + random.below(14);
    for (uint32_t i = 0; i < count; ++i) {
        std::vector<plain_stream_t> streams;
        if (kind != 0)
            for (uint32_t s = 1 + random.below(3); s > 0; --s)
                streams.push_back(layouts[random.below(random.one_in(3) ? 7 : 2)]);
        const uint32_t sizes[] = {0, 1, 65535, 65536, 30000, 35535, random.below(70000), random.below(30000)};
        plain_piece_t piece =
            make_piece(i, kind == 0 ? sizes[random.below(8)] : random.below(4), std::move(streams));
        piece.material = random.below(2) * random.below(2);
        for (uint32_t t = random.below(3); t > 0 && piece.vertex_count > 0; --t)
            piece.triangles.push_back({random.below(piece.vertex_count), random.below(piece.vertex_count),
                                       random.one_in(40) ? piece.vertex_count : 0});
        model.pieces.push_back(piece);
        if (kind == 1) {
            plain_skin_t skin;
            if (piece.vertex_count > 0)
                skin = random.skin(piece.vertex_count);
            skin.piece_index = i;
            model.piece_skins.push_back(skin);
        }
    }
    for (uint32_t k = random.below(3); k > 0; --k) {
        plain_part_t part;
        for (uint32_t j = 0; j < count; ++j)
            if (!random.one_in(4))
                part.pieces.push_back(random.one_in(30) ? count + random.below(3) : j);
        part.piece_count = static_cast<uint32_t>(part.pieces.size());
        if (random.one_in(8))
            part.piece_count = random.one_in(2) ? part.piece_count + 5 : random.below(part.piece_count + 1);
        model.parts.push_back(part);
    }
    return model;
}

TEST(merge_part_pieces, does_what_its_steps_say_on_random_models) {
    size_t joins = 0;
    for (uint32_t seed = 0; seed < 20000; ++seed) {
        owner_list_t owners;
        const plain_model_t before = plain_copy(build_model(random_model(seed), owners));
        plain_model_t expected = before;
        literal_merge(expected);
        joins += before.pieces.size() - expected.pieces.size();
        ASSERT_TRUE(merged(before) == expected) << "seed " << seed;
    }
    EXPECT_GT(joins, 20000u); // or the models test less than they should
}

TEST(merge_part_pieces, joined_piece_by_hand) {
    plain_model_t model;
    for (uint32_t i = 0; i < 4; ++i) {
        plain_piece_t piece = make_piece(i, 3 + i, {{"p", stream_format_t::float1, {"x"}, {}}});
        piece.triangles = {{0, 1, 2}, {i, i + 1, i + 2}};
        model.pieces.push_back(piece);
    }
    model.parts = {{3, {0, 2, 1}}, {1, {3}}};
    plain_model_t expected = model;
    expected.parts = {{1, {0}}, {1, {1}}};
    expected.pieces = {model.pieces[0], model.pieces[3]};
    plain_piece_t &joined = expected.pieces[0];
    joined.index = 0;
    joined.vertex_count = 3 + 4 + 5;
    joined.triangles = {{0, 1, 2}, {0, 1, 2}, {3, 4, 5}, {4, 5, 6}, {7, 8, 9}, {9, 10, 11}};
    for (const uint32_t i : {1, 2})
        for (const std::string &item : model.pieces[i].streams[0].items)
            joined.streams[0].items.push_back(item);
    expected.pieces[1].index = 1;
    EXPECT_TRUE(merged(model) == expected);
}

TEST(merge_part_pieces, leaves_a_model_with_a_skin_alone) {
    plain_model_t model;
    model.pieces = {make_piece(0, 3, {}), make_piece(1, 3, {})};
    owner_list_t owners;
    kim_t &built = build_model(model, owners);
    built.skin = owners.create<kim_skin_t>();
    merge_part_pieces(built);
    EXPECT_TRUE(plain_copy(built) == model);
}

} // namespace kestrel
