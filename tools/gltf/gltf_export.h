#pragma once

// A geometry file as binary glTF 2.0 (.glb), for any viewer.
//
//   piece             primitive, with its vertices interleaved as they are
//   part              node with a mesh of its pieces
//   locator           empty node below its part; the hookup is in its extras
//   skeleton          skin; the bones are nodes below one node "skeleton", in bind pose
//   material number   material without textures, named by the number
//
// Attributes: POSITION, NORMAL, TANGENT, COLOR_0, TEXCOORD_n for UV channel n, JOINTS_0, WEIGHTS_0, and
// _FACTOR. The texture coordinate map is in the extras of the primitive. What glTF does not allow is brought
// to the nearest it does: normals and tangents get unit length, colours brighter than 1 become 1, weights sum
// to 1 over bones that are not repeated. Locators that no part lists are left out, and so are pieces without
// triangles.
//
// A bone that is stretched along axes that are not its own cannot be one glTF node; it becomes two, and the
// second, "NAME_stretch", is the joint.

#include "tools/kmg/kmg_reader.h"

#include <string>
#include <string_view>

namespace kestrel {

// Of a file in which check_kmg finds no error.
std::string export_glb(const kmg_reader_t &file, std::string_view name);

} // namespace kestrel
