#pragma once

// A bone's local transform as glTF nodes, which are translation, then rotation, then scale.

#include "tools/kmg/kmg_layout_and_limits.h"

#include <optional>

namespace kestrel {

struct gltf_transform_t {
    std::array<double, 3> translation{};
    std::array<double, 4> rotation{0, 0, 0, 1}; // x, y, z, w
    std::array<double, 3> scale{1, 1, 1};
};

struct gltf_bone_t {
    gltf_transform_t node;
    std::optional<gltf_transform_t> inner; // below it, where the stretch has axes of its own
    bool rotation_changed = false;         // was not of unit length
};

gltf_bone_t gltf_bone(const kmg_bone_data_t &bone);

// w, x, y, z in the file. Close enough to unit length not to be told of when it is brought to it?
bool is_unit_rotation(const kmg_float4_t &quaternion);
// Of unit length; none for a quaternion of length 0.
std::array<double, 4> gltf_rotation(const kmg_float4_t &quaternion);

} // namespace kestrel
