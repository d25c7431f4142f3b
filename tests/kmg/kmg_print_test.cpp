#include "tools/kmg/kmg_print.h"

#include "tests/kmg/kmg_builder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace kestrel {

using ::testing::HasSubstr;
using ::testing::Not;

static std::string text_of(auto &&print, auto &&...arguments) {
    std::string text;
    print(arguments..., [&](std::string_view part) { text += part; });
    return text;
}
static std::string file_text(const bytes_t &bytes, print_style_t style = {}) {
    return text_of(print_file, "a.kmg", kmg_reader_t::open(bytes).value(), count_findings(check_kmg(bytes)),
                   style);
}

TEST(kmg_print, shows_the_model_to_a_person) {
    kmg_source_t source = small_source();
    source.bones[1].name = kmg_name("unnamed_001");
    source.pieces[0].vertices.push_back(source.pieces[0].vertices[3]);
    const bytes_t bytes = build(source);
    const std::string text = file_text(bytes, {.all = true});
    for (const char *line : {
             "a.kmg: sound (0 errors, 0 warnings, 3 notes)\n",
             " bytes: 2 parts, 2 pieces, 8 vertices, 3 triangles, 2 bones, 2 locators\n",
             "  skeleton  hash 0x0123456789ABCDEF, 4 influences per vertex\n",
             "  box       0 0 0  to  2 3 1  (extent 2 3 1)\n",
             "  bones           112    400",
             "  0  body       0         0\n",
             "  1  foot  0 0 0     0 1 0 0           'slot/a'\n",
             "  0  body         0         5       1       1          2      36  128 128 128 255  0, 1\n",
             "  1  hat          1         3       -       -          1      72  varies           1\n",
             // ACMR 4 / 2, ATVR 4 / 4
             "  0    2.000    1.000    2.000    1.000\n",
             "  1  uv0          0  0 to 0.25  0 to 0.5\n",
             "  72 bytes: position +0 normal +12 tangent +24 colour +40 factor +44 uv0 +48 uv1 +56 bones +64 "
             "weights "
             "+68   pieces 1\n",
             "  1 of 2 have lost their names, which are no tokens\n",
             "  root #0  at 0 1 0  translation 0 1 0  rotation 1 0 0 0\n",
             "  └─ unnamed_001 #1  at 0 3 0  translation 0 2 0  rotation 1 0 0 0\n",
         })
        EXPECT_THAT(text, HasSubstr(line));
    EXPECT_THAT(text, Not(HasSubstr("\x1b")));
    EXPECT_THAT(file_text(bytes), Not(HasSubstr("ACMR")));
    EXPECT_THAT(file_text(bytes, {.colour = true}), HasSubstr("\x1b[1ma.kmg\x1b[0m"));
    EXPECT_THAT(file_text(build(empty_source())), Not(HasSubstr("Locators")));
    EXPECT_THAT(file_text(build(empty_source()), {.all = true}), HasSubstr("Locators\n  none\n"));
}

TEST(kmg_print, texts_of_a_file_do_not_reach_the_terminal_raw) {
    kmg_source_t source = small_source();
    source.pool = std::string("\x1b[2J\x9B'\0", 7);
    const bytes_t bytes = build(source);
    const std::string text = file_text(bytes);
    EXPECT_THAT(text, HasSubstr("'\\x1B[2J\\x9B\\x27'"));
    EXPECT_THAT(text, Not(HasSubstr("\x1b")));
}

TEST(kmg_print, prints_a_finding_a_line_and_counts_them) {
    const bytes_t good = build(small_source());
    const bytes_t bad = planted(good, byte_of(good, kmg_record_kind_t::bone, 1, "sign"), 0.0f);
    EXPECT_EQ(text_of(print_findings, "a.kmg", check_kmg(bad), print_style_t{}),
              "a.kmg: error: bone 1 (byte 504): sign is 0, expected 1 or -1 [bone_sign]\n"
              "a.kmg: not sound (1 error, 0 warnings, 0 notes)\n");
}

TEST(kmg_csv, dumps_vertices_and_triangles) {
    const bytes_t bytes = build(small_source());
    const auto file = kmg_reader_t::open(bytes).value();
    EXPECT_THAT(
        text_of(vertices_csv, file, file.pieces()[0]),
        HasSubstr("vertex,position_x,position_y,position_z,normal_x,normal_y,normal_z,colour_r/128,"
                  "colour_g/128,colour_b/128,colour_a/255,bone_0,bone_1,bone_2,bone_3,weight_0/255,"
                  "weight_1/255,weight_2/255,weight_3/255,bone_0_name,bone_1_name,bone_2_name,bone_3_name\n"
                  "0,0,0,0,0,0,1,128,128,128,255,0,0,0,0,255,0,0,0,root,root,root,root\n"));
    EXPECT_THAT(text_of(vertices_csv, file, file.pieces()[1]),
                HasSubstr("\n1,1,3,0,0,0,1,1,0,0,1,64,128,200,77,1,2,3,4,0.25,0.5,0.75,1,1,1,1,1,255,0,0,0,"
                          "head,head,head,head\n"));
    EXPECT_EQ(text_of(indices_csv, file, file.pieces()[0]), "triangle,a,b,c\n0,0,1,2\n1,0,2,3\n");
}

} // namespace kestrel
