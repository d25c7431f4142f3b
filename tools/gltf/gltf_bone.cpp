#include "tools/gltf/gltf_bone.h"

#include "tools/kmg/affine.h"

#include <algorithm>

namespace kestrel {

namespace {

// Rounding of single precision; below it a stretch is uniform and an axis the bone's own.
constexpr double tolerance = 1e-5;

using quaternion_t = std::array<double, 4>; // w, x, y, z

quaternion_t product(const quaternion_t &a, const quaternion_t &b) {
    return {a[0] * b[0] - a[1] * b[1] - a[2] * b[2] - a[3] * b[3],
            a[0] * b[1] + a[1] * b[0] + a[2] * b[3] - a[3] * b[2],
            a[0] * b[2] + a[2] * b[0] + a[3] * b[1] - a[1] * b[3],
            a[0] * b[3] + a[3] * b[0] + a[1] * b[2] - a[2] * b[1]};
}
quaternion_t unit(const kmg_float4_t &quaternion) {
    const quaternion_t q = normalised(quaternion);
    return length(q) > 0 ? q : quaternion_t{1, 0, 0, 0};
}
std::array<double, 4> w_last(const quaternion_t &q) {
    return {q[1], q[2], q[3], q[0]};
}

bool is_uniform(const kmg_float3_t &scale) {
    const auto [least, most] = std::minmax({scale[0], scale[1], scale[2]});
    return static_cast<double>(most) - static_cast<double>(least) <=
           tolerance * std::abs(static_cast<double>(most));
}

} // namespace

bool is_unit_rotation(const kmg_float4_t &quaternion) {
    constexpr double unit_tolerance = 1e-3;
    return std::abs(length(quaternion) - 1) <= unit_tolerance;
}

std::array<double, 4> gltf_rotation(const kmg_float4_t &quaternion) {
    return w_last(unit(quaternion));
}

// The linear part is sign x rotation x (axes x scale x axes inverse).
gltf_bone_t gltf_bone(const kmg_bone_data_t &bone) {
    gltf_bone_t result;
    for (size_t i = 0; i < 3; ++i) {
        result.node.translation[i] = static_cast<double>(bone.translation[i]);
        result.node.scale[i] = (bone.sign < 0 ? -1 : 1) * static_cast<double>(bone.scale[i]);
    }
    result.rotation_changed = !is_unit_rotation(bone.rotation) || !is_unit_rotation(bone.stretch_rotation);
    const quaternion_t rotation = unit(bone.rotation);
    const quaternion_t axes = unit(bone.stretch_rotation);
    const bool own_axes = length(std::array{axes[1], axes[2], axes[3]}) <= tolerance;
    if (own_axes || is_uniform(bone.scale)) {
        result.node.rotation = w_last(rotation);
        return result;
    }
    result.node.rotation = w_last(product(rotation, axes));
    result.inner.emplace();
    result.inner->rotation = w_last({axes[0], -axes[1], -axes[2], -axes[3]});
    return result;
}

} // namespace kestrel
