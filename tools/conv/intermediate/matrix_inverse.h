#pragma once

// The inverse of a general 4 x 4 matrix by cofactors, in single precision.
//
// Transposing and inverting commute, so rows and columns may be read either way round as long as the result
// is read the same way.

#include <array>
#include <span>

namespace kestrel {

struct matrix_inverse_t {
    std::array<float, 16> values;
    // False when the determinant lies within 0.00001 of zero; the values are then the adjugate, not divided
    // by it.
    bool invertible;
};

matrix_inverse_t invert_matrix(std::span<const float, 16> m);

} // namespace kestrel
