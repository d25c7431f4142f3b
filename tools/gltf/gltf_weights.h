#pragma once

// What moves the vertices of a skinned primitive.

#include "tools/gltf/gltf_accessors.h"
#include "tools/gltf/gltf_skeleton.h"
#include "tools/gltf/imported_model.h"

namespace kestrel {

// Vertices whose weights are not those of the file, all primitives together.
struct weight_changes_t {
    size_t scaled = 0;     // they did not sum to 1
    size_t cut = 0;        // the converter keeps four, and those carry too little
    size_t weightless = 0; // on the first joint now
};

// Of all sets JOINTS_n and WEIGHTS_n. Throws gltf_error_t.
void read_weights(const gltf_accessors_t &accessors, const gltf_skeleton_t &skeleton, int skin,
                  const tinygltf::Primitive &primitive, model_piece_t &piece, weight_changes_t &changes);

// The same for a mesh that follows one bone as a whole.
void hang_on_bone(uint32_t bone, model_piece_t &piece);

// The converter groups a piece's vertices by their weights, with a sort that moves equal ones. Vertices that
// are grouped already are put where that sort brings each back to the place that it has now.
void order_for_converter(model_piece_t &piece);

} // namespace kestrel
