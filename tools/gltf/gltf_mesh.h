#pragma once

// Primitives of a mesh as pieces, and what is done to pieces on the way: moving them into the model's space,
// computing normals and tangents that are missing, splitting those with more vertices than 16 bits can name.

#include "tools/gltf/gltf_accessors.h"
#include "tools/gltf/imported_model.h"
#include "tools/kmg/affine.h"

namespace kestrel {

// Where a list of triangles comes to; none for points and lines. Throws gltf_error_t for what is no mode.
enum class gltf_mode_t { triangles, strip, fan };
std::optional<gltf_mode_t> triangle_mode(int mode);
std::vector<triangle_corners_t> triangles_of(gltf_mode_t mode, const std::vector<uint32_t> &corners);

// All but material and skin. Throws gltf_error_t; names of attributes that a model has no place for are added
// to `unknown`.
model_piece_t read_primitive(const gltf_accessors_t &accessors, const tinygltf::Primitive &primitive,
                             gltf_mode_t mode, std::vector<std::string> &unknown);

// Throws gltf_error_t when a position is not finite then. Mirrored pieces have their triangles turned.
void transform_piece(const matrix_t &matrix, model_piece_t &piece);

// Every triangle's own; vertices are doubled where triangles that share them differ. Tangents go.
void compute_flat_normals(model_piece_t &piece);
// From the first UV channel, the mean of a vertex's triangles.
void compute_tangents(model_piece_t &piece);

// The vertices named, in that order; no triangles.
model_piece_t vertices_of(const model_piece_t &piece, std::span<const uint32_t> vertices);

// As it is when it has no more than `most` vertices, else along its triangles, in their order.
std::vector<model_piece_t> split_piece(model_piece_t piece, size_t most);

} // namespace kestrel
