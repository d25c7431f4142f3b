#pragma once

// A geometry file as binary glTF 2.0 (.glb), for any viewer.
//
//   piece             primitive, with its vertices interleaved as they are
//   part              node with a mesh of its pieces
//   locator           node below its part, empty or with axes; the hookup is in its extras
//   skeleton          skin; the bones are nodes below one node "skeleton", in bind pose
//   material number   material without textures, named by the number, in a colour of its own
//
// Attributes: POSITION, NORMAL, TANGENT, COLOR_0, TEXCOORD_n for UV channel n, JOINTS_0, WEIGHTS_0, and
// _FACTOR. The texture coordinate map is in the extras of the primitive.
//
// A bone that is stretched along axes that are not its own cannot be one glTF node; it becomes two, and the
// second, "NAME_stretch", is the joint.
//
// Nothing is held but one piece's vertices: the JSON is made twice, once to know its length.

#include "tools/kmg/kmg_reader.h"

#include <functional>
#include <string>
#include <string_view>

namespace kestrel {

struct gltf_options_t {
    bool axes = false; // three coloured lines at each locator
};

// What glTF does not allow and was brought to the nearest it does, or left out. Numbers of vertices, bones, …
struct gltf_changes_t {
    size_t normals = 0;           // to unit length
    size_t tangents = 0;          // to unit length and a sign
    size_t colours = 0;           // brighter than 1
    size_t influences = 0;        // to weights that sum to 1 over different bones
    size_t bone_rotations = 0;    // to unit length
    size_t last_rows = 0;         // of bones, to 0 0 0 1
    size_t locator_rotations = 0; // to unit length
    size_t pieces = 0;            // without triangles, left out
    size_t locators = 0;          // of no part, left out
};
// "3 normals brought to unit length, 1 piece without triangles left out"; empty for none.
std::string to_text(const gltf_changes_t &changes);

using byte_sink_t = std::function<void(std::span<const std::byte>)>;

// Of a file in which check_kmg finds no error. False, and nothing is written, when it would be too large for
// glTF: 4 GB.
bool export_glb(const kmg_reader_t &file, std::string_view name, const gltf_options_t &options,
                gltf_changes_t &changes, const byte_sink_t &sink);

} // namespace kestrel
