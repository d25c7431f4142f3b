#include "tests/support/captured_messages.h"
#include "tests/support/mesh_model.h"
#include "tools/conv/kim2kmg/passes/passes.h"

namespace kestrel {

static mesh_t mesh_of(uint32_t number, uint32_t vertex_count) {
    mesh_t mesh;
    for (uint32_t v = 0; v < vertex_count; ++v)
        mesh.positions.push_back({static_cast<float>(number), static_cast<float>(v), 0});
    mesh.triangles = {{0, 1, 2}, {vertex_count - 3, vertex_count - 2, vertex_count - 1}};
    return mesh;
}

TEST(merge_part_pieces, joined_pieces_by_hand) {
    mesh_model_t meshes({mesh_of(0, 3), mesh_of(1, 4), mesh_of(2, 5), mesh_of(3, 6)});
    meshes.add_part({0, 2, 1});
    meshes.add_part({3});
    merge_part_pieces(meshes.model);
    ASSERT_EQ(meshes.model.pieces.size(), 2u);
    mesh_t joined = mesh_of(0, 3);
    for (const uint32_t i : {1u, 2u})
        for (const auto &position : mesh_of(i, 3 + i).positions)
            joined.positions.push_back(position);
    joined.triangles = {{0, 1, 2}, {0, 1, 2}, {3, 4, 5}, {4, 5, 6}, {7, 8, 9}, {9, 10, 11}};
    EXPECT_EQ(meshes.mesh(0), joined);
    EXPECT_EQ(meshes.mesh(1), mesh_of(3, 6));
    for (const uint32_t i : {0u, 1u}) {
        EXPECT_EQ(meshes.model.pieces[i]->index, i);
        const kix_part_t &part = *meshes.model.parts[i];
        EXPECT_EQ(part.piece_count, 1u);
        ASSERT_EQ(part.pieces.size(), 1u);
        EXPECT_EQ(part.pieces[0], i);
    }
}

TEST(merge_part_pieces, joins_what_is_alike_and_in_one_part) {
    using made_t = mesh_model_t;
    const auto no_streams = [](made_t &made, uint32_t vertices) {
        for (kix_piece_t *piece : made.model.pieces) {
            piece->streams.clear();
            piece->stream_count = 0;
            piece->vertex_count = 3;
        }
        made.model.pieces[1]->vertex_count = vertices;
    };
    const struct {
        const char *what;
        bool joins;
        std::function<void(made_t &)> change;
    } cases[] = {
        {"alike", true, [](made_t &) {}},
        {"in no part", true, [](made_t &m) { m.model.parts.clear(); }},
        {"a part's list beyond its count", false, [](made_t &m) { m.model.parts[0]->piece_count = 1; }},
        {"a part that counts more than it lists", true, [](made_t &m) { m.model.parts[0]->piece_count = 9; }},
        {"another part", false, [](made_t &m) { m.model.parts[0]->pieces.resize(1), m.add_part({1}); }},
        {"another material", false, [](made_t &m) { m.model.pieces[1]->material = 1; }},
        {"streams in another order", true,
         [](made_t &m) { std::swap(m.model.pieces[1]->streams[0], m.model.pieces[1]->streams[1]); }},
        {"a stream less", false, [](made_t &m) { m.model.pieces[1]->streams.pop_back(); }},
        {"a stream more", false, [](made_t &m) { m.model.pieces[0]->streams.pop_back(); }},
        {"another tag", false, [](made_t &m) { m.model.pieces[1]->streams[1]->tag.assign("N"); }},
        {"another format", false,
         [](made_t &m) {
             m.model.pieces[1]->streams[1] =
                 m.make_stream("n", stream_format_t::int1, std::vector<std::byte>(12));
         }},
        {"an alias more", false, [](made_t &m) { m.model.pieces[1]->streams[1]->aliases.emplace_back("x"); }},
        {"an alias less", false, [](made_t &m) { m.model.pieces[0]->streams[1]->aliases.emplace_back("x"); }},
        {"another alias", false,
         [](made_t &m) {
             m.model.pieces[0]->streams[1]->aliases.emplace_back("x"),
                 m.model.pieces[1]->streams[1]->aliases.emplace_back("y");
         }},
        {"a corner beyond the first", false,
         [](made_t &m) { m.model.pieces[0]->triangles->items_as<triangle_t>()[0].corners[2] = 3; }},
        {"a corner beyond the second", false,
         [](made_t &m) { m.model.pieces[1]->triangles->items_as<triangle_t>()[1].corners[0] = 3; }},
        {"as many vertices as 16 bits can name", true, [&](made_t &m) { no_streams(m, 65532); }},
        {"one more", false, [&](made_t &m) { no_streams(m, 65533); }},
        {"a skin of the whole model", false, [](made_t &m) { m.model.skin = m.owners.create<kim_skin_t>(); }},
    };
    for (const auto &[what, joins, change] : cases) {
        const captured_messages_t captured;
        made_t made({mesh_of(0, 3), mesh_of(1, 3)});
        for (kix_piece_t *piece : made.model.pieces)
            made.add_stream(*piece,
                            made.make_stream("n", stream_format_t::float1, std::vector<std::byte>(12)));
        made.add_part({0, 1});
        change(made);
        merge_part_pieces(made.model);
        EXPECT_EQ(made.model.pieces.size(), joins ? 1u : 2u) << what;
        EXPECT_EQ(made.model.pieces[0]->triangle_count, joins ? 4u : 2u) << what;
        EXPECT_EQ(captured.text(), "") << what;
    }
}

} // namespace kestrel
