#pragma once

// Transforms of nodes and joints, on top of those in affine.h: the last row is 0 0 0 1.

#include "tools/kmg/affine.h"

#include <optional>

namespace kestrel {

bool is_finite(const matrix_t &matrix);
// Of the upper left 3x3.
double determinant(const matrix_t &matrix);
// The inverse transposed, times the determinant: turns normals, even where there is no inverse.
matrix_t cofactors(const matrix_t &matrix);
// None for what has no inverse or one beyond all numbers.
std::optional<matrix_t> inverse(const matrix_t &matrix);

// A turn without mirror or skew, as near as `matrix` comes to one: w, x, y, z.
std::array<double, 4> rotation_of(const matrix_t &matrix);
// How long the axes have become.
std::array<double, 3> scale_of(const matrix_t &matrix);

} // namespace kestrel
