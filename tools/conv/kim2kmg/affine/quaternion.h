#pragma once

// Quaternions as rotations of column vectors.

#include "tools/conv/kim2kmg/affine/float3x3.h"

namespace kestrel {

struct quaternion_t {
    float x, y, z, w;
};

// The Hamilton product.
quaternion_t product(const quaternion_t &a, const quaternion_t &b);

inline quaternion_t conjugate(const quaternion_t &q) {
    return {-q.x, -q.y, -q.z, q.w};
}

// Of a rotation matrix. For what is none the result has some other length.
quaternion_t quaternion_of(const float3x3_t &rotation);

} // namespace kestrel
