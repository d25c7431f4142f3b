#include "tools/kmg/kmg_diff.h"

#include "tests/kmg/kmg_builder.h"

#include <gtest/gtest.h>
#include <limits>

namespace kestrel {

static std::string difference(const kmg_source_t &a, const kmg_source_t &b) {
    const bytes_t bytes_a = build(a), bytes_b = build(b);
    std::string lines;
    for (const auto &each :
         diff_kmg(kmg_reader_t::open(bytes_a).value(), kmg_reader_t::open(bytes_b).value()))
        lines += to_text(each) + "\n";
    return lines;
}

TEST(kmg_diff, equal_files_do_not_differ) {
    kmg_source_t source = small_source();
    source.pieces[0].vertices[0].normal[0] = std::numeric_limits<float>::quiet_NaN();
    EXPECT_EQ(difference(source, source), "");
}

TEST(kmg_diff, tells_streams_by_how_many_and_how_much) {
    const kmg_source_t a = small_source();
    kmg_source_t b = a;
    b.pieces[1].vertices[1].normal = {0, 0, 1.25f};
    b.pieces[1].vertices[2].normal = {0, 0.5f, 1};
    b.pieces[1].vertices[2].colour = {128, 130, 128, 255};
    b.pieces[0].indices[4] = 1;
    b.pieces[0].vertices[3].uv[0] = {7, 7}; // not stored
    EXPECT_EQ(difference(a, b),
              "piece 0: 1 of 6 indices by at most 1, the first at 4: 2 | 1\n"
              "piece 1: 2 of 3 normals by at most 0.5, the first at 1: 0 0 1 | 0 0 1.25\n"
              "piece 1: 1 of 3 colours by at most 2, the first at 2: 128 128 128 255 | 128 130 128 255\n");
    b = a;
    b.pieces[1].vertices[0].uv[1][0] = std::numeric_limits<float>::infinity();
    EXPECT_EQ(difference(a, b), "piece 1: 1 of 3 uv1, not all finite, the first at 0: 0 0 | inf 0\n");
}

TEST(kmg_diff, tells_records_field_by_field_and_skips_what_follows_from_counts) {
    const kmg_source_t a = small_source();
    kmg_source_t b = a;
    b.bones[1].translation[1] = 2.5f;
    b.bones[1].matrix[3] = 0.5f;
    b.parts[0].name = a.parts[1].name;
    b.locators[0].hookup = kmg_absent;
    b.pool = std::string("slot/b\0", 7);
    b.pieces[1].material = 4;
    b.header.skeleton_hash = 1;
    EXPECT_EQ(difference(a, b), "header: skeleton_hash 0x0123456789ABCDEF | 0x0000000000000001\n"
                                "bone 1: matrix: 1 of 16 values by at most 0.5\n"
                                "bone 1: translation 0 2 0 | 0 2.5 0 by at most 0.5\n"
                                "part 0: name body | hat\n"
                                "locator 0: hookup 0 | 4294967295\n"
                                "locator 0: hookup_text 'slot/a' | none\n"
                                "locator 1: hookup_text 'slot/a' | 'slot/b'\n"
                                "piece 1: material 1 | 4\n");
    b = a;
    b.pieces[1].factors = false;
    b.pieces[0].vertices.push_back(b.pieces[0].vertices.back());
    EXPECT_EQ(difference(a, b), "piece 0: vertex_count 4 | 5\n"
                                "piece 1: factors present | absent\n");
}

} // namespace kestrel
