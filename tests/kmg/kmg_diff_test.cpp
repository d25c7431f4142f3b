#include "tools/kmg/kmg_diff.h"

#include "tests/kmg/kmg_builder.h"

#include <gtest/gtest.h>
#include <limits>

namespace kestrel {

static std::string difference(const kmg_source_t &a, const kmg_source_t &b, double tolerance = 0) {
    const bytes_t bytes_a = build(a), bytes_b = build(b);
    const auto lines = [&](const bytes_t &x, const bytes_t &y) {
        std::vector<std::string> told;
        diff_kmg(kmg_reader_t::open(x).value(), kmg_reader_t::open(y).value(), tolerance,
                 [&](const kmg_difference_t &each) { told.push_back(to_text(each) + "\n"); });
        return told;
    };
    const auto forwards = lines(bytes_a, bytes_b);
    // The other way round as much is told.
    EXPECT_EQ(lines(bytes_b, bytes_a).size(), forwards.size());
    EXPECT_TRUE(tolerance > 0 || forwards.empty() == (bytes_a == bytes_b));
    std::string text;
    for (const std::string &line : forwards)
        text += line;
    return text;
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
    b.bones[1].parent = kmg_no_parent;
    b.locators[0].hookup = kmg_absent;
    b.pool = std::string("slot/b\0", 7);
    b.pieces[1].material = 4;
    b.header.skeleton_hash = 1;
    EXPECT_EQ(difference(a, b), "header: skeleton_hash 0x0123456789ABCDEF | 0x0000000000000001\n"
                                "bone 1 'head': matrix: 1 of 16 values by at most 0.5\n"
                                "bone 1 'head': translation 0 2 0 | 0 2.5 0 by at most 0.5\n"
                                "bone 1 'head': parent bone 0 'root' | none\n"
                                "locator 0 'hand': hookup 'slot/a' | none\n"
                                "locator 1 'foot': hookup 'slot/a' | 'slot/b'\n"
                                "piece 1: material 1 | 4\n");
    b = a;
    b.pieces[1].factors = false;
    b.pieces[0].vertices.push_back(b.pieces[0].vertices.back());
    EXPECT_EQ(difference(a, b), "piece 0: vertex_count 4 | 5\n"
                                "piece 1: factors present | absent\n");
}

TEST(kmg_diff, finds_by_name_what_has_been_added_and_moved) {
    const kmg_source_t a = small_source();
    kmg_source_t b = a;
    // A bone before the head; vertices keep theirs under a new number.
    b.bones.insert(b.bones.begin() + 1, b.bones[1]);
    b.bones[1].name = kmg_name("neck");
    for (piece_source_t &piece : b.pieces)
        for (vertex_t &vertex : piece.vertices)
            for (uint8_t &bone : vertex.bones)
                bone = bone == 1 ? 2 : bone;
    EXPECT_EQ(difference(a, b), "header: bone_count 2 | 3\n"
                                "bone 1 'neck': only in the second: parent bone 0 'root', translation 0 2 0, "
                                "rotation 1 0 0 0\n");
    b = a;
    std::swap(b.parts[0].name, b.parts[1].name);
    std::swap(b.pieces[0], b.pieces[1]);
    std::swap(b.locators[0], b.locators[1]);
    EXPECT_EQ(difference(a, b), "parts: in another order\n"
                                "locators: in another order\n"
                                "pieces: in another order\n");
    b = a;
    b.parts[1].name = kmg_name("cap");
    EXPECT_EQ(difference(a, b), "part 1 'hat': only in the first: 1 piece, 1 locator\n"
                                "part 1 'cap': only in the second: 1 piece, 1 locator\n"
                                "locator 1 'foot': part part 1 'hat' | part 1 'cap'\n"
                                "piece 1: only in the first: material 1, 3 vertices, 1 triangle\n"
                                "piece 1: only in the second: material 1, 3 vertices, 1 triangle\n");
}

TEST(kmg_diff, tells_another_order_from_other_contents) {
    const kmg_source_t a = small_source();
    kmg_source_t b = a;
    std::swap(b.pieces[0].vertices[0], b.pieces[0].vertices[3]);
    b.pieces[0].indices = {3, 1, 2, 3, 2, 0};
    EXPECT_EQ(difference(a, b), "piece 0: same vertices in another order\n");
    b.pieces[0].indices = {2, 0, 3, 3, 1, 2};
    EXPECT_EQ(difference(a, b), "piece 0: same vertices in another order\n"
                                "piece 0: same triangles in another order\n");
    b.pieces[0].indices = {2, 0, 3, 3, 1, 0};
    EXPECT_EQ(difference(a, b), "piece 0: same vertices in another order\n"
                                "piece 0: triangles 1 that the other lacks | 1 that the other lacks\n");
    b = a;
    b.pieces[0].indices = {2, 3, 0, 0, 1, 2};
    EXPECT_EQ(difference(a, b), "piece 0: same triangles in another order\n");
}

TEST(kmg_diff, tolerates_what_it_is_told_to_and_tells_of_bytes_that_no_field_holds) {
    const kmg_source_t a = small_source();
    kmg_source_t b = a;
    b.pieces[0].vertices[2].position[0] += 0.001f;
    b.bones[0].scale[1] += 0.001f;
    EXPECT_EQ(difference(a, b, 0.01), "");
    EXPECT_EQ(difference(a, b, 0.0001),
              "bone 0 'root': scale 1 1 1 | 1 1.001 1 by at most 0.001\n"
              "piece 0: 1 of 4 positions by at most 0.001, the first at 2: 2 2 0 | 2.001 2 0\n");
    b = a;
    b.pool = std::string("slot/a\0b", 8);
    EXPECT_EQ(difference(a, b), "file: 1 bytes that no field holds differ\n");
}

} // namespace kestrel
