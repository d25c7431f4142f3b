#include "tools/kmg/kmg_check.h"

#include "tests/kmg/kmg_builder.h"
#include "tests/support/converted_model.h"
#include "tools/conv/intermediate/kis_model.h"
#include "tools/conv/kim2kmg/affine/affine_decomposition.h"
#include "tools/kmg/affine.h"

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

bool has(const std::vector<kmg_finding_t> &findings, finding_code_t code) {
    return std::any_of(findings.begin(), findings.end(),
                       [&](const auto &finding) { return finding.code == code; });
}

constexpr float nan_value = std::numeric_limits<float>::quiet_NaN();

} // namespace

TEST(kmg_check, nothing_is_wrong_with_good_files) {
    EXPECT_EQ(told(check_kmg(build(small_source()))), "");
    EXPECT_EQ(told(check_kmg(build(empty_source()))), "");
    for (const auto &path : sample_models())
        for (const bool tangents : {false, true})
            for (const kmg_finding_t &finding : check_kmg(converted_model_t(path, tangents).bytes))
                EXPECT_EQ(kind_of(finding.code).severity, severity_t::note) << path << "\n"
                                                                            << told({finding});
}

TEST(kmg_check, each_damaged_field_is_found) {
    const bytes_t good = build(small_source());
    const auto at = [&](kind_t kind, size_t index, std::string_view field, size_t element = 0) {
        return byte_of(good, kind, index, field) + element;
    };
    const auto field = [&](size_t piece, std::string_view stream, size_t vertex) {
        uint32_t offset, stride;
        little_endian::get(good.data() + at(kind_t::piece, piece, stream), offset);
        little_endian::get(good.data() + at(kind_t::piece, piece, "vertex_stride"), stride);
        return offset + vertex * stride;
    };
    uint32_t indices, pool;
    little_endian::get(good.data() + at(kind_t::piece, 0, "index_offset"), indices);
    little_endian::get(good.data() + at(kind_t::header, 0, "string_pool_offset"), pool);

    const struct {
        const char *what;
        finding_code_t code;
        bytes_t file;
    } cases[] = {
        {"signature", signature, planted(good, 0, 0x4B6D6714u)},
        {"piece count", section, planted(good, 4, 3u)},
        {"no parts", count, planted(good, 8, 0u)},
        {"256 bones", count, planted(good, 12, 256u)},
        {"huge piece count", section, planted(good, 4, 0xFFFFFFFFu)},
        {"influences", count, planted(good, 16, 3u)},
        {"locators", section, planted(good, 20, 1u)},
        {"bones offset", section, planted(good, 72, 116u)},
        {"pool size", section, planted(good, 92, 12u)},
        {"vertex data size", section, planted(good, 100, 28u)},
        {"index data offset", section, planted(good, 104, 0xFFFFFFFCu)},
        {"index data size", file_too_short, planted(good, 108, 24u)},
        {"index data size", file_too_long, planted(good, 108, 16u)},
        {"centre of the model", not_finite, planted(good, 32, nan_value)},
        {"sphere of the model", sphere, planted(good, 44, 0.5f)},
        {"box of the model", box, planted(good, 48, 0.5f)},
        {"box of the model", box_loose, planted(good, 60, 9.0f)},

        {"bone name", token, planted(good, at(kind_t::bone, 0, "name"), uint64_t{38})},
        {"bone name", token, planted(good, at(kind_t::bone, 1, "name"), ~uint64_t{0})},
        {"matrix", bone_inverse, planted(good, at(kind_t::bone, 0, "matrix", 4), 0.25f)},
        {"inverse", bone_inverse, planted(good, at(kind_t::bone, 1, "inverse", 28), 0.0f)},
        {"matrix", bone_singular, planted(good, at(kind_t::bone, 1, "matrix"), 0.0f)},
        {"stretch rotation", bone_rotation, planted(good, at(kind_t::bone, 0, "stretch_rotation"), 0.9f)},
        {"rotation", bone_rotation, planted(good, at(kind_t::bone, 0, "rotation", 4), 0.1f)},
        {"rotation", bone_local,
         planted(planted(good, at(kind_t::bone, 0, "rotation"), 0.0f), at(kind_t::bone, 0, "rotation", 4),
                 1.0f)},
        {"translation", bone_local, planted(good, at(kind_t::bone, 1, "translation", 4), 2.5f)},
        {"scale", bone_local, planted(good, at(kind_t::bone, 1, "scale", 8), 1.5f)},
        {"scale", not_finite,
         planted(good, at(kind_t::bone, 1, "scale"), std::numeric_limits<float>::infinity())},
        {"sign", bone_sign, planted(good, at(kind_t::bone, 0, "sign"), 0.0f)},
        {"sign", bone_local, planted(good, at(kind_t::bone, 0, "sign"), -1.0f)},
        {"parent", bone_parent, planted(good, at(kind_t::bone, 0, "parent"), uint8_t{0})},
        {"parent", bone_parent, planted(good, at(kind_t::bone, 1, "parent"), uint8_t{1})},
        {"reserved", bone_reserved, planted(good, at(kind_t::bone, 1, "reserved", 2), uint8_t{7})},

        {"part name", token, planted(good, at(kind_t::part, 0, "name"), uint64_t{1} << 63 | 11)},
        {"part name", name_empty, planted(good, at(kind_t::part, 0, "name"), uint64_t{0})},
        {"part's pieces", part_range, planted(good, at(kind_t::part, 0, "piece_count"), 2u)},
        {"part's pieces", part_range, planted(good, at(kind_t::part, 1, "piece_count"), 0u)},
        {"part's first piece", part_range, planted(good, at(kind_t::part, 1, "first_piece"), 0u)},
        {"part's locators", part_range, planted(good, at(kind_t::part, 1, "locator_count"), 0xFFFFFFFFu)},
        {"part's first locator", part_range, planted(good, at(kind_t::part, 0, "first_locator"), 1u)},
        {"unlisted locator", locator_stray, planted(good, at(kind_t::part, 1, "locator_count"), 0u)},

        {"locator name", token, planted(good, at(kind_t::locator, 0, "name"), uint64_t{38 * 5})},
        {"locator position", not_finite, planted(good, at(kind_t::locator, 0, "position", 4), nan_value)},
        {"locator scale", locator_scale, planted(good, at(kind_t::locator, 1, "scale"), 2.0f)},
        {"locator rotation", locator_rotation, planted(good, at(kind_t::locator, 1, "rotation", 4), 0.5f)},
        {"hookup inside a string", locator_hookup, planted(good, at(kind_t::locator, 1, "hookup"), 5u)},
        {"hookup outside", locator_hookup, planted(good, at(kind_t::locator, 1, "hookup"), 0xFFFFFFFEu)},
        {"string without end", pool_text, planted(good, pool + 6, 0x7878)},
        {"pool padding", pool_text, planted(good, pool + 7, uint8_t{1})},

        {"index count", count, planted(good, at(kind_t::piece, 0, "index_count"), 5u)},
        {"index count", count, planted(good, at(kind_t::piece, 1, "index_count"), 6u)},
        {"index count", piece_layout, planted(good, at(kind_t::piece, 0, "index_count"), 3u)},
        {"vertex count", count, planted(good, at(kind_t::piece, 0, "vertex_count"), 0u)},
        {"vertex count", count, planted(good, at(kind_t::piece, 1, "vertex_count"), 65536u)},
        {"vertex count", count, planted(good, at(kind_t::piece, 1, "vertex_count"), 4u)},
        {"vertex count", section, planted(good, at(kind_t::piece, 1, "vertex_count"), 2u)},
        {"vertex count", piece_layout, planted(good, at(kind_t::piece, 0, "vertex_count"), 5u)},
        {"channels", count, planted(good, at(kind_t::piece, 1, "uv_channel_count"), 9u)},
        {"channels", piece_layout, planted(good, at(kind_t::piece, 1, "uv_channel_count"), 1u)},
        {"texture map", texture_map,
         planted(good, at(kind_t::piece, 1, "texture_coordinate_map"), 0xFFFFFF20u)},
        {"texture map", texture_map,
         planted(good, at(kind_t::piece, 0, "texture_coordinate_map"), 0xFFFFFFF0u)},
        {"stride", piece_layout, planted(good, at(kind_t::piece, 0, "vertex_stride"), 40u)},
        {"tangents", piece_layout, planted(good, at(kind_t::piece, 1, "tangent_offset"), 0xFFFFFFFFu)},
        {"weights", piece_layout, planted(good, at(kind_t::piece, 1, "bone_weight_offset"), 0xFFFFFFFFu)},
        {"positions", piece_layout, planted(good, at(kind_t::piece, 1, "position_offset"), 0x80000000u)},
        {"indices", piece_layout, planted(good, at(kind_t::piece, 1, "index_offset"), indices)},
        {"sphere of a piece", sphere, planted(good, at(kind_t::piece, 1, "sphere_radius"), 0.1f)},
        {"sphere of a piece", sphere, planted(good, at(kind_t::piece, 1, "sphere_radius"), -1.0f)},
        {"sphere of a piece", not_finite, planted(good, at(kind_t::piece, 1, "sphere_centre"), nan_value)},
        {"box of a piece", box, planted(good, at(kind_t::piece, 1, "box_maximum", 4), 2.5f)},
        {"box of a piece", box_loose, planted(good, at(kind_t::piece, 0, "box_minimum", 8), -1.0f)},

        {"position", not_finite, planted(good, field(0, "position_offset", 3), nan_value)},
        {"position", box, planted(good, field(0, "position_offset", 3), -4.0f)},
        {"normal", not_finite,
         planted(good, field(1, "normal_offset", 2), -std::numeric_limits<float>::infinity())},
        {"normal", normal_length, planted(good, field(1, "normal_offset", 2), 2.0f)},
        {"tangent", tangent_length, planted(good, field(1, "tangent_offset", 0), 0.0f)},
        {"tangent", tangent_sign, planted(good, field(1, "tangent_offset", 0) + 12, 0.0f)},
        {"texture coordinate", not_finite, planted(good, field(1, "uv_offset", 1) + 12, nan_value)},
        {"bone index", bone_index, planted(good, field(0, "bone_index_offset", 3), uint8_t{2})},
        {"weight", weights_below, planted(good, field(0, "bone_weight_offset", 2), uint8_t{99})},
        {"weight", weights_above, planted(good, field(0, "bone_weight_offset", 2), uint8_t{101})},

        {"index", index, planted(good, indices + 10, uint16_t{4})},
        {"index", triangle_degenerate, planted(good, indices + 10, uint16_t{0})},
        {"index", triangle_duplicate,
         planted(planted(good, indices + 6, uint16_t{1}), indices + 10, uint16_t{0})},
        {"index", vertex_unused, planted(good, indices + 10, uint16_t{1})},
        {"no area", triangle_degenerate, planted(good, field(0, "position_offset", 2) + 4, 0.0f)},
        {"padding", index_padding, planted(good, indices + 12 + 6, uint16_t{1})},
    };
    for (const auto &each : cases) {
        ASSERT_NE(each.file, good) << each.what << ": nothing planted";
        const auto findings = check_kmg(each.file);
        EXPECT_TRUE(has(findings, each.code)) << each.what << ": no " << kind_of(each.code).name << " in\n"
                                              << told(findings);
        const bool severe = kind_of(each.code).severity == severity_t::error;
        if (severe) {
            EXPECT_TRUE(has_error(findings)) << each.what;
        }
    }
}

// Bones as the converter makes them of ordinary transforms: turned, stretched along any axes, mirrored, far
// away.
TEST(kmg_check, bones_that_the_converter_makes_are_sound) {
    std::mt19937 random(7);
    const auto between = [&](double low, double high) {
        return low + (high - low) * static_cast<double>(random()) / static_cast<double>(std::mt19937::max());
    };
    const auto random_rotation = [&] {
        std::array<float, 4> q;
        for (float &value : q)
            value = static_cast<float>(between(-1, 1));
        return rotation_matrix(normalised(q));
    };
    const auto random_transform = [&] {
        matrix_t stretch = identity_matrix;
        for (size_t i = 0; i < 3; ++i)
            stretch.m[i][i] = std::pow(10, between(-1, 1)) * (between(0, 1) < 0.2 ? -1 : 1);
        const matrix_t product = random_rotation() * stretch * random_rotation();
        kmg_matrix_t values;
        for (size_t i = 0; i < 16; ++i)
            values[i] = static_cast<float>(product.m[i / 4][i % 4]);
        for (const size_t i : std::initializer_list<size_t>{3, 7, 11})
            values[i] = static_cast<float>(between(-100, 100));
        return values;
    };
    kmg_source_t source = small_source();
    for (int round = 0; round < 2000; ++round) {
        for (kmg_bone_data_t &bone : source.bones) {
            bone.matrix = random_transform();
            bone.inverse = invert_matrix(bone.matrix).values;
            kmg_matrix_t local = bone.matrix;
            if (bone.parent != kmg_no_parent) {
                const kmg_matrix_t &p = source.bones[bone.parent].inverse;
                for (size_t r = 0; r < 4; ++r)
                    for (size_t c = 0; c < 4; ++c)
                        local[4 * r + c] = p[4 * r] * bone.matrix[c] + p[4 * r + 1] * bone.matrix[4 + c] +
                                           p[4 * r + 2] * bone.matrix[8 + c] +
                                           p[4 * r + 3] * bone.matrix[12 + c];
            }
            const affine_parts_t parts = affine_decomposition(local);
            bone.translation = parts.t;
            bone.rotation = parts.q;
            bone.stretch_rotation = parts.u;
            bone.scale = parts.k;
            bone.sign = parts.f;
        }
        ASSERT_EQ(told(check_kmg(build(source))), "") << round;
    }
}

TEST(kmg_check, a_flat_bone_is_a_warning) {
    kmg_source_t source = small_source();
    source.bones[1].matrix = {1, 0, 0, 0, 0, 1, 0, 3, 0, 0, 0, 0, 0, 0, 0, 1};
    source.bones[1].inverse = {};
    source.bones[1].rotation = {0, 0, 0, 0.5f};
    const auto findings = check_kmg(build(source));
    EXPECT_TRUE(has(findings, bone_singular)) << told(findings);
    EXPECT_FALSE(has_error(findings)) << told(findings);
}

TEST(kmg_check, tells_a_few_of_a_kind_and_counts_the_rest) {
    kmg_source_t source = small_source();
    for (vertex_t &vertex : source.pieces[0].vertices)
        vertex.normal = {0, 0, 2};
    const auto findings = check_kmg(build(source), 3);
    ASSERT_EQ(findings.size(), 4u) << told(findings);
    EXPECT_EQ(findings[2].place.vertex, 2u);
    EXPECT_EQ(findings[3].more, 1u);
    EXPECT_EQ(findings[3].code, normal_length);
    EXPECT_EQ(check_kmg(build(source), kmg_findings_t::no_limit).size(), 4u);
}

// Any damage at all is survived; what survives the structure checks can be looked at whole.
TEST(kmg_check, random_damage_gives_findings_not_crashes) {
    std::mt19937 random(20240607);
    const bytes_t good = build(small_source());
    const uint32_t telling[] = {0, 1, 4, 0x7F800000, 0x7FC00000, 0x7FFFFFFF, 0xFFFFFFFC, 0xFFFFFFFF};
    size_t broken = 0;
    for (int round = 0; round < 20000; ++round) {
        bytes_t file = good;
        for (unsigned damage = 1 + random() % 4; damage > 0; --damage) {
            const size_t byte = random() % (file.size() - 3);
            if (random() % 2 == 0)
                file[byte] ^= static_cast<std::byte>(1u << random() % 8);
            else
                file = planted(std::move(file), byte / 4 * 4, telling[random() % std::size(telling)]);
        }
        broken += has_error(check_kmg(file));
    }
    EXPECT_GT(broken, 10000u);
    EXPECT_LT(broken, 20000u);
}

} // namespace kestrel
