// Each mistake that an exporter can make, planted in a sound model, is found where it is, and the line says
// what to do.

#include "tools/lint/lint.h"

#include "kcore/kutils/ufs/mem_file.h"
#include "tests/support/asset_tree.h"
#include "tests/support/captured_messages.h"
#include "tests/support/converted_model.h"
#include "tests/support/model_text.h"
#include "tools/lint/lint_report.h"

#include <cstring>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <map>
#include <nlohmann/json.hpp>
#include <set>

namespace kestrel {

namespace {

using ::testing::HasSubstr;
using enum lint_code_t;
using files_t = std::map<std::string, std::string>;

std::unique_ptr<file_t> open_in(const files_t &files, const std::string &path) {
    const auto found = files.find(path);
    if (found == files.end())
        return nullptr;
    auto file = std::make_unique<mem_file_t>();
    file->write_at(std::as_bytes(std::span(found->second)), 0);
    return file;
}

std::vector<linted_file_t> lint(const files_t &files, const std::string &path,
                                const lint_options_t &options = {}) {
    return lint_file(path, options, [&](const std::string &name) { return open_in(files, name); });
}

std::string lines_of(std::span<const linted_file_t> linted) {
    std::string lines;
    for (const linted_file_t &file : linted)
        for (const lint_finding_t &finding : file.findings)
            lines += to_line(file.name, finding);
    return lines;
}

// That of skinned_model_text(), without a fault.
const std::string sound_skeleton = R"(Header {
	FormatVersion: 1
	Source: "test"
	Type: "Skeleton"
	Name: "s"
}
Global {
	BoneCount: 2
}
Bones {
	0 ( Name: "root" Parent: "" Matrix: ( 1.0 0.0 0.0 0.0 0.0 1.0 0.0 0.0 0.0 0.0 1.0 0.0 0.0 0.0 0.0 1.0 ) )
	1 ( Name: "arm" Parent: "root" Matrix: ( 1.0 0.0 0.0 0.0 0.0 1.0 0.0 0.0 0.0 0.0 1.0 3.0 0.0 0.0 0.0 1.0 ) )
}
)";

const std::string normals = "\tStream {\n\t\tFormat: FLOAT3\n\t\tTag: \"_NORMAL\"\n\t\t0 ( 0.0 0.0 1.0 )\n"
                            "\t\t1 ( 0.0 0.0 1.0 )\n\t\t2 ( 0.0 0.0 1.0 )\n\t}\n";
std::string uv_stream(const std::string &tag, const std::string &more = "") {
    return "\tStream { Format: FLOAT2 Tag: \"" + tag + "\" " + more +
           " 0 ( 0.0 0.0 ) 1 ( 1.0 0.0 ) 2 ( 0.0 1.0 ) }\n";
}
edits_t with_streams(const std::string &streams, const std::string &count) {
    return {{"StreamCount: 3", "StreamCount: " + count}, {normals, normals + streams}};
}

struct planted_t {
    lint_code_t code;
    edits_t model, skeleton;
    std::string told; // place or text that the line must have
};

// A model of one piece of so many vertices.
std::string large_model(size_t vertices) {
    std::string items[3];
    for (size_t i = 0; i < vertices; ++i) {
        items[0] +=
            std::to_string(i) + " ( " + std::to_string(i) + ".0 " + std::to_string(i % 7) + ".0 0.0 )\n";
        items[1] += std::to_string(i) + " ( 0.0 0.0 1.0 )\n";
        items[2] += std::to_string(i) + " ( 1.0 1.0 1.0 1.0 )\n";
    }
    const std::string count = "VertexCount: " + std::to_string(vertices);
    std::string model = edited(edited(one_triangle_model, "VertexCount: 3", count), "VertexCount: 3", count);
    for (const std::string &stream : items) {
        const size_t begin = model.find("\t\t0 ( ");
        model.replace(begin, model.find("\t}", begin) - begin, stream);
    }
    return model;
}

// The first twenty are what exporters do most. Lines count from the model's first.
const std::vector<planted_t> planted_faults = {
    {count, {{"PieceCount: 2", "PieceCount: 3"}}, {}, "m.kim:11:2: error: PieceCount is 3, found 2 pieces"},
    {stream_missing,
     {{"StreamCount: 3", "StreamCount: 2"}, {normals, ""}},
     {},
     "m.kim:22:1: error: piece 0 has no _NORMAL"},
    {syntax,
     {{"1 ( 1.0 0.0 0.0 )", "1 ( 1 0.0 0.0 )"}},
     {},
     "m.kim:32:7: error: found '1', expected a real; a number "
     "without point or exponent is an integer, write 1.0"},
    {value_kind,
     {{"0 ( 0.0 0.0 1.0 )", "0 ( 0 0 1 )"},
      {"1 ( 0.0 0.0 1.0 )", "1 ( 0 0 1 )"},
      {"2 ( 0.0 0.0 1.0 )", "2 ( 0 0 1 )"}},
     {},
     "m.kim:36:3: error: stream '_NORMAL' of piece 0 has integers, FLOAT3 wants reals"},
    {skeleton_missing,
     {{"\"s.kis\"", "\"gone.kis\""}},
     {},
     "m.kim:15:2: error: the skeleton 'gone.kis' cannot be opened"},
    {skeleton_bones,
     {},
     {{"BoneCount: 2", "BoneCount: 1"},
      {"\t1 ( Name: \"arm\" Parent: \"root\" Matrix: ( 1.0 0.0 0.0 0.0 0.0 1.0 "
       "0.0 0.0 0.0 0.0 1.0 3.0 0.0 0.0 0.0 1.0 ) )\n",
       ""}},
     "the model has 2 bones, the skeleton 's.kis' has 1"},
    {bone_unmatched,
     {},
     {{"Name: \"arm\"", "Name: \"Arm\""}},
     "bone 1 'arm' is not in the skeleton, whose bone 1 is 'Arm'"},
    {not_a_number,
     {{"1 ( 1.0 0.0 0.0 )", "1 ( nan 0.0 0.0 )"}},
     {},
     "m.kim:32:7: error: found 'nan', expected a number"},
    {decimal_comma, {{"1 ( 1.0 0.0 0.0 )", "1 ( 1,5 0,0 0,0 )"}}, {}, "found '1,5', expected 1.5"},
    {comma,
     {{"1 ( 1.0 0.0 0.0 )", "1 ( 1.0, 0.0, 0.0 )"}},
     {},
     "m.kim:32:10: warning: a comma between values; separate numbers by blanks"},
    {byte_order_mark,
     {{"Header {", "\xEF\xBB\xBFHeader {"}},
     {},
     "m.kim:1:1: warning: the file begins with a byte order mark"},
    {name_empty, {{"\"body\"", "\"\""}}, {}, "part 0 has no name"},
    {name_token,
     {{"\"body\"", "\"body_of_a_car\""}},
     {},
     "part 0 is named 'body_of_a_car' (13 characters); use up to 12"},
    {material,
     {{"Material: 0", "Material: 7"}},
     {},
     "m.kim:24:2: error: Material is 7, the file has 1 material, 0 to 0"},
    {infinite,
     {{"2 ( 0.0 1.0 0.0 )", "2 ( 0.0 1e39 0.0 )"}},
     {},
     "m.kim:33:3: error: 1 of 3 items of stream '_POSITION'"},
    {weights_zero,
     {{"Weights: 2 0 0.5 1 0.5", "Weights: 2 0 0.0 1 0.0"}},
     {},
     "1 of 2 skin items have no weight of 1/510"},
    {bone_order,
     {},
     {{"\"root\" Parent: \"\"", "\"root\" Parent: \"arm\""},
      {"\"arm\" Parent: \"root\"", "\"arm\" Parent: \"\""}},
     "s.kis:11:19: error: bone 0 'root' stands before its parent, bone 1 'arm'"},
    {uv_gap,
     with_streams(uv_stream("_UV0") + uv_stream("_UV2"), "5"),
     {},
     "'_UV2' of piece 0 is ignored, there is no _UV1"},
    // Those with a test of their own: carriage returns, 70000 vertices. The rest:
    {count, {{"TriangleCount: 1", "TriangleCount: 2"}}, {}, "TriangleCount is 2, found 1 triangle"},
    {count,
     {{"2 ( 0.0 1.0 0.0 )", "2 ( 0.0 1.0 0.0 ) 3 ( 0.0 0.0 0.0 ) 4 ( 0.0 0.0 0.0 )"}},
     {},
     "is 3, found 5 items"},
    {syntax,
     {{"\tMaterial: 0\n", ""}},
     {},
     "m.kim:24:2: error: found 'VertexCount', expected MATERIAL; fields and"},
    {syntax,
     {{"1 ( 1.0 0.0 0.0 )", "1 ( -1.#IND 0.0 0.0 )"}},
     {},
     "#IND is no number, and the # begins a comment"},
    {string_open,
     {},
     {{"Parent: \"root\"", "Parent: \"root"}},
     "s.kis:12:26: error: the text that begins here has no closing quote"},
    {string_cut,
     {{"\"test\"", "\"" + std::string(256, 'x') + "\""}},
     {},
     "m.kim:3:10: warning: the text has more than 255"},
    {utf16, {{"Header {", "\xFF\xFEHeader {"}}, {}, "mark of UTF-16"},
    {skipped, {{"\tSource:", "\t; Source:"}}, {}, "m.kim:3:2: warning: found ';'"},
    {bits_not_finite, {{"1 ( 1.0 0.0", "1 ( &7f800000 0.0"}}, {}, "m.kim:32:7: error: found &7f800000"},
    {format_version,
     {{"FormatVersion: 5", "FormatVersion: 1"}},
     {},
     "FormatVersion is 1, expected 5, this looks like a skeleton"},
    {count_unchecked, {{"MaterialCount: 1", "MaterialCount: 3"}}, {}, "MaterialCount is 3, found 1 material"},
    {order, {{"2 ( 0.0 1.0 0.0 )", "3 ( 0.0 1.0 0.0 )"}}, {}, "number is 3, expected 2"},
    {index, {{"Index: 1", "Index: 5"}}, {}, "Index is 5, the piece is number 1"},
    {stream_format,
     {{"FLOAT3\n\t\tTag: \"_NORMAL\"", "FLOAT2\n\t\tTag: \"_NORMAL\""}},
     {},
     "is FLOAT2, expected FLOAT3"},
    {values_cut,
     {{"FLOAT3\n\t\tTag: \"_NORMAL\"", "FLOAT2\n\t\tTag: \"_NORMAL\""}},
     {},
     "have 3 values, FLOAT2 wants 2"},
    {values_missing,
     {{"FLOAT3\n\t\tTag: \"_NORMAL\"", "FLOAT4\n\t\tTag: \"_NORMAL\""}},
     {},
     "have 3 values, FLOAT4 wants 4"},
    {stream_repeated, with_streams(normals, "4"), {}, "stream '_NORMAL' of piece 0 is there before"},
    {stream_unknown,
     {{"\"_NORMAL\"", "\"_normal\""}},
     {},
     "is ignored, letter case counts: '_NORMAL' is known"},
    {alias,
     with_streams(uv_stream("_UV0", "AliasCount: 1 Aliases: \"uv\""), "4"),
     {},
     "alias 'uv' of stream '_UV0'"},
    {slot_repeated,
     with_streams(uv_stream("_UV0") + uv_stream("_UV1", "AliasCount: 1 Aliases: \"_TEXCOORD0\""), "5"),
     {},
     "slot 0"},
    {uv_range,
     with_streams(edited(uv_stream("_UV0"), "1.0", "2048.0"), "4"),
     {},
     "1 of 3 items of stream '_UV0'"},
    {normal_zero, // behind a finding in the items of another stream
     {{"2 ( 0.0 1.0 0.0 )", "2 ( 0.0 1e39 0.0 )"}, {"1 ( 0.0 0.0 1.0 )", "1 ( 0.0 0.0 0.0 )"}},
     {},
     "m.kim:39:3: warning: 1 of 3 items of stream '_NORMAL'"},
    {normal_length, {{"1 ( 0.0 0.0 1.0 )", "1 ( 0.0 0.0 9.0 )"}}, {}, "m.kim:39:3: note: 1 of 3"},
    {tangent_sign,
     with_streams("\tStream { Format: FLOAT4 Tag: \"_TANGENT\" 0 ( 1.0 0.0 0.0 1.0 ) 1 ( 1.0 0.0 0.0 0.0 ) 2 "
                  "( 1.0 0.0 0.0 "
                  "-1.0 ) }\n",
                  "4"),
     {},
     "1 of 3 items of stream '_TANGENT'"},
    {colour_range,
     {{"1 ( 1.0 1.0 1.0 1.0 )", "1 ( 255.0 255.0 255.0 255.0 )"}},
     {},
     "m.kim:46:3: warning: 1 of 3"},
    {factor_range,
     with_streams("\tStream { Format: FLOAT4 Tag: \"_FACTOR\" 0 ( 0.5 0.0 0.0 0.0 ) 1 ( 0.0 0.0 0.0 0.0 ) 2 "
                  "( 0.0 0.0 0.0 "
                  "256.0 ) }\n",
                  "4"),
     {},
     "2 of 3 items of stream '_FACTOR'"},
    {triangles_none,
     {{"TriangleCount: 2", "TriangleCount: 1"},
      {"TriangleCount: 1\n\tStreamCount", "TriangleCount: 0\n\tStreamCount"},
      {"\t\t0 ( 0 1 2 )\n", ""}},
     {},
     "piece 0 has no triangles"},
    {corner,
     {{"0 ( 0 1 2 )", "0 ( 1 2 3 )"}},
     {},
     "m.kim:50:3: error: 1 of 1 triangle of piece 0 use a vertex beyond"},
    {triangle_degenerate, {{"0 ( 0 1 2 )", "0 ( 0 1 1 )"}}, {}, "have a vertex twice or no area"},
    {vertex_unused, {{"0 ( 0 1 2 )", "0 ( 0 1 1 )"}}, {}, "m.kim:33:3: note: 1 of 3 vertices of piece 0"},
    {triangle_repeated,
     {{"TriangleCount: 2", "TriangleCount: 3"},
      {"TriangleCount: 1", "TriangleCount: 2"},
      {"0 ( 0 1 2 )", "0 ( 0 1 2 ) 1 ( 2 0 1 )"}},
     {},
     "m.kim:50:15: note: 1 of 2 triangles of piece 0 are there twice, such as "
     "this one, which repeats triangle 0"},
    {material_unused,
     {{"Piece {", "Material { Alias: \"n\" Effect: \"e\" }\nPiece {"}},
     {},
     "no piece uses material 1 'n'"},
    {name_repeated,
     {{"PartCount: 1", "PartCount: 2"},
      {"Locator {", "Part { Name: \"BODY\" PieceCount: 0 LocatorCount: 0 Pieces: Locators: }\nLocator {"}},
     {},
     "part 1 has the name of part 0, 'BODY'"},
    {part_piece, {{"Pieces: 0 1", "Pieces: 0 2"}}, {}, "part 'body' lists piece 2, the file has 2 pieces"},
    {part_locator,
     {{"Locators: 0", "Locators: 1"}},
     {},
     "part 'body' lists locator 1, the file has 1 locator"},
    {locator_unlisted, {{"Locators: 0", "Locators:"}}, {}, "no part lists locator 0 'l'"},
    {locator_scale, {{"Scale: ( 1.0", "Scale: ( 0.0"}}, {}, "Scale is 0 1 1"},
    {scale_dropped, {{"Scale: ( 1.0", "Scale: ( 2.0"}}, {}, "Scale is 2 1 1"},
    {locator_rotation, {{"Rotation: ( 1.0", "Rotation: ( 2.0"}}, {}, "Rotation has length 2"},
    {skin_bone,
     {{"Weights: 2 0 0.5 1 0.5", "Weights: 2 0 0.5 2 0.5"}},
     {},
     "use a bone beyond the model's 2 (2)"},
    {skin_vertex,
     {{"VertexIndices: 1 2", "VertexIndices: 1 1"}},
     {},
     "1 of 3 vertices of piece 0 are in no skin item, the first is 2"},
    {skin_vertex_repeated,
     {{"VertexIndices: 1 2", "VertexIndices: 1 1"}},
     {},
     "1 of 2 skin items name a vertex that an earlier one"},
    {weights_sum,
     {{"Weights: 2 0 0.5 1 0.5", "Weights: 2 0 0.5 1 0.25"}},
     {},
     "sum to another value than 1 (0.75)"},
    {weight_negative,
     {{"Weights: 2 0 0.5 1 0.5", "Weights: 2 0 1.5 1 -0.5"}},
     {},
     "1 of 2 skin items have a negative weight"},
    {influences,
     {{"TotalWeightCount: 3", "TotalWeightCount: 6"},
      {"Weights: 2 0 0.5 1 0.5", "Weights: 5 0 0.2 1 0.2 0 0.2 1 0.2 0 0.2"}},
     {},
     "have more than 4 bones; up to 0.2 of the weight is lost"},
    {bone_idle,
     {{"1 0.5", "0 0.5"}, {"1 1 1.0", "1 0 1.0"}, {"1 0.5", "0 0.5"}, {"1 1 1.0", "1 0 1.0"}},
     {},
     "1 of 2 bones move no vertex: 1"},
    {bone_parent, {}, {{"Parent: \"root\"", "Parent: \"Root\""}}, "is 'Root', which does not exist"},
    {bone_unnamed,
     {{"\"arm\" )", "\"arm.L\" )"}},
     {{"Name: \"arm\"", "Name: \"arm.L\""}},
     "s.kis:12:6: warning: 1 of 2 bones lose their names (1): 'arm.L' becomes unnamed_001"},
    {bone_singular, {}, {{"Matrix: ( 1.0", "Matrix: ( 0.0"}}, "the matrix of bone 0 'root' has no inverse"},
    {bone_last_row,
     {},
     {{"0.0 0.0 1.0 3.0 0.0 0.0 0.0 1.0", "0.0 0.0 1.0 0.0 1.0 2.0 3.0 1.0"}},
     "rows and columns are exchanged"},
};

} // namespace

TEST(lint, finds_each_planted_mistake_where_it_is) {
    const captured_messages_t messages;
    EXPECT_EQ(lines_of(lint({{"m.kim", skinned_model_text()}, {"s.kis", sound_skeleton}}, "m.kim")), "");
    for (const planted_t &planted : planted_faults) {
        const files_t files{{"m.kim", edited(skinned_model_text(), planted.model)},
                            {"s.kis", edited(sound_skeleton, planted.skeleton)}};
        const std::string lines = lines_of(lint(files, "m.kim"));
        EXPECT_THAT(lines, HasSubstr(planted.told));
        EXPECT_THAT(lines,
                    HasSubstr(concat(kind_of(planted.code).cure, " [", kind_of(planted.code).name, "]")));
    }
    EXPECT_EQ(messages.text(), "") << "findings stand in place of messages";
}

TEST(lint, finds_mistakes_of_whole_files) {
    const captured_messages_t messages;
    const auto lines = [](const files_t &files, const std::string &path = "m.kim", bool tangent = false) {
        return lines_of(lint(files, path, {.tangent = tangent}));
    };
    std::string carriage_returns = one_triangle_model;
    std::replace(carriage_returns.begin(), carriage_returns.end(), '\n', '\r');
    carriage_returns = edited(carriage_returns, "Material: 0", "Material: 7");
    EXPECT_THAT(lines({{"m.kim", carriage_returns}}), HasSubstr("m.kim:23:2: error: Material is 7"));
    EXPECT_THAT(lines({{"m.kim", carriage_returns}}),
                HasSubstr("m.kim:1:9: warning: lines end in carriage returns"));
    EXPECT_THAT(lines({{"m.kim", large_model(70000)}}),
                HasSubstr("m.kim:24:2: error: piece 0 has 70000 vertices, at most 65535"));
    EXPECT_THAT(lines({{"m.kim", one_triangle_model}}, "m.kim", true),
                HasSubstr("piece 0 has no _TANGENT stream"));
    EXPECT_THAT(lines({{"m.kim", edited(one_triangle_model, "Skeleton: \"\"", "Skeleton: \"s.kis\"")}}),
                HasSubstr("[skeleton_unused]"));
    EXPECT_THAT(lines({{"s.kis", edited(sound_skeleton, "\"root\"", "\"\"")}}, "s.kis"),
                HasSubstr("s.kis:11:6: warning: bone 0 has no name"));
    std::string empty = one_triangle_model;
    for (size_t at; (at = empty.find("\t\t0 (")) != empty.npos ||
                    (at = empty.find("\t\t1 (")) != empty.npos || (at = empty.find("\t\t2 (")) != empty.npos;)
        empty.erase(at, empty.find('\n', at) + 1 - at);
    for (const char *count : {"VertexCount: 3", "VertexCount: 3", "TriangleCount: 1", "TriangleCount: 1"})
        empty = edited(empty, count, std::string(count, std::strlen(count) - 1) + "0");
    EXPECT_THAT(lines({{"m.kim", empty}}), HasSubstr("m.kim:24:2: error: piece 0 has no vertices"));
    std::string many = edited(sound_skeleton, "BoneCount: 2", "BoneCount: 256");
    many.resize(many.find("\t1 ("));
    for (size_t i = 1; i < 256; ++i)
        many += concat(i, " ( Name: \"b", i,
                       "\" Parent: \"root\" Matrix: ( 1.0 0.0 0.0 0.0 0.0 1.0 0.0 0.0 0.0 0.0 1.0 0.0 "
                       "0.0 0.0 0.0 1.0 ) )\n");
    EXPECT_THAT(lines({{"s.kis", many + "}\n"}}, "s.kis"),
                HasSubstr("s.kis:8:2: error: the skeleton has 256 bones, at most 255"));
    std::string skin =
        one_triangle_model +
        "Bones { 0 ( \"root\" ) }\nSkin { StreamCount: 1 SkinStream { Format: FLOAT3 Tag: \"_SKIN\" "
        "ItemCount: 2 TotalWeightCount: 3 TotalCloneCount: 3 0 ( ( 0.0 0.0 0.0 ) Weights: 1 0 1.0 Clones: 3 "
        "0 0 0 1 0 2 ) } }\n";
    skin = edited(edited(skin, "BoneCount: 0", "BoneCount: 1"), "Skeleton: \"\"", "Skeleton: \"s.kis\"");
    const std::string one_bone =
        "Header { FormatVersion: 1 Source: \"\" Type: \"\" Name: \"\" } Global { BoneCount: 1 } Bones { 0 ( "
        "Name: \"root\" "
        "Parent: \"\" Matrix: ( 1.0 0.0 0.0 0.0 0.0 1.0 0.0 0.0 0.0 0.0 1.0 0.0 0.0 0.0 0.0 1.0 ) ) }";
    EXPECT_THAT(lines({{"m.kim", skin}, {"s.kis", one_bone}}), HasSubstr("[skin_stream]"));
    const std::string counted = lines({{"m.kim", edited(skin, "_SKIN", "_POSITION")}, {"s.kis", one_bone}});
    EXPECT_THAT(counted, HasSubstr("TotalWeightCount is 3, found 1"));
    EXPECT_THAT(counted, HasSubstr("[skin_passes]"));
    EXPECT_EQ(messages.text(), "");
}

TEST(lint, tells_ten_of_a_kind_and_counts_the_rest) {
    std::string model = one_triangle_model;
    for (size_t i = 0; i < 25; ++i)
        model = edited(model, "Piece {", "Material { Alias: \"\" Effect: \"\" }\nPiece {");
    const auto findings = lint({{"m.kim", model}}, "m.kim")[0].findings;
    ASSERT_EQ(findings.size(), 12u);
    EXPECT_EQ(findings.back().more, 15u);
    finding_counts_t counts;
    count_findings(findings, counts);
    EXPECT_EQ(to_text(counts), "0 errors, 1 warning, 25 notes");
}

// What is said of the samples is true: their bones' names have dots, and they have copies of triangles.
TEST(lint, has_no_error_in_the_samples) {
    files_t files;
    for (const auto &path : sample_models())
        for (const char *extension : {".kim", ".kis"}) {
            auto file = path;
            if (std::filesystem::exists(file.replace_extension(extension)))
                files[file.string()] = read_whole_file(file);
        }
    for (const auto &path : sample_models())
        for (const linted_file_t &file : lint(files, path.string())) {
            finding_counts_t counts;
            count_findings(file.findings, counts);
            EXPECT_EQ(counts.errors, 0u) << lines_of(std::span(&file, 1));
        }
}

TEST(lint, documentation_has_the_table_of_codes) {
    EXPECT_THAT(read_whole_file(std::filesystem::path(KIM2KMG_DOCS) / "lint.md"),
                HasSubstr(lint_code_table()));
    std::set<lint_code_t> planted{carriage_returns, vertices_many, tangent_missing, skeleton_unused,
                                  skin_stream,      skin_passes,   vertices_none,   bones_many};
    for (const planted_t &fault : planted_faults)
        planted.insert(fault.code);
    EXPECT_EQ(planted.size(), lint_kinds().size()) << "every code is planted in a test";
}

TEST(kimlint, exit_status_and_formats) {
    const asset_tree_t tree;
    write_whole_file(tree.base() / "good.kim", one_triangle_model);
    write_whole_file(tree.base() / "bad.kim", edited(one_triangle_model, "Material: 0", "Material: 7"));
    write_whole_file(tree.base() / "warned.kim",
                     edited(one_triangle_model, "MaterialCount: 1", "MaterialCount: 2"));
    const auto run = [&](const std::vector<std::string> &arguments) {
        return run_program(KIM2KMG_KIMLINT, arguments, tree.base());
    };
    EXPECT_EQ(run({"good.kim"}).errors, "1 file: 0 errors, 0 warnings, 0 notes\n");
    EXPECT_EQ(run({"good.kim", "warned.kim"}).status, 0);
    EXPECT_EQ(run({"--strict", "warned.kim"}).status, 1);
    EXPECT_EQ(run({"good.kim", "bad.kim"}).status, 1);
    EXPECT_EQ(run({"bad.kim", "none.kim"}).status, 2);
    EXPECT_EQ(run({}).status, 2);
    EXPECT_EQ(run({"--codes"}).output, lint_code_table());
    const auto json = nlohmann::json::parse(run({"--json", "bad.kim", "none.kim"}).output);
    EXPECT_EQ(json["files"][0]["findings"][0]["code"], "material");
    EXPECT_EQ(json["files"][0]["findings"][0]["line"], 23);
    EXPECT_EQ(json["files"][1]["failure"], "cannot be opened");
    const auto sarif = nlohmann::json::parse(run({"--format", "sarif", "bad.kim"}).output);
    const auto &result = sarif["runs"][0]["results"][0];
    EXPECT_EQ(result["ruleId"], "material");
    EXPECT_EQ(result["locations"][0]["physicalLocation"]["region"]["startLine"], 23);
    EXPECT_EQ(sarif["runs"][0]["tool"]["driver"]["rules"][result["ruleIndex"].get<size_t>()]["id"],
              "material");
}

} // namespace kestrel
