#pragma once

// The orthogonal polar factor of a matrix without an inverse, where Newton's iteration has nothing to divide
// by: reflections bring the part that is not zero into the upper left corner (rank 2) or the last place
// (rank 1), where the factor can be read off, and take it back.
//
// K. Shoemake, "Polar Matrix Decomposition", Graphics Gems IV (1994).
//
// What the matrix does with the directions it flattens is open, so the factor may be a reflection as well as
// a rotation. It holds no NaN for a finite matrix.

#include "tools/conv/kim2kmg/affine/float3x3.h"

namespace kestrel {

// `cofactors` are those of `m`: its transposed adjugate.
float3x3_t singular_polar_factor(const float3x3_t &m, const float3x3_t &cofactors);

} // namespace kestrel
