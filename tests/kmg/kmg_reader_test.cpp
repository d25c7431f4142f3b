#include "tools/kmg/kmg_reader.h"

#include "tests/kmg/kmg_builder.h"
#include "tests/support/converted_model.h"

#include <cstring>
#include <gtest/gtest.h>

namespace kestrel {

TEST(kmg_reader, tells_the_first_fault) {
    const bytes_t good = build(small_source());
    const size_t stride = byte_of(good, kmg_record_kind_t::piece, 1, "vertex_stride");
    kmg_fault_t fault;
    EXPECT_FALSE(kmg_reader_t::open(planted(good, stride, 44u), &fault));
    // position 12, normal 12, tangent 16, colour 4, factor 4, UV 2 x 8, bones 8
    EXPECT_EQ(to_text(fault),
              "piece 1 (byte " + std::to_string(stride) + "): vertex_stride is 44, expected 72");

    EXPECT_FALSE(kmg_reader_t::open(std::span(good).first(40), &fault));
    EXPECT_EQ(to_text(fault), "file (byte 40): size is 40, expected 112");
    EXPECT_FALSE(kmg_reader_t::open({}));
    // 3 pieces of 100 bytes would end where the strings begin if there were one less.
    EXPECT_FALSE(kmg_reader_t::open(planted(good, 4, 3u), &fault));
    EXPECT_EQ(to_text(fault), "header (byte 4): piece_count is 3, the sections leave room for 2");
    EXPECT_FALSE(kmg_reader_t::open(std::as_bytes(std::span("version:3\r\n/a.kim\r\n")), &fault));
    EXPECT_EQ(text_of(fault), "not a geometry file but a dependency file");
    EXPECT_FALSE(kmg_reader_t::open(planted(good, 0, 0x46546C67u), &fault));
    EXPECT_EQ(text_of(fault), "not a geometry file: begins with bytes 67 6C 54 46, expected 15 67 6D 4B");
    EXPECT_FALSE(kmg_reader_t::open(
        planted(good, byte_of(good, kmg_record_kind_t::piece, 1, "uv_offset"), kmg_absent), &fault));
    EXPECT_TRUE(text_of(fault).starts_with("uv_offset is absent, expected ")) << text_of(fault);
}

// Whatever a count or an offset says, a file either opens and can be read through, or does not open.
TEST(kmg_reader, no_value_of_a_field_leads_outside) {
    const bytes_t good = build(small_source());
    const auto pieces = byte_of(good, kmg_record_kind_t::piece, 0, "index_count");
    const auto parts = byte_of(good, kmg_record_kind_t::part, 0, "name");
    const auto read_through = [](const bytes_t &bytes) {
        const auto file = kmg_reader_t::open(bytes);
        if (!file)
            return false;
        size_t sum = 0;
        for (const kmg_locator_t locator : file->locators())
            sum += file->hookup_of(locator).value_or("").size();
        for (const kmg_piece_t piece : file->pieces()) {
            const kmg_piece_data_t data = file->data_of(piece);
            for (const uint16_t index : data.indices)
                sum += index;
            for (const auto &channel : data.uv_channels)
                for (const auto uv : channel)
                    sum += uv[0] > 0;
            for (const auto weights : data.bone_weights)
                sum += weights[3];
        }
        return sum > 0;
    };
    ASSERT_TRUE(read_through(good));
    const uint32_t values[] = {0,   1,          2,          3,          4,          8,         12,
                               100, 0x7FFFFFFF, 0x80000000, 0xFFFFFFFC, 0xFFFFFFFE, 0xFFFFFFFF};
    for (const uint32_t value : values) {
        for (size_t byte = 4; byte < 112; byte += 4)
            read_through(planted(good, byte, value));
        for (size_t byte = parts; byte < parts + 2 * kmg_part_t::size; byte += 4)
            read_through(planted(good, byte, value));
        for (size_t byte = pieces; byte < pieces + 2 * kmg_piece_t::size; byte += 4)
            read_through(planted(good, byte, value));
    }
    for (size_t size = 0; size < good.size(); ++size)
        EXPECT_FALSE(read_through(bytes_t(good.begin(), good.begin() + static_cast<ptrdiff_t>(size))))
            << size;
}

TEST(kmg_reader, reads_every_sample_as_its_model) {
    for (const auto &path : sample_models()) {
        const converted_model_t sample(path, true);
        kmg_fault_t fault;
        const auto file = kmg_reader_t::open(sample.bytes, &fault);
        ASSERT_TRUE(file) << path << ": " << to_text(fault);
        const kim_t &model = *sample.model;
        ASSERT_EQ(file->pieces().size(), model.pieces.size()) << path;
        for (size_t p = 0; p < model.pieces.size(); ++p) {
            const kix_piece_t &source = *model.pieces[p];
            const kmg_piece_t piece = file->pieces()[p];
            const kmg_piece_data_t data = file->data_of(piece);
            ASSERT_EQ(piece.vertex_count, source.vertex_count) << path;
            ASSERT_EQ(piece.index_count, 3 * source.triangle_count) << path;
            const auto triangles = source.triangles->items_as<triangle_t>();
            const auto positions = source.find_stream("_POSITION")->items_as<kmg_float3_t>();
            const auto uvs = source.find_stream("_UV0")->items_as<kmg_float2_t>();
            // Skinning reorders vertices; triangles keep their corners.
            for (size_t t = 0; t < triangles.size(); ++t)
                for (size_t c = 0; c < 3; ++c) {
                    const uint16_t vertex = data.indices[3 * t + c];
                    ASSERT_EQ(data.positions[vertex], positions[triangles[t].corners[c]]) << path << t;
                    ASSERT_EQ(data.uv_channels[0][vertex], uvs[triangles[t].corners[c]]) << path << t;
                }
        }
    }
}

} // namespace kestrel
