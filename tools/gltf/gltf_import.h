#pragma once

// A glTF 2.0 file as a model for the converter; the other way round than gltf_export.h.
//
//   mesh node     part, named by the node; a skinned one in the space that its skin is bound in
//   primitive     piece; of more than 65535 vertices, several
//   empty node    locator of the part that it is below; the hookup is in its extras
//   joint         bone
//   material      material
//
// Positions, directions and texture coordinates keep their axes and their origin. Everything that stands
// still is in world space. In a skinned model a mesh without skin follows the joint that it is below.

#include "tools/gltf/gltf_source.h"
#include "tools/gltf/imported_model.h"

namespace kestrel {

struct gltf_import_options_t {
    std::optional<int> scene = {}; // the file's own, or else the first, when not given
    bool tangents = false;         // compute those that are missing
    std::string effect = "default";
    std::vector<std::pair<std::string, std::string>> effects = {}; // of materials by their names
    // Of vertices and of triangles, all instances together; a small file may ask for any number.
    size_t most_elements = 100'000'000;
};

// Throws gltf_error_t.
imported_model_t import_gltf(const gltf_source_t &source, const gltf_import_options_t &options);

} // namespace kestrel
