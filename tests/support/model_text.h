#pragma once

// Small valid models and a skeleton as texts, and the edits that break them.

#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace kestrel {

// One triangle in one piece of one part.
inline const std::string one_triangle_model = R"(Header {
	FormatVersion: 5
	Source: "test"
	Type: "Model"
	Name: "one"
}
Global {
	VertexCount: 3
	TriangleCount: 1
	MaterialCount: 1
	PieceCount: 1
	PartCount: 1
	BoneCount: 0
	LocatorCount: 0
	Skeleton: ""
}
Material {
	Alias: "m"
	Effect: "rvk2.dif"
}
Piece {
	Index: 0
	Material: 0
	VertexCount: 3
	TriangleCount: 1
	StreamCount: 3
	Stream {
		Format: FLOAT3
		Tag: "_POSITION"
		0 ( 0.0 0.0 0.0 )
		1 ( 1.0 0.0 0.0 )
		2 ( 0.0 1.0 0.0 )
	}
	Stream {
		Format: FLOAT3
		Tag: "_NORMAL"
		0 ( 0.0 0.0 1.0 )
		1 ( 0.0 0.0 1.0 )
		2 ( 0.0 0.0 1.0 )
	}
	Stream {
		Format: FLOAT4
		Tag: "_RGBA"
		0 ( 1.0 1.0 1.0 1.0 )
		1 ( 1.0 1.0 1.0 1.0 )
		2 ( 1.0 1.0 1.0 1.0 )
	}
	Triangles {
		0 ( 0 1 2 )
	}
}
Part {
	Name: "body"
	PieceCount: 1
	LocatorCount: 0
	Pieces: 0
	Locators:
}
)";

// Replaces the first occurrence; a test whose edit finds nothing would test nothing.
inline std::string edited(std::string text, const std::string &from, const std::string &to) {
    const size_t at = text.find(from);
    if (at == std::string::npos)
        throw std::logic_error("edit finds nothing: " + from);
    return text.replace(at, from.size(), to);
}

using edits_t = std::vector<std::pair<std::string, std::string>>;
inline std::string edited(std::string text, const edits_t &edits) {
    for (const auto &[from, to] : edits)
        text = edited(std::move(text), from, to);
    return text;
}

inline const std::string locator_text =
    "Locator { Name: \"l\" Hookup: \"hook\" Index: 0 Position: ( 1.0 2.0 3.0 ) "
    "Rotation: ( 1.0 0.0 0.0 0.0 ) Scale: ( 1.0 1.0 1.0 ) }\n";

// Two pieces that can be joined, a locator, and the skeleton "s.kis".
inline std::string skinned_model_text() {
    const size_t piece_at = one_triangle_model.find("Piece {");
    const size_t part_at = one_triangle_model.find("Part {");
    const std::string piece = one_triangle_model.substr(piece_at, part_at - piece_at);
    std::string model = one_triangle_model;
    model.insert(part_at, edited(piece, "Index: 0", "Index: 1"));
    model = edited(model, {{"VertexCount: 3", "VertexCount: 6"},
                           {"TriangleCount: 1", "TriangleCount: 2"},
                           {"PieceCount: 1", "PieceCount: 2"},
                           {"BoneCount: 0", "BoneCount: 2"},
                           {"LocatorCount: 0", "LocatorCount: 1"},
                           {"Skeleton: \"\"", "Skeleton: \"s.kis\"\n\tPieceSkinCount: 2"},
                           {"PieceCount: 1\n\tLocatorCount: 0\n\tPieces: 0\n\tLocators:",
                            "PieceCount: 2\n\tLocatorCount: 1\n\tPieces: 0 1\n\tLocators: 0"}});
    model += locator_text + "Bones { 0 ( \"root\" ) 1 ( \"arm\" ) }\n";
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
	Name: "two"
}
Global {
	BoneCount: 2
}
Bones {
	0 ( Name: "root" Parent: ""
		Matrix: ( 1.0 0.0 0.0 0.0 0.0 1.0 0.0 0.0 0.0 0.0 1.0 0.0 0.0 0.0 0.0 1.0 )
	)
	1 ( Name: "arm" Parent: "root"
		Matrix: ( 2.0 0.0 0.0 4.0 0.0 2.0 0.0 6.0 0.0 0.0 2.0 8.0 0.0 0.0 0.0 1.0 )
	)
}
)";

} // namespace kestrel
