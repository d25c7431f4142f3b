#include "tools/kmg/kmg_check.h"

#include "tests/kmg/kmg_builder.h"
#include "tests/support/converted_model.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <limits>
#include <random>

namespace kestrel {

namespace {

using enum finding_code_t;
using kind_t = kmg_record_kind_t;

std::string told(const std::vector<kmg_finding_t> &findings) {
    std::string lines;
    for (const kmg_finding_t &finding : findings)
        lines += std::string(name_of(kind_of(finding.code).severity)) + " " +
                 std::string(kind_of(finding.code).name) + " " + to_text(finding.place) + ": " +
                 finding.text + "\n";
    return lines;
}

constexpr float nan_value = std::numeric_limits<float>::quiet_NaN();

} // namespace

TEST(kmg_check, nothing_is_wrong_with_good_files) {
    EXPECT_EQ(told(check_kmg(build(small_source()))), "");
    EXPECT_EQ(told(check_kmg(build(empty_source()))), "");
    for (const auto &path : sample_models())
        for (const bool tangents : {false, true})
            for (const kmg_finding_t &finding : check_kmg(converted_model_t(path, tangents).bytes))
                // Converted in memory, the skeleton has no path that could be hashed.
                EXPECT_TRUE(kind_of(finding.code).severity == severity_t::note ||
                            finding.code == skeleton_hash)
                    << path << "\n"
                    << told({finding});
}

// A fault in a single field is told at that field, whatever else follows from it.
TEST(kmg_check, each_damaged_field_is_named) {
    const bytes_t good = build(small_source());
    const auto at = [&](kind_t kind, size_t index, std::string_view field) {
        return byte_of(good, kind, index, field);
    };
    const auto u32_at = [&](size_t byte) {
        uint32_t value;
        little_endian::get(good.data() + byte, value);
        return value;
    };
    const auto planted_at = [&](finding_code_t code, size_t field, size_t element, auto value,
                                size_t told_at = 0) {
        const bytes_t file = planted(good, field + element, value);
        ASSERT_NE(file, good) << kind_of(code).name << " at " << field << ": nothing planted";
        const auto findings = check_kmg(file);
        const size_t expected = told_at != 0 ? told_at : field;
        EXPECT_TRUE(std::any_of(findings.begin(), findings.end(),
                                [&](const kmg_finding_t &finding) {
                                    return finding.code == code && finding.place.byte == expected;
                                }))
            << kind_of(code).name << " expected at byte " << expected << ", but\n"
            << told(findings);
        EXPECT_TRUE(kind_of(code).severity != severity_t::error || has_error(findings));
    };
    const auto header = [&](finding_code_t code, std::string_view field, auto value, size_t element = 0) {
        planted_at(code, at(kind_t::header, 0, field), element, value);
    };
    header(signature, "signature", 0x4B6D6714u);
    for (const uint32_t value : {0u, 1u, 3u, 4u, 256u, 0x7FFFFFFFu, 0xFFFFFFFFu}) {
        header(count, "piece_count", value);
        header(count, "part_count", value);
        header(count, "bone_count", value);
        header(count, "influence_count", value == 4 ? 5 : value);
        header(count, "locator_count", value);
        for (const char *field :
             {"bones", "parts", "locators", "pieces", "string_pool", "vertex_data", "index_data"})
            header(section, std::string(field) + "_offset", value);
        for (const char *field : {"string_pool", "vertex_data", "index_data"})
            header(section, std::string(field) + "_size", value);
    }
    header(skeleton_hash, "skeleton_hash", uint64_t{0});
    header(not_finite, "sphere_centre", nan_value);
    header(sphere, "sphere_radius", 0.5f);
    header(sphere_loose, "sphere_radius", 2.6f);
    header(sphere, "sphere_centre", 90.0f);
    header(box, "box_minimum", 0.5f);
    header(box_loose, "box_maximum", 9.0f);

    const auto bone = [&](finding_code_t code, size_t index, std::string_view field, size_t element,
                          auto value) { planted_at(code, at(kind_t::bone, index, field), element, value); };
    bone(token, 0, "name", 0, uint64_t{38});
    bone(token, 1, "name", 0, ~uint64_t{0});
    bone(name_repeated, 1, "name", 0, small_source().bones[0].name);
    for (const size_t index : {0, 1}) {
        bone(bone_inverse, index, "matrix", 4, 0.25f);
        bone(bone_inverse, index, "matrix", 12, 7.0f);
        bone(bone_inverse, index, "inverse", 28, 5.0f);
        bone(bone_last_row, index, "matrix", 48, 0.5f);
        bone(bone_last_row, index, "inverse", 60, 2.0f);
        bone(not_finite, index, "matrix", 8, nan_value);
        bone(bone_rotation, index, "stretch_rotation", 0, 0.9f);
        bone(bone_rotation, index, "rotation", 4, 0.1f);
        bone(bone_local, index, "translation", 4, 2.5f);
        bone(bone_local, index, "scale", 8, 1.5f);
        bone(bone_local, index, "sign", 0, -1.0f);
        bone(bone_sign, index, "sign", 0, 0.0f);
        bone(bone_parent, index, "parent", 0, uint8_t(index));
    }
    bone(bone_singular, 1, "matrix", 0, 0.0f);
    bone(bone_local, 1, "parent", 0, uint8_t{255});
    bone(bone_reserved, 1, "reserved", 2, uint8_t{7});

    const auto part = [&](finding_code_t code, size_t index, std::string_view field, auto value) {
        planted_at(code, at(kind_t::part, index, field), 0, value);
    };
    part(token, 0, "name", uint64_t{1} << 63 | 11);
    part(name_empty, 0, "name", uint64_t{0});
    for (const size_t index : {0, 1})
        for (const uint32_t value : {2u, 3u, 0x80000000u, 0xFFFFFFFFu}) {
            part(part_range, index, "piece_count", value);
            part(part_range, index, "first_piece", value);
            part(part_range, index, "locator_count", value);
            part(part_range, index, "first_locator", value);
        }
    part(part_range, 0, "locator_count", 0u);
    part(part_range, 1, "first_locator", 0u);
    part(part_range, 1, "piece_count", 0u);
    part(locator_stray, 1, "locator_count", 0u);

    const auto locator = [&](finding_code_t code, size_t index, std::string_view field, size_t element,
                             auto value) {
        planted_at(code, at(kind_t::locator, index, field), element, value);
    };
    locator(token, 0, "name", 0, uint64_t{38 * 5});
    locator(not_finite, 0, "position", 4, nan_value);
    locator(locator_far, 1, "position", 4, -1000.0f);
    locator(locator_scale, 1, "scale", 0, 2.0f);
    locator(locator_rotation, 1, "rotation", 4, 0.5f);
    locator(locator_hookup, 1, "hookup", 0, 5u);
    locator(locator_hookup, 1, "hookup", 0, 0xFFFFFFFEu);
    const size_t pool = u32_at(88);
    planted_at(pool_text, pool, 6, uint16_t{0x7878});
    planted_at(pool_text, pool + 7, 0, uint8_t{1});
    planted_at(pool_utf8, pool, 1, uint8_t{0xFF});

    const auto piece = [&](finding_code_t code, size_t index, std::string_view field, auto value,
                           size_t element = 0) {
        planted_at(code, at(kind_t::piece, index, field), element, value);
    };
    for (const size_t index : {0, 1}) {
        for (const uint32_t value : {5u, 0u, 9u, 0xFFFFFFFFu}) {
            piece(count, index, "index_count", value);
            piece(count, index, "vertex_count", value);
        }
        for (const uint32_t value : {1u, 3u, 8u, 9u, 0xFFFFFFFFu})
            piece(piece_layout, index, "uv_channel_count", value);
        for (const char *field :
             {"vertex_stride", "position_offset", "normal_offset", "uv_offset", "colour_offset",
              "factor_offset", "tangent_offset", "bone_index_offset", "bone_weight_offset", "index_offset"})
            for (const uint32_t value : {0u, 40u, 0x80000000u})
                piece(piece_layout, index, field, value);
        piece(box, index, "box_maximum", 0.5f);
        piece(box_loose, index, "box_minimum", -1.0f, 8);
        piece(sphere, index, "sphere_radius", 0.1f);
        piece(sphere_loose, index, "sphere_radius", 1.6f);
        piece(not_finite, index, "sphere_centre", nan_value);
        piece(material_gap, index, "material", 7u);
    }
    for (const char *field : {"tangent_offset", "factor_offset", "uv_offset", "bone_weight_offset"})
        piece(piece_layout, 1, field, kmg_absent);
    piece(texture_map, 1, "texture_coordinate_map", 0xFFFFFF20u);
    piece(texture_map, 0, "texture_coordinate_map", 0xFFFFFFF0u);
    piece(uv_unused, 1, "texture_coordinate_map", 0xFFFFFFF0u);

    const auto vertex = [&](finding_code_t code, size_t index, std::string_view stream, size_t number,
                            size_t element, auto value) {
        const size_t stride = u32_at(at(kind_t::piece, index, "vertex_stride"));
        planted_at(code, u32_at(at(kind_t::piece, index, stream)) + number * stride, element, value);
    };
    vertex(not_finite, 0, "position_offset", 3, 0, nan_value);
    vertex(box, 0, "position_offset", 3, 0, -4.0f);
    vertex(not_finite, 1, "normal_offset", 2, 8, -std::numeric_limits<float>::infinity());
    vertex(normal_length, 1, "normal_offset", 2, 8, 2.0f);
    vertex(normal_zero, 1, "normal_offset", 2, 8, 0.0f);
    vertex(tangent_length, 1, "tangent_offset", 0, 0, 0.0f);
    vertex(tangent_sign, 1, "tangent_offset", 0, 12, 0.0f);
    vertex(not_finite, 1, "uv_offset", 1, 4, nan_value);
    vertex(uv_range, 1, "uv_offset", 1, 0, 1001.0f);
    vertex(bone_index, 0, "bone_index_offset", 3, 0, uint8_t{2});
    vertex(bone_slots, 0, "bone_index_offset", 2, 0, uint8_t{1});
    vertex(bone_slots, 0, "bone_index_offset", 0, 3, uint8_t{1});
    vertex(weights_below, 0, "bone_weight_offset", 2, 0, uint8_t{99});
    vertex(weights_above, 0, "bone_weight_offset", 2, 0, uint8_t{101});
    vertex(vertex_copied, 1, "position_offset", 2, 0, kmg_float3_t{0, 2, 0});

    const size_t indices = u32_at(at(kind_t::piece, 0, "index_offset"));
    planted_at(index, indices + 10, 0, uint16_t{4});
    planted_at(triangle_degenerate, indices + 6, 4, uint16_t{0});
    planted_at(triangle_turned, indices, 0, std::array<uint16_t, 3>{1, 0, 2});
    planted_at(triangle_duplicate, indices + 6, 0, std::array<uint16_t, 3>{1, 2, 0});
    planted_at(vertex_unused, indices + 10, 0, uint16_t{1},
               u32_at(at(kind_t::piece, 0, "position_offset")) + 3 * 36);
    planted_at(index_padding, indices + 12 + 6, 0, uint16_t{1});
}

// What needs more than one field to be wrong.
TEST(kmg_check, tells_what_will_hardly_look_as_meant) {
    const struct {
        finding_code_t code;
        const char *text;
        void (*change)(kmg_source_t &);
    } cases[] = {
        {bone_singular, "determinant of the matrix is 0, and",
         [](kmg_source_t &source) {
             source.bones[1].matrix = {1, 0, 0, 0, 0, 1, 0, 3, 0, 0, 0, 0, 0, 0, 0, 1};
             source.bones[1].inverse = {};
             source.bones[1].rotation = {0, 0, 0, 0.5f};
         }},
        // Nothing is said of the child of a bone that has no inverse.
        {bone_singular, "bone 0 (byte 120): determinant of the matrix is 1e-06",
         [](kmg_source_t &source) {
             source.bones[0].matrix = {0.01f, 0, 0, 0, 0, 0.01f, 0, 1, 0, 0, 0.01f, 0, 0, 0, 0, 1};
             source.bones[0].inverse = {1e-4f, 0, 0, 0, 0, 1e-4f, 0, -1e-4f, 0, 0, 1e-4f, 0, 0, 0, 0, 1e-6f};
             source.bones[0].scale = {0.01f, 0.01f, 0.01f};
         }},
        {bone_last_row, "matrix is transposed: the translation 0 1 0 stands in the last row",
         [](kmg_source_t &source) {
             std::swap(source.bones[0].matrix[7], source.bones[0].matrix[13]);
             std::swap(source.bones[0].inverse[7], source.bones[0].inverse[13]);
             source.bones[0].translation[1] = 0;
             source.bones[1].translation[1] = 3;
         }},
        {bone_unnamed, "1 of 2 bones have lost their names",
         [](kmg_source_t &source) { source.bones[1].name = kmg_name("unnamed_001"); }},
        {bone_unused, "1 of 3 bones move no vertex: 0",
         [](kmg_source_t &source) {
             source.bones.push_back(source.bones[1]);
             source.bones[2].name = kmg_name("tail");
             for (piece_source_t &piece : source.pieces)
                 for (vertex_t &vertex : piece.vertices)
                     vertex.bones = {1, 2, 2, 2}, vertex.weights = {100, 155, 0, 0};
         }},
        {skin_one_bone, "moves all vertices, the other 1 move none",
         [](kmg_source_t &source) {
             for (piece_source_t &piece : source.pieces)
                 for (vertex_t &vertex : piece.vertices)
                     vertex.bones = {}, vertex.weights = {255, 0, 0, 0};
         }},
        {skeleton_hash, "though there are no bones", [](kmg_source_t &source) { source.bones.clear(); }},
        {uv_constant, "uv0 of all vertices is 0.5 0.5",
         [](kmg_source_t &source) {
             for (vertex_t &vertex : source.pieces[1].vertices)
                 vertex.uv[0] = {0.5f, 0.5f};
         }},
        {colour_black, "red, green and blue of all vertices are 0",
         [](kmg_source_t &source) {
             for (vertex_t &vertex : source.pieces[0].vertices)
                 vertex.colour = {0, 0, 0, 255};
         }},
        {sphere_loose, "half the box's diagonal is",
         [](kmg_source_t &source) {
             source.pieces[0].sphere = {{-2, 1, 0}, std::sqrt(17.0f)};
         }},
        {not_finite, "rotation is nan 0 0 0", // and still the rest of its record is told
         [](kmg_source_t &source) {
             source.bones[1].rotation[0] = nan_value;
             source.bones[1].sign = 3;
         }},
        {bone_sign, "sign is 3",
         [](kmg_source_t &source) {
             source.bones[1].rotation[0] = nan_value;
             source.bones[1].sign = 3;
         }},
    };
    for (const auto &each : cases) {
        kmg_source_t source = small_source();
        each.change(source);
        const auto findings = check_kmg(build(source));
        EXPECT_TRUE(std::any_of(findings.begin(), findings.end(),
                                [&](const kmg_finding_t &finding) {
                                    return finding.code == each.code &&
                                           (to_text(finding.place) + ": " + finding.text).find(each.text) !=
                                               std::string::npos;
                                }))
            << kind_of(each.code).name << "\n"
            << told(findings);
        EXPECT_EQ(has_error(findings), each.code == not_finite || each.code == bone_sign) << told(findings);
    }
}

TEST(kmg_check, tells_a_few_of_a_kind_and_counts_the_rest) {
    kmg_source_t source = small_source();
    for (vertex_t &vertex : source.pieces[0].vertices)
        vertex.normal = {0, 0, 2};
    const auto findings = check_kmg(build(source), 3);
    ASSERT_EQ(findings.size(), 4u) << told(findings);
    EXPECT_EQ(findings[2].place.vertex, 2u);
    EXPECT_EQ(findings[3].more, 1u);
    EXPECT_EQ(findings[3].text, "1 more at this piece, this one the first");
    EXPECT_EQ(findings[3].place.vertex, 3u);
    EXPECT_EQ(findings[3].code, normal_length);
    EXPECT_EQ(check_kmg(build(source), 4).size(), 4u);
    // Of a file, ten times as many.
    source = small_source();
    source.locators.assign(30, source.locators[0]);
    for (kmg_locator_t &locator : source.locators)
        locator.scale = 2;
    source.parts[0].locator_count = 29;
    source.parts[1].first_locator = 29;
    const auto scales = check_kmg(build(source), 1);
    EXPECT_EQ(std::count_if(scales.begin(), scales.end(), [](auto &f) { return f.code == locator_scale; }),
              11);
    EXPECT_EQ(count_findings(scales).errors, 30u);
}

} // namespace kestrel
