#pragma once

// Splits a 3 x 3 matrix M into an orthogonal and a symmetric factor, M = Q S, by Newton's iteration with
// scaling.
//
// N. Higham, "Computing the Polar Decomposition, with Applications" (1986);
// K. Shoemake and T. Duff, "Matrix Animation and Polar Decomposition" (1992).
//
// Q is the orthogonal matrix nearest to M, which makes it the rotation that an animator would call M's own.
// A finite matrix has a finite result at every scale, as long as twice its stretch is a number of single
// precision. A matrix with an infinity or a NaN gives some result too, after a bounded time.

#include "tools/conv/kim2kmg/affine/float3x3.h"

namespace kestrel {

struct polar_parts_t {
    float3x3_t orthogonal; // a reflection for a matrix that mirrors, and maybe for one without an inverse
    float3x3_t stretch;    // symmetric to the bit
    float determinant;     // only its sign has a meaning
};

polar_parts_t polar_decomposition(const float3x3_t &m);

} // namespace kestrel
