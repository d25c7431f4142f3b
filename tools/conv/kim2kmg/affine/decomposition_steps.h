#pragma once

// The steps of splitting a transform, and the small algebra that they share.
//
//   linear part -> polar_decomposition -> rotation, stretch
//   stretch -> spectral_decomposition -> axes, factors -> align_stretch_axes -> the axes to be stored
//
// Sums run from the first component to the last, each operation rounded to single precision; the bytes of a
// bone depend on it.

#include <array>
#include <cstddef>

namespace kestrel {

using vector3_t = std::array<float, 3>;
using float3x3_t = std::array<vector3_t, 3>; // rows

inline constexpr float3x3_t identity3x3 = {{{1, 0, 0}, {0, 1, 0}, {0, 0, 1}}};

inline float dot(const vector3_t &a, const vector3_t &b) {
    return a[0] * b[0] + a[1] * b[1] + a[2] * b[2];
}

inline vector3_t cross(const vector3_t &a, const vector3_t &b) {
    return {a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]};
}

inline vector3_t column_of(const float3x3_t &m, size_t column) {
    return {m[0][column], m[1][column], m[2][column]};
}

inline float3x3_t transpose(const float3x3_t &m) {
    return {column_of(m, 0), column_of(m, 1), column_of(m, 2)};
}

inline float3x3_t product(const float3x3_t &a, const float3x3_t &b) {
    float3x3_t result;
    for (size_t row = 0; row < 3; ++row)
        for (size_t column = 0; column < 3; ++column)
            result[row][column] = dot(a[row], column_of(b, column));
    return result;
}

inline float3x3_t scale(const float3x3_t &m, float factor) {
    float3x3_t result = m;
    for (vector3_t &row : result)
        for (float &value : row)
            value *= factor;
    return result;
}

// A rotation of column vectors.
struct quaternion_t {
    float x, y, z, w;
};

// The Hamilton product.
inline quaternion_t product(const quaternion_t &a, const quaternion_t &b) {
    return {a.w * b.x + a.x * b.w + a.y * b.z - a.z * b.y, //
            a.w * b.y + a.y * b.w + a.z * b.x - a.x * b.z, //
            a.w * b.z + a.z * b.w + a.x * b.y - a.y * b.x, //
            a.w * b.w - a.x * b.x - a.y * b.y - a.z * b.z};
}

inline quaternion_t conjugate(const quaternion_t &q) {
    return {-q.x, -q.y, -q.z, q.w};
}

struct polar_parts_t {
    float3x3_t orthogonal; // a reflection for a matrix that mirrors, and maybe for one without an inverse
    float3x3_t stretch;    // symmetric to the bit
    float determinant;     // only its sign has a meaning
};

// Splits a matrix M into an orthogonal and a symmetric factor, M = Q S, by Newton's iteration with scaling.
//
// N. Higham, "Computing the Polar Decomposition, with Applications" (1986); for matrices without an inverse
// K. Shoemake (1994).
//
// Q is the orthogonal matrix nearest to M, which makes it the rotation that an animator would call M's own.
// What a matrix without an inverse does with the directions it flattens is open; Q may then be a reflection
// as well as a rotation. A finite matrix has a finite result at every scale, as long as twice its stretch is
// a number of single precision. A matrix with an infinity or a NaN gives some result too, after a bounded
// time.
polar_parts_t polar_decomposition(const float3x3_t &m);

struct spectral_parts_t {
    vector3_t factors; // the diagonal of K, in no order
    float3x3_t axes;   // U, a rotation
};

// Splits a symmetric matrix S into stretch factors along three axes at right angles, S = U K Uᵀ, by Jacobi's
// iteration, as in W. Press et al., "Numerical Recipes", in K. Shoemake's form for three rows. In double
// precision; ends after a bounded number of sweeps whatever the matrix holds.
spectral_parts_t spectral_decomposition(const float3x3_t &symmetric);

struct aligned_axes_t {
    quaternion_t turn; // the axes become `axes` x `turn`
    vector3_t factors; // in the order of the new axes
};

// Chooses between the many ways of writing one stretch: its three axes may be named in any order and point
// either way, which 24 rotations do, and axes of equal factors may turn freely about each other. Of all these
// the one nearest to no rotation at all is taken, so that two similar stretches get similar axes and can be
// blended (Shoemake and Duff, 1992).
aligned_axes_t align_stretch_axes(const quaternion_t &axes, const vector3_t &factors);

} // namespace kestrel
