#pragma once

// Chooses between the many ways of writing one stretch.
//
// The three axes of a stretch may be named in any order and point either way: 24 rotations permute and flip
// them, and axes of equal factors may turn freely about each other. Of all these the one nearest to no
// rotation at all is taken, so that two similar stretches get similar axes and can be blended.
//
// K. Shoemake and T. Duff, "Matrix Animation and Polar Decomposition" (1992).

#include "tools/conv/kim2kmg/affine/quaternion.h"

namespace kestrel {

struct aligned_axes_t {
    quaternion_t turn; // the axes become `axes` x `turn`
    vector3_t factors; // in the order of the new axes
};

aligned_axes_t align_stretch_axes(const quaternion_t &axes, const vector3_t &factors);

} // namespace kestrel
