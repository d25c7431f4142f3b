#include "tools/gltf/gltf_import.h"

#include "tests/gltf/gltf_builder.h"
#include "tools/gltf/gltf_names.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace kestrel {

namespace {

using json_t = nlohmann::json;
using testing::ElementsAre;
using testing::HasSubstr;
using floats3_t = std::vector<kmg_float3_t>;
using triangles_t = std::vector<triangle_corners_t>;

imported_model_t import(const std::string &file, const gltf_import_options_t &options = {}) {
    const auto source = read_gltf(std::as_bytes(std::span(file)), [](const std::string &name) {
        if (name != "all zeros.bin")
            gltf_fail(name, " is not there");
        return std::vector<std::byte>(1000);
    });
    return import_gltf(source, options);
}
imported_model_t import(gltf_builder_t gltf, const gltf_import_options_t &options = {}) {
    return import(gltf.glb(), options);
}

std::string failure_of(const std::string &file) {
    try {
        import(file);
        return "";
    } catch (const gltf_error_t &error) {
        return error.what();
    }
}

json_t &attributes(gltf_builder_t &gltf, size_t mesh = 0) {
    return gltf["meshes"][mesh]["primitives"][0]["attributes"];
}

bool has_note(const imported_model_t &model, const std::string &text) {
    return std::any_of(model.notes.begin(), model.notes.end(),
                       [&](const std::string &note) { return note.find(text) != std::string::npos; });
}

} // namespace

TEST(gltf_import, meshes_are_baked_where_each_node_has_them) {
    gltf_builder_t gltf = one_triangle();
    attributes(gltf)["TANGENT"] = gltf.accessor<float>("VEC4", {1, 0, 0, 1, 1, 0, 0, 1, 1, 0, 0, 1});
    // Below a node that mirrors x and stretches y: the triangle turns round, the tangent's sign with it.
    gltf["nodes"] = json_t::parse(R"([{"mesh": 0, "name": "plain"},
        {"name": "group", "scale": [-1, 2, 1], "translation": [10, 0, 0], "children": [2]},
        {"mesh": 0, "name": "mirrored"},
        {"mesh": 0, "name": "turned", "matrix": [0,0,-1,0, 0,1,0,0, 1,0,0,0, 0,0,5,1]}])");
    const imported_model_t model = import(gltf);
    ASSERT_EQ(model.pieces.size(), 3u);
    EXPECT_EQ(model.pieces[0].positions, (floats3_t{{0, 0, 0}, {2, 0, 0}, {0, 3, 0}}));
    EXPECT_EQ(model.pieces[1].positions, (floats3_t{{10, 0, 0}, {8, 0, 0}, {10, 6, 0}}));
    EXPECT_EQ(model.pieces[1].triangles, (triangles_t{{0, 2, 1}}));
    EXPECT_EQ(model.pieces[1].normals[0], (kmg_float3_t{0, 0, 1}));
    EXPECT_EQ(model.pieces[1].tangents[0], (kmg_float4_t{-1, 0, 0, -1}));
    // A quarter turn about y: x becomes -z.
    EXPECT_EQ(model.pieces[2].positions, (floats3_t{{0, 0, 5}, {0, 0, 3}, {0, 3, 5}}));
    EXPECT_EQ(model.pieces[2].normals[0], (kmg_float3_t{1, 0, 0}));
    EXPECT_EQ(model.pieces[2].triangles, (triangles_t{{0, 1, 2}}));
    EXPECT_EQ(model.parts[1].name, "mirrored");
    EXPECT_THAT(model.parts[1].pieces, ElementsAre(1));
}

TEST(gltf_import, every_component_type_is_read) {
    const struct {
        const char *type;
        bool normalised;
        std::string bytes;
        int component;
        kmg_float3_t expected;
    } cases[] = {
        {"byte", false, gltf_builder_t::bytes_of<int8_t>({1, -2, 127, 0}), 5120, {1, -2, 127}},
        {"normalised byte", true, gltf_builder_t::bytes_of<int8_t>({127, -127, -128, 0}), 5120, {1, -1, -1}},
        {"unsigned byte", false, gltf_builder_t::bytes_of<uint8_t>({1, 2, 255, 0}), 5121, {1, 2, 255}},
        {"normalised unsigned byte",
         true,
         gltf_builder_t::bytes_of<uint8_t>({0, 51, 255, 0}),
         5121,
         {0, 0.2f, 1}},
        {"short", false, gltf_builder_t::bytes_of<int16_t>({1, -2, 32767, 0}), 5122, {1, -2, 32767}},
        {"normalised short",
         true,
         gltf_builder_t::bytes_of<int16_t>({-32768, 0, 32767, 0}),
         5122,
         {-1, 0, 1}},
        {"unsigned short", false, gltf_builder_t::bytes_of<uint16_t>({1, 2, 65535, 0}), 5123, {1, 2, 65535}},
        {"normalised unsigned short",
         true,
         gltf_builder_t::bytes_of<uint16_t>({0, 13107, 65535, 0}),
         5123,
         {0, 0.2f, 1}},
        {"unsigned int",
         false,
         gltf_builder_t::bytes_of<uint32_t>({1, 2, 1u << 31, 0}),
         5125,
         {1, 2, 2147483648.0f}},
        {"float", false, gltf_builder_t::bytes_of<float>({1.5f, -2, 1e30f, 0}), 5126, {1.5f, -2, 1e30f}},
    };
    for (const auto &each : cases) {
        SCOPED_TRACE(each.type);
        gltf_builder_t gltf = one_triangle();
        // The middle one of three elements, a stride apart that is wider than they are.
        const int view = gltf.view(std::string(24, '\0') + each.bytes + std::string(48, '\0'), 24);
        attributes(gltf)["POSITION"] = gltf.append("accessors", {{"bufferView", view},
                                                                 {"componentType", each.component},
                                                                 {"type", "VEC3"},
                                                                 {"count", 3},
                                                                 {"normalized", each.normalised}});
        EXPECT_EQ(import(gltf).pieces[0].positions, (floats3_t{{}, each.expected, {}}));
    }
}

TEST(gltf_import, sparse_accessors_overwrite_what_is_there_or_zeros) {
    gltf_builder_t gltf = one_triangle();
    const json_t sparse{
        {"count", 2},
        {"indices", {{"bufferView", gltf.view({0, 2})}, {"componentType", 5121}}},
        {"values", {{"bufferView", gltf.view(gltf_builder_t::bytes_of<float>({7, 8, 9, 1, 2, 3}))}}}};
    attributes(gltf)["POSITION"] =
        gltf.accessor<float>("VEC3", {4, 4, 4, 5, 5, 5, 6, 6, 6}, {{"sparse", sparse}});
    EXPECT_EQ(import(gltf).pieces[0].positions, (floats3_t{{7, 8, 9}, {5, 5, 5}, {1, 2, 3}}));
    attributes(gltf)["POSITION"] = gltf.append(
        "accessors", {{"componentType", 5126}, {"type", "VEC3"}, {"count", 3}, {"sparse", sparse}});
    EXPECT_EQ(import(gltf).pieces[0].positions, (floats3_t{{7, 8, 9}, {0, 0, 0}, {1, 2, 3}}));

    // Indices 0, 1, 0 of which the last becomes 2, with no view for the zeros.
    const json_t corners{{"count", 2},
                         {"indices", {{"bufferView", gltf.view({1, 2})}, {"componentType", 5121}}},
                         {"values", {{"bufferView", gltf.view({1, 2})}}}};
    gltf["meshes"][0]["primitives"][0]["indices"] = gltf.append(
        "accessors", {{"componentType", 5121}, {"type", "SCALAR"}, {"count", 3}, {"sparse", corners}});
    EXPECT_EQ(import(gltf).pieces[0].triangles, (triangles_t{{0, 1, 2}}));
}

TEST(gltf_import, strips_and_fans_become_triangles_and_lines_are_left_out) {
    const struct {
        int mode;
        triangles_t expected;
    } cases[] = {
        {4, {{0, 1, 2}, {3, 3, 4}}},
        {5, {{0, 1, 2}, {1, 3, 2}}}, // what has a corner twice only joins strips
        {6, {{1, 2, 0}, {2, 3, 0}, {3, 4, 0}}},
    };
    for (const auto &each : cases) {
        gltf_builder_t gltf = one_triangle();
        attributes(gltf)["POSITION"] = gltf.accessor<float>("VEC3", std::vector<float>(15));
        attributes(gltf).erase("NORMAL");
        attributes(gltf)["NORMAL"] = gltf.accessor<float>("VEC3", std::vector<float>(15, 1));
        json_t &primitive = gltf["meshes"][0]["primitives"][0];
        primitive["mode"] = each.mode;
        primitive["indices"] =
            gltf.accessor<uint8_t>("SCALAR", each.mode == 6 ? std::vector<uint8_t>{0, 1, 2, 3, 4}
                                                            : std::vector<uint8_t>{0, 1, 2, 3, 3, 4});
        EXPECT_EQ(import(gltf).pieces[0].triangles, each.expected) << each.mode;
    }
    gltf_builder_t gltf = one_triangle();
    for (const int mode : {0, 1, 2, 3}) {
        json_t primitive = gltf["meshes"][0]["primitives"][0];
        primitive["mode"] = mode;
        gltf["meshes"][0]["primitives"].push_back(primitive);
    }
    const imported_model_t model = import(gltf);
    EXPECT_EQ(model.pieces.size(), 1u);
    EXPECT_TRUE(has_note(model, "4 primitives of points or lines"));
}

TEST(gltf_import, what_is_missing_is_computed) {
    // Two faces at right angles share an edge: with flat normals its ends are there twice.
    gltf_builder_t gltf = one_triangle();
    attributes(gltf) = {{"POSITION", gltf.accessor<float>("VEC3", {0, 0, 0, 1, 0, 0, 0, 1, 0, 0, 0, 1})},
                        {"TEXCOORD_0", gltf.accessor<float>("VEC2", {0, 0, 0, 1, 1, 0, 0, 0})}};
    gltf["meshes"][0]["primitives"][0]["indices"] = gltf.accessor<uint16_t>("SCALAR", {0, 1, 2, 0, 3, 1});
    const imported_model_t model = import(gltf, {.tangents = true});
    const model_piece_t &piece = model.pieces[0];
    EXPECT_EQ(piece.vertex_count(), 6u);
    for (size_t t = 0; t < 2; ++t)
        for (const uint32_t corner : piece.triangles[t])
            EXPECT_EQ(piece.normals[corner], (t == 0 ? kmg_float3_t{0, 0, 1} : kmg_float3_t{0, 1, 0}));
    EXPECT_EQ(piece.colours[5], (kmg_float4_t{1, 1, 1, 1}));
    // u grows along y and v along x: n x t is -x, against v.
    EXPECT_EQ(piece.tangents[piece.triangles[0][0]], (kmg_float4_t{0, 1, 0, -1}));
    EXPECT_TRUE(import(gltf).pieces[0].tangents.empty());
}

TEST(gltf_import, colours_factors_and_texture_coordinates_go_over) {
    gltf_builder_t gltf = one_triangle();
    attributes(gltf)["COLOR_0"] =
        gltf.accessor<uint16_t>("VEC3", std::vector<uint16_t>(9, 65535), {{"normalized", true}});
    attributes(gltf)["_FACTOR"] = gltf.accessor<uint8_t>("VEC4", std::vector<uint8_t>(12, 200));
    attributes(gltf)["TEXCOORD_1"] = gltf.accessor<float>("VEC2", {1, 2, 3, 4, 5, 6});
    attributes(gltf)["TEXCOORD_7"] = attributes(gltf)["TEXCOORD_1"];
    attributes(gltf)["TEXCOORD_8"] = attributes(gltf)["TEXCOORD_1"];
    attributes(gltf)["COLOR_1"] = attributes(gltf)["COLOR_0"];
    const imported_model_t model = import(gltf);
    const model_piece_t &piece = model.pieces[0];
    EXPECT_EQ(piece.colours[0], (kmg_float4_t{1, 1, 1, 1}));
    EXPECT_EQ(piece.factors[2], (kmg_float4_t{200, 200, 200, 200}));
    ASSERT_EQ(piece.uvs.size(), 2u);
    EXPECT_EQ(piece.uvs[0].values[1], (std::array<float, 2>{3, 4}));
    EXPECT_EQ(piece.uvs[0].slots, 1u << 1);
    EXPECT_EQ(piece.uvs[1].slots, 1u << 7);
    EXPECT_TRUE(has_note(model, "COLOR_1, TEXCOORD_8"));
    // What kmg2glb says of the slots goes before the number.
    gltf["meshes"][0]["primitives"][0]["extras"] = {{"texture_coordinate_map", "0xFFFFF0F1"}};
    EXPECT_EQ(import(gltf).pieces[0].uvs[0].slots, 1u << 2);
    EXPECT_EQ(import(gltf).pieces[0].uvs[1].slots, 1u << 0);
}

TEST(gltf_import, a_primitive_too_large_for_16_bits_is_split_along_its_triangles) {
    // A ribbon: each vertex makes a triangle with the two before it.
    constexpr uint32_t count = 150'000;
    gltf_builder_t gltf = one_triangle();
    std::vector<float> positions;
    std::vector<uint32_t> corners;
    for (uint32_t i = 0; i < count; ++i) {
        positions.insert(positions.end(), {static_cast<float>(i), static_cast<float>(i % 2), 0});
        if (i >= 2)
            corners.insert(corners.end(), {i - 2, i - 1, i});
    }
    attributes(gltf) = {{"POSITION", gltf.accessor("VEC3", positions)},
                        {"NORMAL", gltf.accessor("VEC3", positions)}};
    gltf["meshes"][0]["primitives"][0]["indices"] = gltf.accessor("SCALAR", corners);
    const imported_model_t model = import(gltf);
    EXPECT_EQ(model.pieces.size(), 3u);
    EXPECT_THAT(model.parts[0].pieces, ElementsAre(0, 1, 2));
    uint32_t next = 0;
    for (const model_piece_t &piece : model.pieces) {
        EXPECT_LE(piece.vertex_count(), 65535u);
        for (const triangle_corners_t &triangle : piece.triangles) {
            for (uint32_t i = 0; i < 3; ++i)
                ASSERT_EQ(piece.positions.at(triangle[i])[0], static_cast<float>(next + i));
            ++next;
        }
    }
    EXPECT_EQ(next, count - 2);
}

TEST(gltf_import, empty_nodes_below_a_part_are_its_locators) {
    gltf_builder_t gltf = one_triangle();
    gltf["nodes"] = json_t::parse(R"([
        {"mesh": 0, "name": "body", "translation": [1, 0, 0], "children": [1, 2]},
        {"name": "grip", "scale": [2, 2, 2], "rotation": [0, 1, 0, 0], "extras": {"hookup": "slot/\"a\""}},
        {"name": "group", "children": [3, 4]},
        {"mesh": 0, "name": "lid", "translation": [0, 1, 0]},
        {"name": "hinge", "translation": [0, 0, 3]},
        {"name": "rack", "children": [6]},
        {"name": "peg"},
        {"name": "crowd", "children": [8, 9]},
        {"mesh": 0, "name": "one"},
        {"name": "lost"}])");
    const imported_model_t model = import(gltf);
    ASSERT_EQ(model.parts.size(), 4u);
    EXPECT_EQ(model.parts[2].name, "rack"); // a part without pieces
    EXPECT_TRUE(model.parts[2].pieces.empty());
    ASSERT_EQ(model.locators.size(), 3u);
    const model_locator_t &grip = model.locators[0];
    EXPECT_EQ(grip.name, "grip");
    EXPECT_EQ(grip.hookup, "slot/_a_");
    EXPECT_EQ(grip.position, (kmg_float3_t{1, 0, 0}));
    EXPECT_EQ(grip.rotation, (kmg_float4_t{0, 0, 1, 0}));
    EXPECT_EQ(grip.scale, (kmg_float3_t{2, 2, 2}));
    EXPECT_EQ(model.locators[1].position, (kmg_float3_t{1, 0, 3}));
    EXPECT_THAT(model.parts[0].locators, ElementsAre(0, 1));
    EXPECT_THAT(model.parts[2].locators, ElementsAre(2));
    EXPECT_TRUE(has_note(model, "nodes[9] \"lost\""));
}

namespace {

// A triangle on two joints, the child first in the skin, of which the root stands at (0, 2, 0).
gltf_builder_t skinned_triangle() {
    gltf_builder_t gltf = one_triangle();
    gltf["nodes"] = json_t::parse(R"([{"mesh": 0, "name": "body", "skin": 0, "translation": [9, 9, 9]},
        {"name": "hips", "translation": [0, 2, 0], "children": [2]},
        {"name": "arm", "translation": [3, 0, 0]}])");
    const int inverses = gltf.accessor<float>("MAT4", {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, -3, -2, 0, 1,
                                                       1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0,  -2, 0, 1});
    gltf["skins"] = {{{"joints", {2, 1}}, {"inverseBindMatrices", inverses}}};
    attributes(gltf)["JOINTS_0"] = gltf.accessor<uint8_t>("VEC4", {0, 1, 0, 0, 1, 0, 0, 0, 0, 0, 0, 0});
    attributes(gltf)["WEIGHTS_0"] =
        gltf.accessor<float>("VEC4", {.25f, .75f, 0, 0, 1, 0, 0, 0, .5f, .5f, 0, 0});
    return gltf;
}

kmg_matrix_t moved_to(float x, float y, float z) {
    return {1, 0, 0, x, 0, 1, 0, y, 0, 0, 1, z, 0, 0, 0, 1};
}

const influences_t &influences_of(const model_piece_t &piece, size_t vertex) {
    return piece.sets.at(piece.influence_sets.at(vertex));
}

} // namespace

TEST(gltf_import, joints_are_bones_with_parents_first) {
    const imported_model_t model = import(skinned_triangle());
    ASSERT_EQ(model.bones.size(), 2u);
    EXPECT_EQ(model.bones[0].name, "hips");
    EXPECT_EQ(model.bones[0].matrix, moved_to(0, 2, 0));
    EXPECT_FALSE(model.bones[0].parent);
    EXPECT_EQ(model.bones[1].name, "arm");
    EXPECT_EQ(model.bones[1].matrix, moved_to(3, 2, 0));
    EXPECT_EQ(model.bones[1].parent, 0u);
    // The transform of a skinned node is none of the mesh.
    EXPECT_EQ(model.pieces[0].positions[1], (kmg_float3_t{2, 0, 0}));
    EXPECT_EQ(influences_of(model.pieces[0], 0), (influences_t{{1, .25f}, {0, .75f}}));
    EXPECT_EQ(influences_of(model.pieces[0], 1), (influences_t{{0, 1}}));
    EXPECT_EQ(influences_of(model.pieces[0], 2), (influences_t{{1, 1}})); // one joint twice
    EXPECT_THAT(model.notes, ElementsAre());
}

TEST(gltf_import, weights_of_all_sets_count_and_sum_to_one) {
    gltf_builder_t gltf = skinned_triangle();
    gltf["skins"][0]["joints"] = json_t::array();
    gltf["skins"][0].erase("inverseBindMatrices");
    for (int i = 0; i < 8; ++i)
        gltf["skins"][0]["joints"].push_back(gltf.append("nodes", {{"name", "j" + std::to_string(i)}}));
    const std::vector<uint16_t> low{0, 1, 2, 3, 0, 1, 2, 3, 3, 0, 0, 0},
        high{4, 5, 6, 7, 4, 5, 6, 7, 0, 0, 0, 0};
    attributes(gltf)["JOINTS_0"] = gltf.accessor("VEC4", low);
    attributes(gltf)["JOINTS_1"] = gltf.accessor("VEC4", high);
    // Five that the converter can cut itself, eight of which four would carry too little, none at all.
    attributes(gltf)["WEIGHTS_0"] =
        gltf.accessor<float>("VEC4", {1, 1, 1, .5f, .2f, .1f, .1f, .1f, 0, 0, 0, 0});
    attributes(gltf)["WEIGHTS_1"] =
        gltf.accessor<float>("VEC4", {0, .5f, 0, 0, .2f, .1f, .1f, .1f, 0, 0, 0, 0});
    const imported_model_t model = import(gltf);
    EXPECT_EQ(influences_of(model.pieces[0], 0),
              (influences_t{{0, .25f}, {1, .25f}, {2, .25f}, {3, .125f}, {5, .125f}}));
    ASSERT_EQ(influences_of(model.pieces[0], 1).size(), 4u);
    EXPECT_EQ(influences_of(model.pieces[0], 1)[1].bone, 4u);
    EXPECT_FLOAT_EQ(influences_of(model.pieces[0], 1)[1].weight, 1.0f / 3);
    EXPECT_EQ(influences_of(model.pieces[0], 2), (influences_t{{3, 1}}));
    for (const char *note : {"1 vertex has weights that do not sum to 1", "1 vertex has more weights",
                             "1 vertex has no weights"})
        EXPECT_TRUE(has_note(model, note)) << note;
}

TEST(gltf_import, skins_are_brought_into_the_space_of_the_scene) {
    // All below a node that turns y to z and scales by 100, as armatures from other tools have it.
    gltf_builder_t gltf = skinned_triangle();
    gltf.append(
        "nodes",
        json_t::parse(R"({"matrix": [100,0,0,0, 0,0,100,0, 0,-100,0,0, 0,0,0,1], "children": [0, 1]})"));
    // A mesh without skin goes with the joint above it, another one with the first bone.
    gltf["nodes"][2]["children"] = {
        gltf.append("nodes", {{"mesh", 1}, {"name", "tool"}, {"translation", {0, 1, 0}}})};
    gltf.append("nodes", {{"mesh", 1}, {"name", "base"}});
    json_t bare = gltf["meshes"][0];
    bare["primitives"][0]["attributes"].erase("JOINTS_0");
    bare["primitives"][0]["attributes"].erase("WEIGHTS_0");
    gltf.append("meshes", bare);
    const imported_model_t model = import(gltf);
    EXPECT_EQ(model.pieces[0].positions[2], (kmg_float3_t{0, 0, 300}));
    EXPECT_EQ(model.bones[1].matrix,
              (kmg_matrix_t{100, 0, 0, 300, 0, 0, -100, 0, 0, 100, 0, 200, 0, 0, 0, 1}));
    EXPECT_EQ(model.pieces[1].positions[0], (kmg_float3_t{300, 0, 300}));
    EXPECT_EQ(influences_of(model.pieces[1], 0), (influences_t{{1, 1}}));
    EXPECT_EQ(influences_of(model.pieces[2], 0), (influences_t{{0, 1}}));
    EXPECT_TRUE(has_note(model, "below no joint"));

    // Joints that have moved since they were bound leave the mesh where it was.
    gltf["nodes"][2]["translation"] = {5, 0, 0};
    EXPECT_EQ(import(gltf).pieces[0].positions[2], (kmg_float3_t{0, 3, 0}));
    EXPECT_EQ(import(gltf).bones[1].matrix, moved_to(3, 2, 0));
    EXPECT_TRUE(has_note(import(gltf), "not at rest"));
}

TEST(gltf_import, bones_of_more_skins_than_one_are_one_skeleton) {
    gltf_builder_t gltf = skinned_triangle();
    gltf.append("nodes", {{"mesh", 0}, {"skin", 1}, {"name", "hat"}});
    const int hat = gltf.append("nodes", {{"name", "hat bone"}, {"translation", {0, 1, 0}}});
    gltf["nodes"][1]["children"].push_back(hat);
    // Bound with everything moved by 1 along z.
    const int inverses = gltf.accessor<float>("MAT4", {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, -3, -1, 1,
                                                       1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, -2, -1, 1});
    gltf["skins"].push_back({{"joints", {hat, 1}}, {"inverseBindMatrices", inverses}});
    const imported_model_t model = import(gltf);
    ASSERT_EQ(model.bones.size(), 3u);
    EXPECT_EQ(model.bones[2].name, "hat_bone");
    EXPECT_EQ(model.bones[2].matrix, moved_to(0, 3, 0));
    EXPECT_EQ(model.pieces[1].positions[0], (kmg_float3_t{0, 0, -1}));
    EXPECT_EQ(influences_of(model.pieces[1], 0), (influences_t{{2, .25f}, {0, .75f}}));
}

TEST(gltf_import, names_become_tokens_that_differ) {
    std::vector<std::string> notes;
    const std::vector<std::string> wanted{"Arm", "arm",        "upper arm.L",     "upper arm L",
                                          "",    "\u00C4rmel", "0123456789abcdef"};
    EXPECT_THAT(
        token_names(wanted, "bone", true, notes),
        ElementsAre("Arm", "arm_2", "upper_arm_L", "upper_arm__2", "bone_4", "_rmel", "0123456789ab"));
    EXPECT_THAT(token_names(wanted, "part", false, notes)[1], "arm");
    ASSERT_EQ(notes.size(), 2u);
    EXPECT_THAT(notes[0], HasSubstr("\"upper arm.L\" is now \"upper_arm_L\""));
}

TEST(gltf_import, materials_have_the_effects_of_the_table) {
    gltf_builder_t gltf = one_triangle();
    gltf["materials"] = {{{"name", "my \"steel\""}}, {{"name", "glass"}}};
    const imported_model_t model = import(gltf, {.effect = "dif", .effects = {{"glass", "dif.alpha"}}});
    ASSERT_EQ(model.materials.size(), 3u); // the last one for the primitive without
    EXPECT_EQ(model.materials[0].alias, "my _steel_");
    EXPECT_EQ(model.materials[0].effect, "dif");
    EXPECT_EQ(model.materials[1].effect, "dif.alpha");
    EXPECT_EQ(model.pieces[0].material, 2u);
}

TEST(gltf_import, the_scene_chosen_is_read) {
    gltf_builder_t gltf = one_triangle();
    gltf.append("nodes", {{"mesh", 0}, {"name", "other"}});
    gltf["scenes"] = {{{"nodes", {0}}}, {{"nodes", {1}}}};
    gltf["scene"] = 1;
    EXPECT_EQ(import(gltf).parts.at(0).name, "other");
    EXPECT_EQ(import(gltf, {.scene = 0}).parts.at(0).name, "body");
    EXPECT_TRUE(has_note(import(gltf), "scene 1 of 2"));
}

TEST(gltf_import, what_is_no_geometry_is_left_out_with_a_word) {
    gltf_builder_t gltf = one_triangle();
    gltf["animations"] = json_t::array({json_t::object()});
    gltf["cameras"] = json_t::array({json_t::object(), json_t::object()});
    gltf["extensions"] = {{"KHR_lights_punctual", {{"lights", json_t::array({json_t::object()})}}}};
    gltf["extensionsUsed"] = {"KHR_lights_punctual", "KHR_texture_transform", "ACME_fog"};
    gltf["images"] = {{{"uri", "not there.png"}}};
    gltf["meshes"][0]["primitives"][0]["targets"] = {{{"POSITION", 0}}};
    const imported_model_t model = import(gltf);
    for (const char *note : {"1 animation is", "2 cameras are", "1 light is", "KHR_texture_transform",
                             "ACME_fog", "morph targets"})
        EXPECT_TRUE(has_note(model, note)) << note;
}

TEST(gltf_import, broken_files_are_refused_with_the_place) {
    const auto patch = [](const char *edits) {
        return [edits](gltf_builder_t &gltf) { gltf.document = gltf.document.patch(json_t::parse(edits)); };
    };
    const struct {
        std::function<void(gltf_builder_t &)> edit;
        const char *message;
    } cases[] = {
        {patch(R"([{"op":"add","path":"/extensionsRequired","value":["KHR_draco_mesh_compression"]}])"),
         "KHR_draco_mesh_compression"},
        {patch(R"([{"op":"add","path":"/extensionsRequired","value":["EXT_meshopt_compression"]}])"),
         "EXT_meshopt_compression"},
        {patch(R"([{"op":"replace","path":"/asset/version","value":"1.0"}])"), "glTF of version 1.0"},
        {patch(R"([{"op":"replace","path":"/accessors/0/count","value":4}])"),
         "NORMAL has 3 elements and POSITION 4"},
        {patch(
             R"([{"op":"replace","path":"/accessors/0/count","value":1e18},{"op":"replace","path":"/accessors/1/count","value":1e18}])"),
         "'count'"},
        {patch(
             R"([{"op":"replace","path":"/accessors/0/count","value":4000000000},{"op":"replace","path":"/accessors/1/count","value":4000000000}])"),
         "more than 100000000"},
        {patch(R"([{"op":"add","path":"/accessors/0/byteOffset","value":4}])"),
         "meshes[0].primitives[0]: accessors[0]: goes beyond the end of its buffer view"},
        {patch(R"([{"op":"add","path":"/bufferViews/0/byteStride","value":8}])"),
         "12 bytes only 8 bytes apart"},
        {patch(R"([{"op":"replace","path":"/bufferViews/0/byteLength","value":4000}])"),
         "bufferViews[0] goes beyond the end of buffer 0"},
        {patch(R"([{"op":"replace","path":"/bufferViews/0/buffer","value":1}])"), "there is no buffer 1"},
        {patch(R"([{"op":"replace","path":"/accessors/0/type","value":"VEC2"}])"), "2 components where 3"},
        {patch(R"([{"op":"replace","path":"/accessors/0/componentType","value":5124}])"),
         "componentType 5124"},
        {patch(R"([{"op":"add","path":"/meshes/0/primitives/0/indices","value":0}])"),
         "meshes[0].primitives[0]: accessors[0]: indices are no scalars"},
        {patch(R"([{"op":"add","path":"/meshes/0/primitives/0/indices","value":7}])"),
         "there is no accessor 7"},
        {patch(R"([{"op":"add","path":"/meshes/0/primitives/0/material","value":0}])"),
         "there is no material 0"},
        {patch(R"([{"op":"add","path":"/meshes/0/primitives/0/mode","value":9}])"), "mode 9"},
        {patch(R"([{"op":"remove","path":"/meshes/0/primitives/0/attributes/POSITION"}])"),
         "has no POSITION"},
        {patch(R"([{"op":"replace","path":"/nodes/0/mesh","value":3}])"),
         "nodes[0] \"body\": there is no mesh 3"},
        {patch(R"([{"op":"add","path":"/nodes/0/children","value":[0]}])"),
         "nodes[0] \"body\" is below itself"},
        {patch(R"([{"op":"add","path":"/nodes/0/children","value":[5]}])"), "there is no node 5"},
        {patch(
             R"([{"op":"add","path":"/nodes/0/children","value":[1,1]},{"op":"add","path":"/nodes/1","value":{}}])"),
         "nodes[1] is below both node 0 and node 0"},
        {patch(R"([{"op":"add","path":"/nodes/0/scale","value":[1,2]}])"), "scale has 2 values"},
        {patch(R"([{"op":"add","path":"/nodes/0/scale","value":[1e300,1,1]}])"), "too far away"},
        {patch(R"([{"op":"add","path":"/nodes/0/rotation","value":[0,0,0,0]}])"),
         "rotation is no quaternion"},
        {patch(R"([{"op":"add","path":"/scenes","value":[{"nodes":[0,0]}]}])"), "is there twice"},
        {patch(R"([{"op":"add","path":"/scene","value":2}])"), "there is no scene 2"},
        {patch(R"([{"op":"add","path":"/nodes/0/skin","value":0}])"), "skins[0]: there is no such skin"},
        {patch(R"([{"op":"remove","path":"/nodes/0/mesh"},{"op":"add","path":"/nodes/0/camera","value":0}])"),
         "neither triangles nor locators"},
        {[](gltf_builder_t &gltf) { gltf.binary[3] = '\x7f', gltf.binary[2] = '\x80'; },
         "accessors[0]: element 0 is not a finite number"},
        {[](gltf_builder_t &gltf) {
             gltf["meshes"][0]["primitives"][0]["indices"] = gltf.accessor<uint8_t>("SCALAR", {0, 1, 3});
         },
         "index 2 is 3 and there are 3 vertices"},
        {[](gltf_builder_t &gltf) {
             gltf["meshes"][0]["primitives"][0]["indices"] = gltf.accessor<uint8_t>("SCALAR", {0, 1, 2, 0});
         },
         "4 corners are no whole triangles"},
        {[](gltf_builder_t &gltf) {
             gltf["meshes"][0]["primitives"][0]["indices"] = gltf.accessor<float>("SCALAR", {0, 1, 2});
         },
         "where unsigned integers are expected"},
        {[](gltf_builder_t &gltf) {
             gltf["meshes"][0]["primitives"][0]["attributes"]["COLOR_0"] =
                 gltf.append("accessors", {{"count", 3000000}, {"type", "VEC4"}, {"componentType", 5126}});
         },
         "COLOR_0 has 3000000 elements"},
        {[](gltf_builder_t &gltf) {
             gltf["meshes"][0]["primitives"][0]["attributes"] = {
                 {"POSITION",
                  gltf.append("accessors", {{"count", 3000000}, {"type", "VEC3"}, {"componentType", 5126}})}};
         },
         "3000000 elements without a buffer view"},
        {[](gltf_builder_t &gltf) {
             gltf["nodes"] = json_t::array();
             for (int i = 0; i < 101; ++i)
                 gltf["nodes"] = {{{"extras", gltf["nodes"]}}};
         },
         "nested deeper than 100"},
        {[](gltf_builder_t &gltf) {
             gltf = skinned_triangle(), gltf["skins"][0]["joints"] = {2, 8};
         },
         "skins[0]: there is no node 8"},
        {[](gltf_builder_t &gltf) { gltf = skinned_triangle(), gltf["skins"][0]["joints"] = {2}; },
         "names joint 1 of 1"},
        {[](gltf_builder_t &gltf) {
             gltf = skinned_triangle(), gltf["skins"][0]["joints"] = {2, 1, 0};
         },
         "2 inverse bind matrices for 3 joints"},
        {[](gltf_builder_t &gltf) { gltf = skinned_triangle(), attributes(gltf).erase("WEIGHTS_0"); },
         "only one of JOINTS_0 and WEIGHTS_0"},
        {[](gltf_builder_t &gltf) {
             gltf = skinned_triangle(),
             gltf["skins"][0]["inverseBindMatrices"] = gltf.accessor<float>("MAT4", std::vector<float>(32));
         },
         "has no inverse"},
        {[](gltf_builder_t &gltf) {
             gltf = skinned_triangle();
             gltf["skins"][0].erase("inverseBindMatrices");
             for (int i = 0; i < 256; ++i)
                 gltf["skins"][0]["joints"].push_back(gltf.append("nodes", json_t::object()));
         },
         "more than 255 joints"},
    };
    for (const auto &each : cases) {
        gltf_builder_t gltf = one_triangle();
        each.edit(gltf);
        EXPECT_THAT(failure_of(gltf.glb()), HasSubstr(each.message));
    }
}

TEST(gltf_import, broken_containers_are_refused) {
    const std::string good = one_triangle().glb();
    for (size_t length = 0; length < good.size(); length += length < 40 ? 1 : 37)
        EXPECT_NE(failure_of(good.substr(0, length)), "") << length;
    const auto changed = [&](size_t at, char value) {
        std::string bytes = good;
        bytes[at] = value;
        return failure_of(bytes);
    };
    EXPECT_THAT(changed(4, 1), HasSubstr("version 1"));
    EXPECT_THAT(changed(13, '\x7f'), HasSubstr("chunk 0 goes beyond"));
    EXPECT_THAT(changed(16, 'X'), HasSubstr("not JSON"));
    EXPECT_THAT(failure_of("[1, 2]"), HasSubstr("not an object"));
    EXPECT_THAT(failure_of("{\"asset\": {\"version\": \"2.0\"}, \"a\": 1e999}"), HasSubstr("no glTF"));
}

TEST(gltf_import, buffers_are_data_uris_neighbours_or_the_chunk) {
    gltf_builder_t gltf = one_triangle();
    const auto with_buffer = [&](const json_t &buffer) {
        gltf["buffers"] = {buffer};
        return gltf.document.dump();
    };
    // 72 bytes: x of the second vertex is 1, the rest 0.
    const std::string data = "AAAAAAAAAAAAAAAAAACAPwAA" + std::string(72, 'A');
    EXPECT_EQ(
        import(with_buffer({{"byteLength", 72}, {"uri", "data:application/octet-stream;base64," + data}}))
            .pieces[0]
            .positions[1],
        (kmg_float3_t{1, 0, 0}));
    EXPECT_EQ(import("\xEF\xBB\xBF" + with_buffer({{"byteLength", 72}, {"uri", "all%20zeros.bin"}}))
                  .pieces[0]
                  .positions[1],
              (kmg_float3_t{0, 0, 0}));
    for (const auto &[buffer, message] : std::initializer_list<std::pair<json_t, const char *>>{
             {{{"byteLength", 1001}, {"uri", "all zeros.bin"}},
              "byteLength is 1001 and there are only 1000 bytes"},
             {{{"byteLength", 72}, {"uri", "other.bin"}}, "buffers[0]: other.bin is not there"},
             {{{"byteLength", 72}}, "neither a uri nor a binary chunk"},
             {{{"byteLength", -1}}, "byteLength is not a whole number"},
             {{{"byteLength", 72}, {"uri", "data:text/plain,abc"}}, "not base64"},
             {{{"byteLength", 72}, {"uri", "data:;base64,A*"}}, "not base64"}})
        EXPECT_THAT(failure_of(with_buffer(buffer)), HasSubstr(message));
}

} // namespace kestrel
