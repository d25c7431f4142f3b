#pragma once

// A small skinned model and its skeleton as text: two pieces that can be joined, a locator, two bones.

#include "tests/support/model_text.h"

namespace kestrel {

inline std::string skinned_model_text() {
    const size_t piece_at = one_triangle_model.find("Piece {");
    const size_t part_at = one_triangle_model.find("Part {");
    const std::string piece = one_triangle_model.substr(piece_at, part_at - piece_at);
    std::string model = one_triangle_model;
    model.insert(part_at, edited(piece, "Index: 0", "Index: 1"));
    for (const auto &[from, to] : std::initializer_list<std::pair<const char *, const char *>>{
             {"VertexCount: 3", "VertexCount: 6"},
             {"TriangleCount: 1", "TriangleCount: 2"},
             {"PieceCount: 1", "PieceCount: 2"},
             {"BoneCount: 0", "BoneCount: 2"},
             {"LocatorCount: 0", "LocatorCount: 1"},
             {"Skeleton: \"\"", "Skeleton: \"s.kis\"\n\tPieceSkinCount: 2"},
             {"Name: \"body\"\n\tPieceCount: 1\n\tLocatorCount: 0\n\tPieces: 0\n\tLocators:",
              "Name: \"body\"\n\tPieceCount: 2\n\tLocatorCount: 1\n\tPieces: 0 1\n\tLocators: 0"}})
        model = edited(model, from, to);
    model += "Locator { Name: \"l\" Hookup: \"hook\" Index: 0 Position: ( 1.0 2.0 3.0 ) "
             "Rotation: ( 1.0 0.0 0.0 0.0 ) Scale: ( 1.0 1.0 1.0 ) }\n"
             "Bones { 0 ( \"root\" ) 1 ( \"arm\" ) }\n";
    for (const char *index : {"0", "1"})
        model += std::string("PieceSkin { Piece: ") + index +
                 " StreamCount: 1 PieceSkinStream { Format: FLOAT3 Tag: \"_POSITION\" ItemCount: 2 "
                 "TotalWeightCount: 3 TotalVertexIndexCount: 3\n"
                 "0 ( ( 0.0 0.0 0.0 ) Weights: 2 0 0.5 1 0.5 VertexIndices: 2 0 1 )\n"
                 "1 ( ( 0.0 1.0 0.0 ) Weights: 1 1 1.0 VertexIndices: 1 2 )\n} }\n";
    return model;
}

inline const std::string two_bone_skeleton = R"(Header {
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
	1 ( Name: "arm" Parent: "root" Matrix: ( 1.0 0.0 0.0 0.0 0.0 1.0 0.0 0.0 0.0 0.0 1.0 0.0 1.0 2.0 3.0 1.0 ) )
}
)";

} // namespace kestrel
