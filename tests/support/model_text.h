#pragma once

// A small valid model as text, and the edits that break it.

#include <stdexcept>
#include <string>

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

} // namespace kestrel
