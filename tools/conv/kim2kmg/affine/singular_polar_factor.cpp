#include "tools/conv/kim2kmg/affine/singular_polar_factor.h"

#include <cmath>
#include <optional>

namespace kestrel {

// The column of the element of largest absolute value; none when all are zero.
static std::optional<size_t> largest_column(const float3x3_t &m) {
    std::optional<size_t> largest;
    float most = 0;
    for (const vector3_t &row : m)
        for (size_t column = 0; column < 3; ++column)
            if (std::fabs(row[column]) > most) {
                most = std::fabs(row[column]);
                largest = column;
            }
    return largest;
}

// The Householder vector, of squared length 2, of the reflection that takes `v` onto the last axis. Without
// meaning for a vector that is zero or too short to be squared.
static vector3_t reflector_of(vector3_t v) {
    const float length = std::sqrt(dot(v, v));
    v[2] += v[2] < 0 ? -length : length;
    const float to_unit = std::sqrt(2.0f / dot(v, v));
    return {v[0] * to_unit, v[1] * to_unit, v[2] * to_unit};
}

static void reflect_columns(float3x3_t &m, const vector3_t &reflector) {
    for (size_t column = 0; column < 3; ++column) {
        const float distance = dot(reflector, column_of(m, column));
        for (size_t row = 0; row < 3; ++row)
            m[row][column] -= reflector[row] * distance;
    }
}

static void reflect_rows(float3x3_t &m, const vector3_t &reflector) {
    for (vector3_t &row : m) {
        const float distance = dot(reflector, row);
        for (size_t column = 0; column < 3; ++column)
            row[column] -= reflector[column] * distance;
    }
}

static float3x3_t rank_1_factor(float3x3_t m) {
    float3x3_t q = identity3x3;
    const auto column = largest_column(m);
    if (!column)
        return q;
    const vector3_t column_reflector = reflector_of(column_of(m, *column));
    reflect_columns(m, column_reflector);
    const vector3_t row_reflector = reflector_of(m[2]);
    reflect_rows(m, row_reflector);
    if (m[2][2] < 0)
        q[2][2] = -1;
    reflect_columns(q, column_reflector);
    reflect_rows(q, row_reflector);
    return q;
}

// The factor of the upper left 2 x 2 corner. None when the corner holds nothing: the cofactors may be
// rounding errors only, or too small for a reflector, which then has left NaN.
static std::optional<float3x3_t> corner_factor(const float3x3_t &m) {
    const float w = m[0][0], x = m[0][1], y = m[1][0], z = m[1][1];
    const bool rotates = w * z > x * y;
    float a = rotates ? z + w : z - w;
    float b = rotates ? y - x : y + x;
    const float length = std::sqrt(a * a + b * b);
    if (!(length > 0))
        return std::nullopt;
    a /= length;
    b /= length;
    if (rotates)
        return float3x3_t{{{a, -b, 0}, {b, a, 0}, {0, 0, 1}}};
    return float3x3_t{{{-a, b, 0}, {b, a, 0}, {0, 0, 1}}};
}

float3x3_t singular_polar_factor(const float3x3_t &m, const float3x3_t &cofactors) {
    const auto column = largest_column(cofactors);
    if (!column)
        return rank_1_factor(m);
    float3x3_t reflected = m;
    const vector3_t column_reflector = reflector_of(column_of(cofactors, *column));
    reflect_columns(reflected, column_reflector);
    const vector3_t row_reflector = reflector_of(cross(reflected[0], reflected[1]));
    reflect_rows(reflected, row_reflector);
    auto q = corner_factor(reflected);
    if (!q)
        return rank_1_factor(m);
    reflect_columns(*q, column_reflector);
    reflect_rows(*q, row_reflector);
    return *q;
}

} // namespace kestrel
