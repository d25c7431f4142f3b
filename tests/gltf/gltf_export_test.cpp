#include "tools/gltf/gltf_export.h"

#include "tests/gltf/glb_file.h"
#include "tests/kmg/kmg_builder.h"
#include "tests/support/converted_model.h"
#include "tools/gltf/gltf_bone.h"
#include "tools/gltf/gltf_vertices.h"
#include "tools/kmg/affine.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <numeric>

namespace kestrel {

namespace {

std::string exported(const kmg_reader_t &file, std::string_view name, const gltf_options_t &options = {},
                     gltf_changes_t changes = {}) {
    std::string glb;
    export_glb(file, name, options, changes, [&](std::span<const std::byte> part) {
        glb.append(reinterpret_cast<const char *>(part.data()), part.size());
    });
    return glb;
}

std::array<double, 3> transformed(const matrix_t &matrix, const kmg_float3_t &point) {
    std::array<double, 3> result;
    for (size_t r = 0; r < 3; ++r) {
        result[r] = matrix.m[r][3];
        for (size_t c = 0; c < 3; ++c)
            result[r] += matrix.m[r][c] * static_cast<double>(point[c]);
    }
    return result;
}

void expect_near(const matrix_t &a, const matrix_t &b, double tolerance) {
    for (size_t r = 0; r < 4; ++r)
        for (size_t c = 0; c < 4; ++c)
            EXPECT_NEAR(a.m[r][c], b.m[r][c], tolerance) << r << c;
}

} // namespace

// What a viewer shows of a skinned model in bind pose is the model itself.
TEST(gltf_export, skins_in_bind_pose_leave_every_vertex_in_its_place) {
    for (const char *name : {"knight", "mage"}) {
        const converted_model_t sample(KIM2KMG_SAMPLES "/model/actor/" + std::string(name) + ".kim");
        const auto file = kmg_reader_t::open(sample.bytes).value();
        const glb_file_t glb(exported(file, name));
        const json_t &skin = glb.json.at("skins").at(0);
        const auto worlds = world_matrices(glb.json);
        const auto inverses = glb.elements<std::array<float, 16>>(skin.at("inverseBindMatrices"));
        ASSERT_EQ(inverses.size(), sample.skeleton->bones->bones().size());
        std::vector<matrix_t> joints;
        for (size_t i = 0; i < inverses.size(); ++i)
            joints.push_back(worlds[skin.at("joints").at(i).get<size_t>()] *
                             matrix_t::from(inverses[i]).transposed());

        size_t vertices = 0;
        for (const json_t &mesh : glb.json.at("meshes"))
            for (const json_t &primitive : mesh.at("primitives")) {
                const json_t &attributes = primitive.at("attributes");
                const auto positions = glb.elements<kmg_float3_t>(attributes.at("POSITION"));
                for (size_t i = 0; i < 3; ++i) {
                    const auto [least, most] =
                        std::ranges::minmax(positions, {}, [i](auto &each) { return each[i]; });
                    EXPECT_EQ(glb.accessor(attributes.at("POSITION")).at("min").at(i), least[i]);
                    EXPECT_EQ(glb.accessor(attributes.at("POSITION")).at("max").at(i), most[i]);
                }
                const auto indices = glb.elements<kmg_bytes4_t>(attributes.at("JOINTS_0"));
                const auto weights = glb.elements<kmg_bytes4_t>(attributes.at("WEIGHTS_0"));
                const auto stored = file.data_of(file.pieces()[primitive.at("extras").at("piece")]).positions;
                ASSERT_EQ(positions.size(), stored.size());
                for (size_t v = 0; v < positions.size(); ++v) {
                    ASSERT_EQ(positions[v], stored[v]);
                    ASSERT_EQ(std::accumulate(weights[v].begin(), weights[v].end(), 0), 255);
                    std::array<double, 3> skinned{};
                    for (size_t slot = 0; slot < 4; ++slot) {
                        const auto moved = transformed(joints[indices[v][slot]], positions[v]);
                        for (size_t i = 0; i < 3; ++i)
                            skinned[i] += moved[i] * weights[v][slot] / 255;
                    }
                    for (size_t i = 0; i < 3; ++i)
                        ASSERT_NEAR(skinned[i], static_cast<double>(positions[v][i]), 1e-5) << name << v;
                    ++vertices;
                }
            }
        EXPECT_EQ(vertices, sample.model->global->vertex_count);
    }
}

TEST(gltf_export, locators_are_nodes_below_their_parts) {
    const bytes_t bytes = build(small_source());
    const glb_file_t glb(exported(kmg_reader_t::open(bytes).value(), "small"));
    const json_t &nodes = glb.json.at("nodes");
    const auto &named = [&](const char *name) {
        return *std::find_if(nodes.begin(), nodes.end(),
                             [&](const json_t &node) { return node.at("name") == name; });
    };
    const json_t &hat = named("hat");
    const json_t &foot = nodes.at(hat.at("children").at(0).get<size_t>());
    EXPECT_EQ(foot.at("name"), "foot");
    EXPECT_EQ(foot.at("rotation"), json_t::parse("[1.0, 0.0, 0.0, 0.0]")); // w last
    EXPECT_EQ(foot.at("extras").at("hookup"), "slot/a");
    EXPECT_FALSE(foot.contains("mesh"));
}

TEST(gltf_export, materials_have_colours_and_locators_axes_on_request) {
    kmg_source_t source = small_source();
    source.pieces[0].vertices[0].colour[3] = 254;
    source.pieces[1].vertices[1].colour[3] = 255;
    const bytes_t bytes = build(source);
    const glb_file_t glb(exported(kmg_reader_t::open(bytes).value(), "small", {.axes = true}));
    const json_t &materials = glb.json.at("materials");
    EXPECT_EQ(materials.at(0).value("alphaMode", ""), "BLEND");
    EXPECT_FALSE(materials.at(1).contains("alphaMode"));
    const auto colour = [&](size_t i) {
        return materials.at(i).at("pbrMetallicRoughness").at("baseColorFactor");
    };
    EXPECT_NE(colour(0), colour(1));
    // The box's diagonal is the square root of 14; x, y and z are red, green and blue.
    const json_t &axes = glb.json.at("meshes").at(2).at("primitives").at(0);
    EXPECT_EQ(glb.json.at("nodes").at(1).at("mesh"), 2);
    const auto ends = glb.elements<kmg_float3_t>(axes.at("attributes").at("POSITION"));
    const auto colours = glb.elements<kmg_bytes4_t>(axes.at("attributes").at("COLOR_0"));
    ASSERT_EQ(ends.size(), 6u);
    EXPECT_NEAR(ends[3][1], 0.05f * std::sqrt(14.0f), 1e-6f);
    EXPECT_EQ(colours[3], (kmg_bytes4_t{0, 255, 0, 255}));
}

TEST(gltf_export, texts_become_utf8) {
    kmg_source_t source = small_source();
    source.pool = std::string("\xC3\xA4\xFF\xC3\0", 5);
    const bytes_t bytes = build(source);
    const glb_file_t glb(exported(kmg_reader_t::open(bytes).value(), "\x80"));
    EXPECT_EQ(glb.json.at("scenes").at(0).at("name"), "\uFFFD");
    EXPECT_EQ(glb.json.at("nodes").at(1).at("extras").at("hookup"), "\u00E4\uFFFD\uFFFD");
}

TEST(gltf_export, a_model_without_pieces_or_names_is_a_valid_file_without_buffer) {
    kmg_source_t source = empty_source();
    source.parts[0].name = 0;
    const bytes_t bytes = build(source);
    const glb_file_t glb(exported(kmg_reader_t::open(bytes).value(), "empty"));
    EXPECT_FALSE(glb.json.contains("buffers"));
    ASSERT_EQ(glb.json.at("nodes").size(), 1u);
    EXPECT_EQ(glb.json.at("nodes").at(0).at("name"), "part 0");
}

TEST(gltf_bone, nodes_multiply_to_the_bone_s_transform) {
    const float h = 0.70710678f;
    const struct {
        const char *what;
        bool two_nodes;
        kmg_float4_t rotation, axes;
        kmg_float3_t scale;
        float sign;
    } cases[] = {
        {"rigid", false, {h, 0, h, 0}, {1, 0, 0, 0}, {1, 1, 1}, 1},
        {"uniform", false, {h, 0, h, 0}, {0.5f, 0.5f, 0.5f, 0.5f}, {2, 2, 2}, 1},
        {"own axes", false, {0.5f, -0.5f, 0.5f, 0.5f}, {1, 0, 0, 0}, {1, 2, 3}, 1},
        {"mirror", false, {0, 1, 0, 0}, {1, 0, 0, 0}, {1, 2, 3}, -1},
        {"slanted", true, {h, 0, h, 0}, {0.92387953f, 0, 0, 0.38268343f}, {1, 2, 3}, 1},
        {"no rotation", false, {0, 0, 0, 0}, {1, 0, 0, 0}, {1, 2, 3}, 1},
        {"slanted mirror", true, {0.5f, -0.5f, 0.5f, 0.5f}, {0.92387953f, 0.38268343f, 0, 0}, {1, 0, 3}, -1},
    };
    const auto matrix_of = [](const gltf_transform_t &transform) {
        return node_matrix(json_t{{"translation", transform.translation},
                                  {"rotation", transform.rotation},
                                  {"scale", transform.scale}});
    };
    for (const auto &each : cases) {
        SCOPED_TRACE(each.what);
        kmg_bone_data_t bone;
        bone.rotation = each.rotation;
        bone.stretch_rotation = each.axes;
        bone.scale = each.scale;
        bone.sign = each.sign;
        bone.translation = {1, -2, 3};
        const gltf_bone_t nodes = gltf_bone(bone);
        EXPECT_EQ(nodes.inner.has_value(), each.two_nodes);
        EXPECT_EQ(nodes.rotation_changed, length(each.rotation) == 0);
        if (nodes.rotation_changed)
            bone.rotation = {1, 0, 0, 0};
        const matrix_t outer = matrix_of(nodes.node);
        expect_near(nodes.inner ? outer * matrix_of(*nodes.inner) : outer, composed_local_transform(bone),
                    1e-6);
    }
}

TEST(gltf_vertices, colours_are_doubled_and_end_at_one) {
    EXPECT_EQ(gltf_colour({128, 64, 0, 200}), (kmg_bytes4_t{255, 128, 0, 200}));
    EXPECT_EQ(gltf_colour({127, 255, 1, 0}), (kmg_bytes4_t{254, 255, 2, 0}));
}

TEST(gltf_vertices, influences_sum_to_one_and_name_each_joint_once) {
    const struct {
        kmg_bytes4_t bones, weights, joints, expected;
    } cases[] = {
        {{3, 7, 7, 7}, {127, 128, 0, 0}, {3, 7, 0, 0}, {127, 128, 0, 0}},
        {{5, 5, 5, 5}, {255, 0, 0, 0}, {5, 0, 0, 0}, {255, 0, 0, 0}},
        // 128 of 384 is a third
        {{1, 2, 3, 4}, {0, 128, 128, 128}, {0, 2, 3, 4}, {0, 85, 85, 85}},
        {{1, 2, 3, 4}, {255, 255, 255, 255}, {1, 2, 3, 4}, {66, 63, 63, 63}},
        // One bone twice
        {{1, 1, 2, 2}, {100, 55, 100, 0}, {1, 0, 2, 0}, {155, 0, 100, 0}},
    };
    for (const auto &each : cases) {
        const gltf_influences_t influences = gltf_influences(each.bones, each.weights);
        EXPECT_EQ(influences.joints, each.joints);
        EXPECT_EQ(influences.weights, each.expected);
    }
}

TEST(gltf_vertices, directions_get_unit_length_and_tangents_a_sign) {
    kmg_source_t source = small_source();
    auto &vertices = source.pieces[1].vertices;
    vertices[0].normal = {0, 0, 0.9995f}; // near enough to stay
    vertices[1].normal = {0, 3, 4};
    vertices[1].tangent = {0, 0, 2, -0.5f};
    vertices[2].normal = {0, 0, 0};
    vertices[2].tangent = {0, 0, 0, 0};
    const bytes_t bytes = build(source);
    gltf_changes_t changes;
    export_glb(kmg_reader_t::open(bytes).value(), "", {}, changes, [](std::span<const std::byte>) {});
    EXPECT_EQ(to_text(changes),
              "2 normals brought to unit length, 2 tangents brought to unit length and a sign "
              "of 1 or -1, 1 colour brighter than 1 cut to 1");
    const glb_file_t glb(exported(kmg_reader_t::open(bytes).value(), "small"));
    const json_t &attributes = glb.json.at("meshes").at(1).at("primitives").at(0).at("attributes");
    const auto normals = glb.elements<kmg_float3_t>(attributes.at("NORMAL"));
    const auto tangents = glb.elements<kmg_float4_t>(attributes.at("TANGENT"));
    EXPECT_EQ(normals[0], (kmg_float3_t{0, 0, 0.9995f}));
    EXPECT_EQ(normals[1], (kmg_float3_t{0, 0.6f, 0.8f}));
    EXPECT_EQ(tangents[1], (kmg_float4_t{0, 0, 1, -1}));
    EXPECT_EQ(length(normals[2]), 1);
    EXPECT_EQ(length(kmg_float3_t{tangents[2][0], tangents[2][1], tangents[2][2]}), 1);
    EXPECT_EQ(tangents[2][3], 1);
    EXPECT_EQ(glb.elements<kmg_bytes4_t>(attributes.at("COLOR_0"))[1], (kmg_bytes4_t{128, 255, 255, 77}));
}

} // namespace kestrel
