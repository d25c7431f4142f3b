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
const std::string skin = R"(Skin {
	StreamCount: 1
	SkinStream {
		Format: FLOAT3
		Tag: "_POSITION"
		ItemCount: 2
		TotalWeightCount: 3
		TotalCloneCount: 3
		0 ( ( 0.0 0.0 0.0 )
			Weights: 2 0 0.5 1 0.25
			Clones: 2 0 0 0 1
		)
		1 ( ( 0.0 1.0 0.0 )
			Weights: 1 1 1
			Clones: 1 0 2
		)
	}
}
)";

const std::string piece_skin = R"(PieceSkin {
	Piece: 0
	StreamCount: 1
	PieceSkinStream {
		Format: FLOAT3
		Tag: "_POSITION"
		ItemCount: 2
		TotalWeightCount: 3
		TotalVertexIndexCount: 3
		0 ( ( 0.0 0.0 0.0 )
			Weights: 2 0 0.5 1 0.25
			VertexIndices: 2 0 1
		)
		1 ( ( 0.0 1.0 0.0 )
			Weights: 1 1 1
			VertexIndices: 1 2
		)
	}
}
)";

std::string with_skin(const std::string &skin_text) {
    return edited(one_triangle_model, "BoneCount: 0", "BoneCount: 2") + two_bones + skin_text;
}

std::string with_piece_skin(const std::string &skin_text) {
    return edited(with_skin(skin_text), "Skeleton: \"\"", "Skeleton: \"\" PieceSkinCount: 1");
}

// The skin's declared counts as large as can be written.
std::string with_huge_totals(std::string skin_text, std::initializer_list<const char *> counts) {
    for (const char *count : counts)
        skin_text = edited(skin_text, count, count + std::string("99999999999"));
    return skin_text;
}

} // namespace

TEST(skin_grammar, bones_come_with_a_skin) {
    EXPECT_EQ(parsed_model_t(with_skin("")).messages, "E: f:63: syntax error [ token '' ]\n");
    const fault_t faults[] = {
        {"0 ( \"root\" )\n\t1 ( \"arm\" )", "", "61: syntax error [ token '}' ]"},
        {"1 ( \"arm\" )", "", "62: invalid number of Bones elements [ token '}' ]"},
        {"1 ( \"arm\" )", "2 ( \"arm\" )", "61: inconsistent Stream item order [ token ')' ]"},
        {"1 ( \"arm\" )", "1 ( \"arm\" ) 2 ( \"hand\" )",
         "61: inconsistent Stream item type/count [ token ')' ]"},
        {"1 ( \"arm\" )", "1 ( 1 )", "61: syntax error [ token '1' ]"},
    };
    expect_faults<parsed_model_t>(faults, two_bones, [](const std::string &bones) {
        return edited(one_triangle_model, "BoneCount: 0", "BoneCount: 2") + bones + skin;
    });
}

TEST(skin_grammar, a_skin_is_kept_as_written) {
    const parsed_model_t parsed(with_skin(skin));
    ASSERT_TRUE(parsed.root) << parsed.messages;
    EXPECT_EQ(parsed.root->bone_names[1].view(), "arm");
    EXPECT_TRUE(parsed.root->piece_skins.empty());
    ASSERT_TRUE(parsed.root->skin);
    ASSERT_EQ(parsed.root->skin->streams.size(), 1u);
    const kim_skin_stream_t &stream = *parsed.root->skin->streams[0];
    EXPECT_EQ(stream.tag.view(), "_POSITION");
    EXPECT_EQ(stream.capacity(), 2u);
    EXPECT_EQ(stream.items_as<float3_t>()[1].y, 1.0f);
    ASSERT_EQ(stream.items().size(), 2u);
    const auto weights = stream.weights_of(stream.items()[0]);
    ASSERT_EQ(weights.size(), 2u);
    EXPECT_EQ(weights[1].bone, 1u);
    EXPECT_EQ(weights[1].weight, 0.25f);
    // A whole number becomes a real one.
    EXPECT_EQ(stream.weights_of(stream.items()[1])[0].weight, 1.0f);
    const auto clones = stream.clones_of(stream.items()[0]);
    ASSERT_EQ(clones.size(), 2u);
    EXPECT_EQ(clones[1].vertex, 1u);
    EXPECT_EQ(stream.clones_of(stream.items()[1])[0].vertex, 2u);
}

TEST(skin_grammar, one_fault_of_a_skin_one_message) {
    const fault_t faults[] = {
        {"StreamCount: 1", "StreamCount: 2", "80: incorrect number of Skin streams [ token '}' ]"},
        {"1 ( ( 0.0 1.0", "2 ( ( 0.0 1.0", "75: inconsistent SkinStream item order [ token ')' ]"},
        {"ItemCount: 2", "ItemCount: 1", "75: inconsistent SkinStream item type/count [ token ')' ]"},
        {"ItemCount: 2", "ItemCount: 0", "71: inconsistent SkinStream item type/count [ token ')' ]"},
        {"0.5 1 0.25", "0.5 1 0.25 1 0.125", "72: cannot add weight pair [ token '0.125' ]"},
        {"Weights: 2", "Weights: 0", "72: cannot add weight pair [ token '0.5' ]"},
        {"TotalWeightCount: 3", "TotalWeightCount: 2", "76: cannot add weight pair [ token '1' ]"},
        {"TotalWeightCount: 3", "TotalWeightCount: 0", "72: cannot add weight pair [ token '0.5' ]"},
        {"Weights: 1 1 1", "Weights: 1", "77: invalid Weights count [ token 'Clones' ]"},
        {"Weights: 1 1 1", "Weights: 1 1", "77: syntax error [ token 'Clones' ]"},
        // The end of the pairs is judged before what follows them.
        {"Weights: 1 1 1", "Weights: 1 1.0", "76: invalid Weights count [ token '1.0' ]"},
        {"Clones: 2 0 0 0 1", "Clones: 2 0 0 0 1 0 3", "73: cannot add clone pair [ token '3' ]"},
        {"TotalCloneCount: 3", "TotalCloneCount: 2", "77: cannot add clone pair [ token '2' ]"},
        {"Clones: 1 0 2", "Clones: 1", "78: invalid Clones count [ token ')' ]"},
        {"Clones: 1 0 2", "Clones: 1 0 2.0", "77: syntax error [ token '2.0' ]"},
        {"( 0.0 1.0 0.0 )", "( )", "75: syntax error [ token ')' ]"},
        {"( 0.0 1.0 0.0 )", "0.0 1.0 0.0", "75: syntax error [ token '0.0' ]"},
        {"FLOAT3", "Bones", "66: syntax error [ token 'Bones' ]"},
        {"}\n}\n", "}\n", "80: syntax error [ token '' ]"},
        {"}\n}\n", "}\n} Skin", "80: syntax error [ token 'Skin' ]"},
        {"}\n}\n", "}\n} PieceSkin", "80: syntax error [ token 'PieceSkin' ]"},
    };
    expect_faults<parsed_model_t>(faults, skin, with_skin);
    const std::string stream =
        skin.substr(skin.find("\tSkinStream"), skin.rfind('}') - skin.find("\tSkinStream"));
    EXPECT_EQ(parsed_model_t(with_skin(edited(skin, stream, ""))).messages,
              "E: f:65: syntax error [ token '}' ]\n");
    EXPECT_TRUE(
        parsed_model_t(
            with_skin(edited(skin, "StreamCount: 1", "StreamCount: 2").insert(skin.rfind('}'), stream)))
            .root);
}

// Nothing may follow a Skin paragraph, so the totals are checked at its end.
TEST(skin_grammar, a_skin_ends_the_model) {
    for (const char *rest : {"", "\n\nPart"})
        EXPECT_EQ(parsed_model_t(edited(with_skin(skin), "PieceCount: 1", "PieceCount: 2") + rest).messages,
                  "E: f:80: mismatching Piece count [ token '}' ]\n");
}

TEST(skin_grammar, a_skin_may_have_less_than_it_declares) {
    std::string text = edited(skin, "ItemCount: 2", "ItemCount: 5");
    text = edited(text, "Weights: 2 0 0.5 1 0.25", "Weights: 2 0 0.5");
    text = edited(text, "Clones: 2 0 0 0 1", "Clones: 0");
    text = edited(text, "Weights: 1 1 1", "Weights: 0");
    const parsed_model_t parsed(with_skin(text));
    ASSERT_TRUE(parsed.root) << parsed.messages;
    const kim_skin_stream_t &stream = *parsed.root->skin->streams[0];
    ASSERT_EQ(stream.items().size(), 2u);
    EXPECT_EQ(stream.items()[0].weight_count, 2u);
    EXPECT_EQ(stream.weights_of(stream.items()[0]).size(), 1u);
    EXPECT_TRUE(stream.clones_of(stream.items()[0]).empty());
    EXPECT_TRUE(stream.weights_of(stream.items()[1]).empty());
    EXPECT_EQ(stream.clones_of(stream.items()[1])[0].vertex, 2u);
}

TEST(skin_grammar, skin_items_end_in_zeros) {
    std::string text = edited(skin, "FLOAT3", "FLOAT6");
    text = edited(text, "( 0.0 0.0 0.0 )", "( 1.0 2.0 3.0 4.0 5.0 6.0 )");
    text = edited(text, "( 0.0 1.0 0.0 )", "( 7 )");
    const parsed_model_t parsed(with_skin(text));
    ASSERT_TRUE(parsed.root) << parsed.messages;
    const auto items = parsed.root->skin->streams[0]->items_as<std::array<uint32_t, 6>>();
    ASSERT_EQ(items.size(), 2u);
    EXPECT_EQ(items[0][5], 0x40C00000u);
    EXPECT_EQ(items[1], (std::array<uint32_t, 6>{7, 0, 0, 0, 0, 0}));
}

TEST(skin_grammar, a_piece_skin_is_kept_as_written) {
    const parsed_model_t parsed(with_piece_skin(piece_skin));
    ASSERT_TRUE(parsed.root) << parsed.messages;
    EXPECT_FALSE(parsed.root->skin);
    ASSERT_EQ(parsed.root->piece_skins.size(), 1u);
    const kim_piece_skin_t &first = *parsed.root->piece_skins[0];
    EXPECT_EQ(first.piece_index, 0u);
    ASSERT_EQ(first.items.size(), 2u);
    const kim_piece_skin_item_t &item = first.items[1];
    EXPECT_EQ(item.position.y, 1.0f);
    EXPECT_EQ(item.item_index, 1u);
    EXPECT_EQ(item.first_weight, 2u);
    EXPECT_EQ(item.weight_count, 1u);
    EXPECT_EQ(item.first_vertex_index, 2u);
    EXPECT_EQ(item.vertex_index_count, 1u);
    EXPECT_EQ(first.weights[1].weight, 0.25f);
    EXPECT_EQ(first.weights[2].bone, 1u);
    EXPECT_EQ(first.weights[2].weight, 1.0f);
    EXPECT_TRUE(std::ranges::equal(first.vertex_indices.items(), std::vector<uint32_t>{0, 1, 2}));
    EXPECT_TRUE(std::ranges::equal(first.vertex_items.items(), std::vector<uint32_t>{0, 0, 1}));
}

TEST(skin_grammar, the_last_item_of_a_vertex_counts) {
    const std::string text = edited(edited(piece_skin, "2 0 1", "2 0 2"), "1 2\n", "1 0\n");
    const parsed_model_t parsed(with_piece_skin(text));
    ASSERT_TRUE(parsed.root) << parsed.messages;
    EXPECT_TRUE(std::ranges::equal(parsed.root->piece_skins[0]->vertex_items.items(),
                                   std::vector<uint32_t>{1, kim_piece_skin_t::no_item, 0}));
}

TEST(skin_grammar, one_fault_of_a_piece_skin_one_message) {
    const fault_t faults[] = {
        {"Piece: 0", "Piece: 1", "65: invalid PieceIndex [ token '1' ]"},
        {"}\n}\n", "}\n}\nPieceSkin { Piece: 0\nStreamCount: 7",
         "83: multiple PieceSkin-s with the same piece index [ token '7' ]"},
        {"}\n}\n", "}\n}\nPieceSkin { Piece: 2 StreamCount: 7", "82: invalid PieceIndex [ token '7' ]"},
        {"StreamCount: 1", "StreamCount: 2", "65: only single piece skin stream is expected [ token '2' ]"},
        {"FLOAT3", "FLOAT4", "71: only FLOAT3 is allowed [ token '3' ]"},
        {"_POSITION", "_Position", "71: only _POSITION is allowed [ token '3' ]"},
        {"ItemCount: 2", "ItemCount: 0", "71: invalid item_count [ token '3' ]"},
        {"TotalWeightCount: 3", "TotalWeightCount: 0", "71: invalid total_weight_count [ token '3' ]"},
        {"TotalVertexIndexCount: 3", "TotalVertexIndexCount: 0",
         "71: invalid total_vertex_index_count [ token '0' ]"},
        // The checks of the stream's fields come in this order.
        {"FLOAT3\n\t\tTag: \"_POSITION\"", "INT\n\t\tTag: \"\"", "71: only FLOAT3 is allowed [ token '3' ]"},
        {"_POSITION\"\n\t\tItemCount: 2", "\"\n\t\tItemCount: 0",
         "71: only _POSITION is allowed [ token '3' ]"},
        {"2\n\t\tTotalWeightCount: 3", "0\n\t\tTotalWeightCount: 0", "71: invalid item_count [ token '3' ]"},
        {"3\n\t\tTotalVertexIndexCount: 3", "0\n\t\tTotalVertexIndexCount: 0",
         "71: invalid total_weight_count [ token '0' ]"},

        {"ItemCount: 2", "ItemCount: 1",
         "76: input item_count is smaller than actual item count [ token ')' ]"},
        {"ItemCount: 2", "ItemCount: 3",
         "80: input item_count and actual item count are different [ token '}' ]"},
        {"1 ( ( 0.0", "2 ( ( 0.0", "76: item index should be incremental from zero [ token ')' ]"},
        {"( 0.0 1.0 0.0 )", "( 0.0 1.0 )", "76: syntax error [ token ')' ]"},

        {"Weights: 1 1 1", "Weights: 0 1 1", "77: invalid weight count of item [ token '0' ]"},
        {"Weights: 1 1 1", "Weights: 1", "78: syntax error [ token 'VertexIndices' ]"},
        {"0.5 1 0.25", "0.5", "74: weight_count and actual weight count differ [ token 'VertexIndices' ]"},
        {"0.5 1 0.25", "0.5 1 0.25 1 0.125",
         "73: weight_count and actual weight count differ [ token '0.125' ]"},
        {"TotalWeightCount: 3", "TotalWeightCount: 2",
         "77: total_weight_count is smaller than actual weight count [ token '1' ]"},
        {"TotalWeightCount: 3", "TotalWeightCount: 4",
         "80: input total_weight_count and actual total weight count are different [ token '}' ]"},

        {"VertexIndices: 1 2", "VertexIndices: 0 2", "78: invalid vertex index count of item [ token '0' ]"},
        {"VertexIndices: 1 2", "VertexIndices: 1", "79: syntax error [ token ')' ]"},
        {"VertexIndices: 2 0 1", "VertexIndices: 2 0",
         "75: input vertex_index_count and actual vertex index count for the item differ [ token ')' ]"},
        {"VertexIndices: 2 0 1", "VertexIndices: 2 0 1 2",
         "74: vertex_index_count and actual vertex index count differ [ token '2' ]"},
        {"VertexIndices: 1 2", "VertexIndices: 1 3",
         "78: vertex index exceeds total_vertex_index_count [ token '3' ]"},
        {"TotalVertexIndexCount: 3", "TotalVertexIndexCount: 2",
         "78: total_vertex_index_count is smaller than actual vertex index count [ token '2' ]"},
        {"TotalVertexIndexCount: 3", "TotalVertexIndexCount: 4",
         "80: input total_vertex_input_count and actual total vertex index count are different [ token '}' "
         "]"},

        {"}\n}\n", "}\nPieceSkinStream {", "81: syntax error [ token 'PieceSkinStream' ]"},
        {"}\n}\n", "}\n}\nSkin {", "82: syntax error [ token 'Skin' ]"},
    };
    expect_faults<parsed_model_t>(faults, piece_skin, with_piece_skin);
}

TEST(skin_grammar, piece_skins_and_pieces_are_as_many) {
    EXPECT_EQ(parsed_model_t(with_skin(piece_skin)).messages,
              "E: f:82: mismatching Piece Skin count [ token '' ]\n");
    const std::string second_piece =
        "Piece { Index: 1 Material: 0 VertexCount: 0 TriangleCount: 0 StreamCount: 1 "
        "Stream { Format: INT Tag: \"t\" } Triangles { } } Part {";
    std::string text = edited(with_piece_skin(piece_skin), "Part {", second_piece);
    text = edited(text, "PieceCount: 1", "PieceCount: 2");
    EXPECT_EQ(
        parsed_model_t(text).messages,
        "E: f:82: if defined PieceSkin, the paragraph count of PieceSkins and Pieces are expected to be the "
        "same [ token '' ]\n");
    text =
        edited(text, "PieceSkinCount: 1", "PieceSkinCount: 2") + edited(piece_skin, "Piece: 0", "Piece: 1");
    EXPECT_TRUE(parsed_model_t(text).root);
}

TEST(skin_grammar, declared_totals_cost_nothing) {
    // Saturates at 4294967295.
    const std::string huge = with_huge_totals(skin, {"\t\tItemCount: ", "WeightCount: ", "CloneCount: "});
    EXPECT_TRUE(parsed_model_t(with_skin(huge)).root);
    EXPECT_TRUE(parsed_model_t(with_skin(edited(huge, "FLOAT3", "STRING"))).root);
    EXPECT_TRUE(parsed_model_t(with_skin(with_huge_totals(skin, {"Weights: ", "Clones: "}))).root);
    EXPECT_EQ(parsed_model_t(with_piece_skin(with_huge_totals(piece_skin, {"\t\tItemCount: "}))).messages,
              "E: f:80: input item_count and actual item count are different [ token '}' ]\n");
    EXPECT_EQ(
        parsed_model_t(with_piece_skin(with_huge_totals(piece_skin, {"WeightCount: "}))).messages,
        "E: f:80: input total_weight_count and actual total weight count are different [ token '}' ]\n");
    EXPECT_EQ(parsed_model_t(with_piece_skin(with_huge_totals(piece_skin, {"IndexCount: "}))).messages,
              "E: f:80: input total_vertex_input_count and actual total vertex index count are different "
              "[ token '}' ]\n");
}

} // namespace kestrel
