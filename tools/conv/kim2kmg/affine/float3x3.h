#pragma once

// Vectors of three and matrices of three rows, and the few operations that splitting a transform needs.
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

} // namespace kestrel
