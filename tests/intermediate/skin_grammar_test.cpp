#include "tests/support/parsed_text.h"

#include <algorithm>
#include <vector>

namespace kestrel {

namespace {

// Lines 59 to 62 of a model.
const std::string two_bones = R"(Bones {
	0 ( "root" )
	1 ( "arm" )
}
)";

// From line 63 on.
const std::string skin = R"(Skin { StreamCount: 1
	SkinStream { Format: FLOAT3 Tag: "_POSITION"
		ItemCount: 2 TotalWeightCount: 3 TotalCloneCount: 3
		0 ( ( 0.0 0.0 0.0 ) Weights: 2 0 0.5 1 0.25 Clones: 2 0 0 0 1 )
		1 ( ( 0.0 1.0 0.0 ) Weights: 1 1 1 Clones: 1 0 2 )
	}
}
)";

const std::string piece_skin = R"(PieceSkin { Piece: 0 StreamCount: 1
	PieceSkinStream { Format: FLOAT3 Tag: "_POSITION"
		ItemCount: 2 TotalWeightCount: 3 TotalVertexIndexCount: 3
		0 ( ( 0.0 0.0 0.0 ) Weights: 2 0 0.5 1 0.25 VertexIndices: 2 0 1 )
		1 ( ( 0.0 1.0 0.0 ) Weights: 1 1 1 VertexIndices: 1 2 )
	}
}
)";

std::string with_skin(const std::string &skin_text) {
    return edited(one_triangle_model, "BoneCount: 0", "BoneCount: 2") + two_bones + skin_text;
}

std::string with_piece_skin(const std::string &skin_text) {
    return edited(with_skin(skin_text), "Skeleton: \"\"", "Skeleton: \"\" PieceSkinCount: 1");
}

} // namespace

TEST(skin_grammar, bones_come_with_a_skin) {
    EXPECT_EQ(parsed_model_t(with_skin("")).messages, "E: f:63: syntax error [ token '' ]\n");
    const fault_t faults[] = {
        {"0 ( \"root\" )\n\t1 ( \"arm\" )", "", 61, "syntax error", "}"},
        {"1 ( \"arm\" )", "", 62, "invalid number of Bones elements", "}"},
        {"1 ( \"arm\" )", "2 ( \"arm\" )", 61, "inconsistent Stream item order", ")"},
        {"1 ( \"arm\" )", "1 ( \"arm\" ) 2 ( \"hand\" )", 61, "inconsistent Stream item type/count", ")"},
        {"1 ( \"arm\" )", "1 ( 1 )", 61, "syntax error", "1"},
    };
    expect_faults<parsed_model_t>(faults, two_bones, [](const std::string &bones) {
        return edited(one_triangle_model, "BoneCount: 0", "BoneCount: 2") + bones + skin;
    });
}

TEST(skin_grammar, one_fault_of_a_skin_one_message) {
    const fault_t faults[] = {
        {"StreamCount: 1", "StreamCount: 2", 69, "incorrect number of Skin streams", "}"},
        {"1 ( ( 0.0 1.0", "2 ( ( 0.0 1.0", 67, "inconsistent SkinStream item order", ")"},
        {"ItemCount: 2", "ItemCount: 1", 67, "inconsistent SkinStream item type/count", ")"},
        {"0.5 1 0.25", "0.5 1 0.25 1 0.125", 66, "cannot add weight pair", "0.125"},
        {"TotalWeightCount: 3", "TotalWeightCount: 2", 67, "cannot add weight pair", "1"},
        {"Weights: 1 1 1", "Weights: 1", 67, "invalid Weights count", "Clones"},
        // The end of the pairs is judged before what follows them.
        {"Weights: 1 1 1", "Weights: 1 1.0", 67, "invalid Weights count", "1.0"},
        {"Clones: 2 0 0 0 1", "Clones: 2 0 0 0 1 0 3", 66, "cannot add clone pair", "3"},
        {"TotalCloneCount: 3", "TotalCloneCount: 2", 67, "cannot add clone pair", "2"},
        {"Clones: 1 0 2", "Clones: 1", 67, "invalid Clones count", ")"},
        {"Clones: 1 0 2", "Clones: 1 0 2.0", 67, "syntax error", "2.0"},
        {"( 0.0 1.0 0.0 )", "0.0 1.0 0.0", 67, "syntax error", "0.0"},
        {"}\n}\n", "}\n} Skin", 69, "syntax error", "Skin"},
        {"}\n}\n", "}\n} PieceSkin", 69, "syntax error", "PieceSkin"},
    };
    expect_faults<parsed_model_t>(faults, skin, with_skin);
    const std::string stream =
        skin.substr(skin.find("\tSkinStream"), skin.rfind('}') - skin.find("\tSkinStream"));
    EXPECT_EQ(parsed_model_t(with_skin(edited(skin, stream, ""))).messages,
              "E: f:64: syntax error [ token '}' ]\n");
    EXPECT_TRUE(
        parsed_model_t(
            with_skin(edited(skin, "StreamCount: 1", "StreamCount: 2").insert(skin.rfind('}'), stream)))
            .root);
}

// Nothing may follow a Skin paragraph, so the totals are checked at its end.
TEST(skin_grammar, a_skin_ends_the_model) {
    for (const char *rest : {"", "\n\nPart"})
        EXPECT_EQ(parsed_model_t(edited(with_skin(skin), "PieceCount: 1", "PieceCount: 2") + rest).messages,
                  "E: f:69: mismatching Piece count [ token '}' ]\n");
}

TEST(skin_grammar, a_skin_may_have_less_than_it_declares) {
    std::string text = edited(skin, "ItemCount: 2", "ItemCount: 5");
    text = edited(text, "0.0 0.0 ) Weights: 2 0 0.5 1 0.25 Clones: 2 0 0 0 1",
                  "7.0 ) Weights: 2 0 0.5 Clones: 0");
    text = edited(text, "Weights: 1 1 1", "Weights: 0");
    const parsed_model_t parsed(with_skin(text));
    ASSERT_TRUE(parsed.root) << parsed.messages;
    const kim_skin_stream_t &stream = *parsed.root->skin->streams[0];
    ASSERT_EQ(stream.items().size(), 2u);
    EXPECT_EQ(stream.items_as<float3_t>()[0].y, 7.0f);
    EXPECT_EQ(stream.items_as<float3_t>()[0].z, 0.0f); // what the tuple lacks is zero
    EXPECT_EQ(stream.items()[0].weight_count, 2u);
    EXPECT_EQ(stream.weights_of(stream.items()[0]).size(), 1u);
    EXPECT_TRUE(stream.clones_of(stream.items()[0]).empty());
    EXPECT_TRUE(stream.weights_of(stream.items()[1]).empty());
    EXPECT_EQ(stream.clones_of(stream.items()[1])[0].vertex, 2u);
}

TEST(skin_grammar, the_last_item_of_a_vertex_counts) {
    const std::string text =
        edited(edited(piece_skin, "2 0 1", "2 0 2"), "VertexIndices: 1 2", "VertexIndices: 1 0");
    const parsed_model_t parsed(with_piece_skin(text));
    ASSERT_TRUE(parsed.root) << parsed.messages;
    EXPECT_TRUE(std::ranges::equal(parsed.root->piece_skins[0]->vertex_items.items(),
                                   std::vector<uint32_t>{1, kim_piece_skin_t::no_item, 0}));
}

TEST(skin_grammar, one_fault_of_a_piece_skin_one_message) {
    const fault_t faults[] = {
        {"Piece: 0", "Piece: 1", 63, "invalid PieceIndex", "1"},
        {"}\n}\n", "}\n}\nPieceSkin { Piece: 0\nStreamCount: 7", 71,
         "multiple PieceSkin-s with the same piece index", "7"},
        {"}\n}\n", "}\n}\nPieceSkin { Piece: 2 StreamCount: 7", 70, "invalid PieceIndex", "7"},
        {"FLOAT3", "FLOAT4", 65, "only FLOAT3 is allowed", "3"},
        {"ItemCount: 2", "ItemCount: 0", 65, "invalid item_count", "3"},
        {"TotalWeightCount: 3", "TotalWeightCount: 0", 65, "invalid total_weight_count", "3"},
        {"TotalVertexIndexCount: 3", "TotalVertexIndexCount: 0", 65, "invalid total_vertex_index_count", "0"},
        // The checks of the stream's fields come in this order.
        {"FLOAT3 Tag: \"_POSITION\"", "INT Tag: \"\"", 65, "only FLOAT3 is allowed", "3"},
        {"_POSITION\"\n\t\tItemCount: 2", "\"\n\t\tItemCount: 0", 65, "only _POSITION is allowed", "3"},
        {"2 TotalWeightCount: 3", "0 TotalWeightCount: 0", 65, "invalid item_count", "3"},
        {"3 TotalVertexIndexCount: 3", "0 TotalVertexIndexCount: 0", 65, "invalid total_weight_count", "0"},

        {"ItemCount: 2", "ItemCount: 1", 67, "input item_count is smaller than actual item count", ")"},
        {"ItemCount: 2", "ItemCount: 99999999999", 68, "input item_count and actual item count are different",
         "}"},
        {"1 ( ( 0.0", "2 ( ( 0.0", 67, "item index should be incremental from zero", ")"},
        {"( 0.0 1.0 0.0 )", "( 0.0 1.0 )", 67, "syntax error", ")"},

        {"Weights: 1 1 1", "Weights: 0 1 1", 67, "invalid weight count of item", "0"},
        {"Weights: 1 1 1", "Weights: 1", 67, "syntax error", "VertexIndices"},
        {"0.5 1 0.25", "0.5", 66, "weight_count and actual weight count differ", "VertexIndices"},
        {"0.5 1 0.25", "0.5 1 0.25 1 0.125", 66, "weight_count and actual weight count differ", "0.125"},
        {"TotalWeightCount: 3", "TotalWeightCount: 2", 67,
         "total_weight_count is smaller than actual weight count", "1"},
        {"TotalWeightCount: 3", "TotalWeightCount: 99999999999", 68,
         "input total_weight_count and actual total weight count are different", "}"},

        {"VertexIndices: 1 2", "VertexIndices: 0 2", 67, "invalid vertex index count of item", "0"},
        {"VertexIndices: 1 2", "VertexIndices: 1", 67, "syntax error", ")"},
        {"VertexIndices: 2 0 1", "VertexIndices: 2 0", 66,
         "input vertex_index_count and actual vertex index count for the item differ", ")"},
        {"VertexIndices: 2 0 1", "VertexIndices: 2 0 1 2", 66,
         "vertex_index_count and actual vertex index count differ", "2"},
        {"VertexIndices: 1 2", "VertexIndices: 1 3", 67, "vertex index exceeds total_vertex_index_count",
         "3"},
        {"TotalVertexIndexCount: 3", "TotalVertexIndexCount: 2", 67,
         "total_vertex_index_count is smaller than actual vertex index count", "2"},
        {"TotalVertexIndexCount: 3", "TotalVertexIndexCount: 99999999999", 68,
         "input total_vertex_input_count and actual total vertex index count are different", "}"},

        {"}\n}\n", "}\nPieceSkinStream {", 69, "syntax error", "PieceSkinStream"},
        {"}\n}\n", "}\n}\nSkin {", 70, "syntax error", "Skin"},
    };
    expect_faults<parsed_model_t>(faults, piece_skin, with_piece_skin);
}

TEST(skin_grammar, piece_skins_and_pieces_are_as_many) {
    EXPECT_EQ(parsed_model_t(with_skin(piece_skin)).messages,
              "E: f:70: mismatching Piece Skin count [ token '' ]\n");
    const std::string second_piece =
        "Piece { Index: 1 Material: 0 VertexCount: 0 TriangleCount: 0 StreamCount: 1 "
        "Stream { Format: INT Tag: \"t\" } Triangles { } } Part {";
    std::string text = edited(with_piece_skin(piece_skin), "Part {", second_piece);
    text = edited(text, "PieceCount: 1", "PieceCount: 2");
    EXPECT_EQ(
        parsed_model_t(text).messages,
        "E: f:70: if defined PieceSkin, the paragraph count of PieceSkins and Pieces are expected to be the "
        "same [ token '' ]\n");
    text =
        edited(text, "PieceSkinCount: 1", "PieceSkinCount: 2") + edited(piece_skin, "Piece: 0", "Piece: 1");
    EXPECT_TRUE(parsed_model_t(text).root);
}

} // namespace kestrel
