#include "tests/support/parsed_text.h"

namespace kestrel {

TEST(model_grammar, one_fault_one_message) {
    const fault_t faults[] = {
        {"FormatVersion: 5", "FormatVersion: 1", 6, "unsupported FormatVersion", "}"},
        {"Source: \"test\"", "Source: 1", 3, "syntax error", "1"},
        {"VertexCount: 3", "VertexCount 3", 8, "syntax error", "3"},
        {"VertexCount: 3", "TriangleCount: 3", 8, "syntax error", "TriangleCount"},
        {"VertexCount: 3", "VertexCount: 4", 59, "mismatching VertexCount count", ""},
        {"TriangleCount: 1", "TriangleCount: 2", 59, "mismatching TriangleCount count", ""},
        {"PieceCount: 1", "PieceCount: 2", 59, "mismatching Piece count", ""},
        {"PartCount: 1", "PartCount: 0", 59, "mismatching Part count", ""},
        {"LocatorCount: 0", "LocatorCount: 1", 59, "mismatching Locator count", ""},
        {"Skeleton: \"\"", "Skeleton: \"\" PieceSkinCount: 1", 59, "mismatching Piece Skin count", ""},
        {"Material {\n\tAlias", "Material {\n\tEffect", 18, "syntax error", "Effect"},
        {"StreamCount: 3", "StreamCount: 2", 51, "incorrect number of Piece streams", "}"},
        {"1 ( 1.0 0.0 0.0 )", "3 ( 1.0 0.0 0.0 )", 31, "inconsistent Stream item order", ")"},
        {"2 ( 0.0 1.0 0.0 )", "", 33, "mismatching Stream item count and VertexCount", "}"},
        {"2 ( 0.0 1.0 0.0 )", "2 ( 0.0 1.0 0.0 )\n3 ( 0.0 0.0 0.0 )", 33,
         "inconsistent Stream item type/count", ")"},
        {"0 ( 0.0 0.0 0.0 )", "0 ( 0 0.0 0.0 )", 30, "syntax error", "0.0"},
        {"0 ( 0.0 0.0 0.0 )", "0 ( )", 30, "syntax error", ")"},
        {"1 ( 1.0 0.0 0.0 )", "1 ( 1.0 0.0 )", 31, "syntax error", ")"},
        {"1 ( 1.0 0.0 0.0 )", "1 ( 1.0 0.0 0.0 0.5 )", 31, "syntax error", "0.5"},
        {"Format: FLOAT3", "Format: FLOAT7", 28, "syntax error", "7"},
        {"Tag: \"_POSITION\"", "Tag: \"_POSITION\" AliasCount: 2 Aliases: \"a\"", 30,
         "incorrect number of Stream aliases", "0"},
        {"Tag: \"_POSITION\"", "Tag: \"_POSITION\" AliasCount: 1", 30, "syntax error", "0"},
        {"0 ( 0 1 2 )", "0 ( 0 1 )", 49, "syntax error", ")"},
        {"0 ( 0 1 2 )", "", 50, "invalid number of Triangles elements", "}"},
        {"0 ( 0 1 2 )", "0 ( 0 1 2 ) 1 ( 0 1 2 )", 49, "inconsistent Stream item type/count", ")"},
        {"Pieces: 0", "Pieces: 0.5", 56, "syntax error", "0.5"},
        {"Locators:\n}", "Locators:\n} Piece", 58, "syntax error", "Piece"},
        {"Locators:\n}", "Locators:\n}\nBones { 0 ( \"b\" ) }", 59, "inconsistent Stream item type/count",
         ")"},
        {"Locators:\n}", "Locators:\n", 59, "syntax error", ""},
        {"VertexCount: 3\n\tTriangleCount: 1\n\tStreamCount",
         "VertexCount: 4294967295\nTriangleCount: 1\nStreamCount", 33,
         "mismatching Stream item count and VertexCount", "}"},
        {"TriangleCount: 1\n\tStream", "TriangleCount: 4294967295\n\tStream", 50,
         "invalid number of Triangles elements", "}"},
    };
    expect_faults<parsed_model_t>(faults, one_triangle_model, [](const std::string &text) { return text; });
}

TEST(model_grammar, files_that_are_no_models) {
    EXPECT_EQ(parsed_model_t("").messages, "E: f:1: syntax error [ token '' ]\n");
    EXPECT_EQ(parsed_model_t("# nothing\n").messages, "E: f:2: syntax error [ token '' ]\n");
    EXPECT_EQ(parsed_model_t(std::string("\0", 1)).messages,
              "E: f:1: unknown token : ''\nE: f:1: syntax error [ token '' ]\n");
    EXPECT_EQ(parsed_model_t(edited(one_triangle_model, "\"body\"", "\"body")).messages,
              "E: f:53: unterminated string constant\nE: f:53: syntax error [ token '\"' ]\n");
    // Every way of cutting a model short is noticed.
    for (size_t length = 0; length + 2 < one_triangle_model.size(); ++length)
        EXPECT_FALSE(parsed_model_t(one_triangle_model.substr(0, length)).root) << length;
}

TEST(model_grammar, totals_are_checked_before_what_follows) {
    const std::string text = edited(one_triangle_model, "PieceCount: 1", "PieceCount: 2");
    EXPECT_EQ(parsed_model_t(edited(text, "Locators:\n}", "Locators:\n} Piece")).messages,
              "E: f:58: mismatching Piece count [ token 'Piece' ]\n");
}

TEST(model_grammar, a_model_without_pieces_has_more_than_parts) {
    std::string text = one_triangle_model;
    const size_t begin = text.find("Material {"), end = text.find("Part {");
    text.erase(begin, end - begin);
    for (const char *count : {"VertexCount: 3", "TriangleCount: 1", "PieceCount: 1"})
        text = edited(text, count, std::string(count).substr(0, std::string(count).size() - 1) + "0");
    EXPECT_EQ(parsed_model_t(text).messages, "E: f:24: syntax error [ token '' ]\n");
    text = edited(text, "LocatorCount: 0", "LocatorCount: 1");
    text += "Locator { Name: \"l\" Index: 0 Position: ( 1.0 2.0 3.0 ) Rotation: ( 1.0 0.0 0.0 0.0 )"
            " Scale: ( 1.0 1.0 1.0 ) }\n";
    EXPECT_TRUE(parsed_model_t(text).root);
}

TEST(model_grammar, empty_streams_need_an_empty_piece) {
    const std::string piece = "Piece { Index: 0 Material: 0 VertexCount: 0 TriangleCount: 0 StreamCount: 1\n"
                              "Stream { Format: INT Tag: \"t\" } Triangles { } }\n";
    std::string text = one_triangle_model;
    const size_t begin = text.find("Piece {"), end = text.find("Part {");
    text.replace(begin, end - begin, piece);
    text = edited(edited(text, "VertexCount: 3", "VertexCount: 0"), "TriangleCount: 1", "TriangleCount: 0");
    EXPECT_TRUE(parsed_model_t(text).root);
    EXPECT_EQ(
        parsed_model_t(edited(text, "Material: 0 VertexCount: 0", "Material: 0 VertexCount: 1")).messages,
        "E: f:22: mismatching Stream item count and VertexCount [ token '}' ]\n");
}

} // namespace kestrel
