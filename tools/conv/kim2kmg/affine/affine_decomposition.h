#pragma once

// Splits an affine transform into the parts that an animator thinks in: where it moves, how it turns, how
// much it stretches along which axes, and whether it mirrors.
//
// K. Shoemake and T. Duff, "Matrix Animation and Polar Decomposition" (1992);
// K. Shoemake, "Polar Matrix Decomposition", Graphics Gems IV (1994).
//
// The linear part is F Q S: F is f times the identity, Q the rotation q, and S = U K Uᵀ the stretch, with U
// the rotation u and K the diagonal of k. Unlike a split by Gram-Schmidt this one depends on no order of
// axes.
//
// There is no failure. A linear part without an inverse gives finite parts, but its q has not length 1 where
// the orthogonal factor is a reflection; a matrix with an infinity or a NaN gives parts without meaning.
//
// Single precision but where double is written, every operation rounded in the order in which it stands here,
// no library function but the square root: every compiler and processor gives the same bytes.

#include <array>
#include <span>

namespace kestrel {

// In the order in which a bone record stores them.
struct affine_parts_t {
    std::array<float, 3> t;
    std::array<float, 4> q; // w, x, y, z
    std::array<float, 4> u; // w, x, y, z
    std::array<float, 3> k;
    float f; // +1, or -1 for a transform that mirrors
};

// The matrix is given as 4 rows of 4; the last column holds the translation.
affine_parts_t affine_decomposition(std::span<const float, 16> matrix);

} // namespace kestrel
