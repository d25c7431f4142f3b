// There and back: what glTF and geometry files keep of each other, with the converter in between.

#include "kcore/kutils/ufs/mem_file.h"
#include "tests/gltf/glb_file.h"
#include "tests/support/asset_tree.h"
#include "tests/support/captured_messages.h"
#include "tests/support/converted_model.h"
#include "tools/conv/intermediate/parse_file.h"
#include "tools/conv/kim2kmg/writer/kmg_writer.h"
#include "tools/gltf/gltf_export.h"
#include "tools/gltf/gltf_import.h"
#include "tools/gltf/imported_model_text.h"
#include "tools/kmg/kmg_diff.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace kestrel {

namespace {

namespace fs = std::filesystem;

const fs::path files = KIM2KMG_GLTF_FILES;

imported_model_t import(const std::string &file) {
    const auto source = read_gltf(std::as_bytes(std::span(file)), [](const std::string &name) {
        const std::string neighbour = read_whole_file(files / name);
        const auto bytes = std::as_bytes(std::span(neighbour));
        return std::vector<std::byte>(bytes.begin(), bytes.end());
    });
    return import_gltf(source, {});
}

std::string text_of(const imported_model_t &model, number_style_t numbers, auto write) {
    text_writer_t out;
    write(model, {"m", "m.kis", numbers}, out);
    return std::string(out.buffer());
}

// Through text, and without a word from the converter.
std::vector<std::byte> converted(const imported_model_t &model, number_style_t numbers) {
    const captured_messages_t messages;
    owner_list_t owners;
    const std::string model_text = text_of(model, numbers, write_model_text);
    const std::string skeleton_text = text_of(model, numbers, write_skeleton_text);
    const kim_t *parsed = parse_model_text(model_text, "m.kim", owners);
    kis_t *skeleton = model.bones.empty() ? nullptr : parse_skeleton_text(skeleton_text, "m.kis", owners);
    mem_file_t geometry;
    EXPECT_TRUE(parsed && kmg_write(*parsed, skeleton, true, geometry));
    EXPECT_EQ(messages.text(), "");
    std::vector<std::byte> bytes(geometry.get_size());
    EXPECT_TRUE(geometry.read_at(bytes, 0));
    return bytes;
}

kmg_reader_t opened(std::span<const std::byte> bytes) {
    return kmg_reader_t::open(bytes).value();
}

std::string glb_of(const kmg_reader_t &file) {
    std::string glb;
    gltf_changes_t changes;
    export_glb(file, "m", {.axes = true}, changes, [&](std::span<const std::byte> part) {
        glb.append(reinterpret_cast<const char *>(part.data()), part.size());
    });
    return glb;
}

// What docs/gltf.md names: bounding spheres depend on an order of vertices that the skin has changed, and
// bones pass through their inverses.
bool is_named(const kmg_difference_t &difference) {
    if (difference.what.starts_with("sphere"))
        return true;
    if (difference.kind != kmg_record_kind_t::bone)
        return false;
    return difference.what == "stretch_rotation" || difference.what == "rotation" ||
           difference.largest < 1e-5;
}

void expect_near(const auto &a, const auto &b, double tolerance) {
    for (size_t i = 0; i < a.size(); ++i)
        ASSERT_NEAR(static_cast<double>(a[i]), static_cast<double>(b[i]), tolerance) << i;
}

// The corners of all triangles, in the order of nodes, primitives and triangles, in world space.
struct corner_t {
    std::array<double, 3> position, normal;
    std::map<std::string, std::array<float, 2>> uvs;
    std::map<uint32_t, double> weights; // of joints
};

std::array<double, 3> moved(const matrix_t &matrix, const kmg_float3_t &v, double w) {
    std::array<double, 3> result;
    for (size_t r = 0; r < 3; ++r)
        result[r] = matrix.m[r][0] * static_cast<double>(v[0]) + matrix.m[r][1] * static_cast<double>(v[1]) +
                    matrix.m[r][2] * static_cast<double>(v[2]) + matrix.m[r][3] * w;
    return result;
}

std::vector<corner_t> corners_of(const glb_file_t &file) {
    std::vector<corner_t> corners;
    const auto worlds = world_matrices(file.json);
    for (size_t n = 0; n < worlds.size(); ++n) {
        const json_t &node = file.json.at("nodes").at(n);
        if (!node.contains("mesh"))
            continue;
        for (const json_t &primitive :
             file.json.at("meshes").at(node.at("mesh").get<size_t>()).at("primitives")) {
            if (primitive.value("mode", 4) != 4)
                continue; // axes of a locator
            const json_t &attributes = primitive.at("attributes");
            const auto positions = file.elements<kmg_float3_t>(attributes.at("POSITION"));
            const auto normals = file.elements<kmg_float3_t>(attributes.at("NORMAL"));
            for (const uint16_t index : file.elements<uint16_t>(primitive.at("indices"))) {
                corner_t &corner = corners.emplace_back();
                corner.position = moved(worlds[n], positions.at(index), 1);
                // The nodes of these files turn and scale alike in all directions.
                corner.normal = moved(worlds[n], normals.at(index), 0);
                const double l = length(corner.normal);
                for (double &value : corner.normal)
                    value /= l;
            }
            corner_t *const first =
                &corners[corners.size() - file.elements<uint16_t>(primitive.at("indices")).size()];
            for (const auto &[name, accessor] : attributes.items()) {
                size_t i = 0;
                if (name.starts_with("TEXCOORD_")) {
                    const auto uvs = file.elements<std::array<float, 2>>(accessor);
                    for (const uint16_t index : file.elements<uint16_t>(primitive.at("indices")))
                        first[i++].uvs[name] = uvs.at(index);
                } else if (name == "JOINTS_0") {
                    const auto joints = file.elements<kmg_bytes4_t>(accessor);
                    const auto weights = file.elements<kmg_bytes4_t>(attributes.at("WEIGHTS_0"));
                    for (const uint16_t index : file.elements<uint16_t>(primitive.at("indices"))) {
                        for (size_t k = 0; k < 4; ++k)
                            if (weights.at(index)[k] > 0)
                                first[i].weights[joints.at(index)[k]] += weights.at(index)[k];
                        ++i;
                    }
                }
            }
        }
    }
    return corners;
}

void expect_same(const glb_file_t &before, const glb_file_t &after) {
    const auto a = corners_of(before), b = corners_of(after);
    ASSERT_GT(a.size(), 0u);
    ASSERT_EQ(a.size(), b.size());
    for (size_t i = 0; i < a.size(); ++i) {
        SCOPED_TRACE(i);
        expect_near(a[i].position, b[i].position, 1e-6);
        expect_near(a[i].normal, b[i].normal, 1e-5); // that far from length 1 they are in the file
        ASSERT_EQ(a[i].uvs, b[i].uvs);
        ASSERT_EQ(a[i].weights.size(), b[i].weights.size());
        for (const auto &[joint, weight] : a[i].weights)
            ASSERT_NEAR(weight, b[i].weights.at(joint), 1);
    }
    ASSERT_EQ(before.json.contains("skins"), after.json.contains("skins"));
    if (!before.json.contains("skins"))
        return;
    const auto binds = [](const glb_file_t &file) {
        return file.elements<kmg_matrix_t>(file.json.at("skins").at(0).at("inverseBindMatrices"));
    };
    const auto binds_before = binds(before), binds_after = binds(after);
    ASSERT_EQ(binds_before.size(), binds_after.size());
    for (size_t i = 0; i < binds_before.size(); ++i)
        expect_near(binds_before[i], binds_after[i], 1e-5);
}

} // namespace

TEST(gltf_round_trip, geometry_files_of_the_samples_come_back) {
    for (const auto &path : sample_models()) {
        const converted_model_t sample(path, true);
        const auto original = opened(sample.bytes);
        const imported_model_t model = import(glb_of(original));
        for (const auto numbers : {number_style_t::bit_patterns, number_style_t::shortest_decimals}) {
            const auto bytes = converted(model, numbers);
            diff_kmg(original, opened(bytes), 0, [&](const kmg_difference_t &difference) {
                EXPECT_TRUE(sample.skeleton && is_named(difference)) << path << ": " << to_text(difference);
            });
        }
    }
}

TEST(gltf_round_trip, gltf_files_of_the_samples_come_back) {
    for (const auto &path : sample_models()) {
        SCOPED_TRACE(path);
        const converted_model_t sample(path);
        const std::string before = glb_of(opened(sample.bytes));
        const auto bytes = converted(import(before), number_style_t::bit_patterns);
        expect_same(glb_file_t(before), glb_file_t(glb_of(opened(bytes))));
    }
}

TEST(gltf_round_trip, gltf_files_of_modelling_tools_come_back) {
    for (const char *name : {"pete_gear.gltf", "house.glb"}) {
        SCOPED_TRACE(name);
        const std::string before = read_whole_file(files / name);
        const auto bytes = converted(import(before), number_style_t::bit_patterns);
        const glb_file_t after(glb_of(opened(bytes)));
        if (std::string_view(name).ends_with("glb"))
            expect_same(glb_file_t(before), after);
        else
            expect_same(glb_file_t(before, read_whole_file(files / "pete_gear.bin")), after);
    }
}

TEST(text_writer, numbers_come_back) {
    const auto text_of = [](float value, number_style_t style) {
        text_writer_t out;
        out.reals(std::span(&value, 1), style);
        return std::string(out.buffer());
    };
    const struct {
        float value;
        const char *bits, *decimals;
    } cases[] = {{1, "&3f800000", "1.0"},          {-0.0f, "&80000000", "-0.0"},
                 {0.1f, "&3dcccccd", "0.1"},       {1e10f, "&501502f9", "1e10"},
                 {-1e-45f, "&80000001", "-1e-45"}, {16777216, "&4b800000", "16777216.0"}};
    for (const auto &each : cases) {
        EXPECT_EQ(text_of(each.value, number_style_t::bit_patterns), each.bits);
        EXPECT_EQ(text_of(each.value, number_style_t::shortest_decimals), each.decimals);
    }
    // 0x15ae43fd is the one whose shortest digits, read as a double, round to another single.
    uint32_t pattern = 0x15ae43fd;
    for (int i = 0; i < 20'000; ++i, pattern = pattern * 1664525 + 1013904223) {
        const auto value = std::bit_cast<float>(pattern);
        if (!std::isfinite(value))
            continue;
        const std::string text = text_of(value, number_style_t::shortest_decimals);
        const auto read = static_cast<float>(std::strtod(text.c_str(), nullptr));
        ASSERT_EQ(std::bit_cast<uint32_t>(read), pattern) << text;
        ASSERT_THAT(text, testing::ContainsRegex("[.e]"));
    }
}

} // namespace kestrel
