#pragma once

// Splits a symmetric 3 x 3 matrix S into stretch factors along three axes at right angles, S = U K Uᵀ, by
// Jacobi's iteration.
//
// The method is the one of W. Press et al., "Numerical Recipes", in K. Shoemake's form for three rows. It
// runs in double precision and ends after a bounded number of sweeps whatever the matrix holds.

#include "tools/conv/kim2kmg/affine/float3x3.h"

namespace kestrel {

struct spectral_parts_t {
    vector3_t factors; // the diagonal of K, in no order
    float3x3_t axes;   // U, a rotation
};

spectral_parts_t spectral_decomposition(const float3x3_t &symmetric);

} // namespace kestrel
