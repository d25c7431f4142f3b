#pragma once

// Vertices of a geometry file as glTF wants them. They stay where they are; only values that glTF reads
// differently or does not allow are replaced.

#include "tools/gltf/gltf_export.h"

namespace kestrel {

// `vertices` is a copy of the piece's vertices. Adds up what had to be changed.
void adapt_vertices_for_gltf(const kmg_piece_t &piece, const kmg_piece_data_t &data,
                             std::span<std::byte> vertices, gltf_changes_t &changes);

// The parts of that, for one vertex:

// Twice the value and no more than 1; alpha as it is.
kmg_bytes4_t gltf_colour(const kmg_bytes4_t &colour);

struct gltf_influences_t {
    kmg_bytes4_t joints;
    kmg_bytes4_t weights; // sum to 255
};
// Each bone once, slots without weight name joint 0.
gltf_influences_t gltf_influences(const kmg_bytes4_t &bones, const kmg_bytes4_t &weights);

} // namespace kestrel
