// There and back: what glTF and geometry files keep of each other, with the converter in between.

#include "kcore/kutils/ufs/mem_file.h"
#include "tests/support/asset_tree.h"
#include "tests/support/captured_messages.h"
#include "tests/support/converted_model.h"
#include "tools/conv/intermediate/parse_file.h"
#include "tools/conv/kim2kmg/writer/kmg_writer.h"
#include "tools/gltf/gltf_export.h"
#include "tools/gltf/gltf_import.h"
#include "tools/gltf/imported_model_text.h"
#include "tools/kmg/kmg_diff.h"

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

// What has gone through the converter once stays the same from then on.
TEST(gltf_round_trip, gltf_files_of_modelling_tools_come_back) {
    for (const auto &[name, corners] : {std::pair("pete_gear.gltf", 3342u), {"house.glb", 4998u}}) {
        SCOPED_TRACE(name);
        const auto bytes = converted(import(read_whole_file(files / name)), number_style_t::bit_patterns);
        const auto first = opened(bytes);
        const auto again = converted(import(glb_of(first)), number_style_t::bit_patterns);
        diff_kmg(first, opened(again), 0, [&](const kmg_difference_t &difference) {
            EXPECT_TRUE(first.header().bone_count > 0 && is_named(difference)) << to_text(difference);
        });
        size_t indices = 0;
        for (const kmg_piece_t piece : first.pieces())
            indices += piece.index_count;
        EXPECT_EQ(indices, corners);
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
        ASSERT_NE(text.find_first_of(".e"), std::string::npos) << text;
    }
}

} // namespace kestrel
