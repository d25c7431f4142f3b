#include "tools/conv/kim2kmg/affine/decomposition_steps.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>
#include <optional>

namespace kestrel {

namespace {

// The largest row sum of absolute values.
float inf_norm(const float3x3_t &m) {
    float largest = 0;
    for (const vector3_t &row : m)
        largest = std::max(largest, std::fabs(row[0]) + std::fabs(row[1]) + std::fabs(row[2]));
    return largest;
}

// The largest column sum of absolute values.
float one_norm(const float3x3_t &m) {
    return inf_norm(transpose(m));
}

float3x3_t cofactors_of(const float3x3_t &m) {
    return {cross(m[1], m[2]), cross(m[2], m[0]), cross(m[0], m[1])};
}

// The column of the element of largest absolute value; none when all are zero.
std::optional<size_t> largest_column(const float3x3_t &m) {
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
vector3_t reflector_of(vector3_t v) {
    const float length = std::sqrt(dot(v, v));
    v[2] += v[2] < 0 ? -length : length;
    const float to_unit = std::sqrt(2.0f / dot(v, v));
    return {v[0] * to_unit, v[1] * to_unit, v[2] * to_unit};
}

void reflect_columns(float3x3_t &m, const vector3_t &reflector) {
    for (size_t column = 0; column < 3; ++column) {
        const float distance = dot(reflector, column_of(m, column));
        for (size_t row = 0; row < 3; ++row)
            m[row][column] -= reflector[row] * distance;
    }
}

void reflect_rows(float3x3_t &m, const vector3_t &reflector) {
    for (vector3_t &row : m) {
        const float distance = dot(reflector, row);
        for (size_t column = 0; column < 3; ++column)
            row[column] -= reflector[column] * distance;
    }
}

float3x3_t rank_1_factor(float3x3_t m) {
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
std::optional<float3x3_t> corner_factor(const float3x3_t &m) {
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

// The factor of a matrix without an inverse, where Newton's iteration has nothing to divide by: reflections
// bring the part that is not zero into the upper left corner (rank 2) or the last place (rank 1), where the
// factor can be read off, and take it back. It holds no NaN for a finite matrix.
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

struct orthogonal_factor_t {
    float3x3_t values;
    float determinant;
};

// The power of two that brings a positive number into [1, 2), as far as a normal number can.
float scale_to_one(float value) {
    constexpr int mantissa_bits = 23;
    constexpr int bias = 127;
    const int exponent = static_cast<int>(std::bit_cast<uint32_t>(value) >> mantissa_bits & 0xFF);
    const int opposite = std::clamp(2 * bias - exponent, 1, 2 * bias);
    return std::bit_cast<float>(static_cast<uint32_t>(opposite) << mantissa_bits);
}

// One step's result is the same for every scale of its start. A start whose products of three elements could
// leave the range of single precision is therefore brought near 1 first.
void keep_in_range(float3x3_t &m) {
    constexpr float least = 0x1p-20f;
    constexpr float most = 0x1p20f;
    const float size = one_norm(m);
    if (size < least || size > most)
        m = scale(m, scale_to_one(size));
}

orthogonal_factor_t orthogonal_factor(float3x3_t m) {
    // Seven steps do for all but matrices of rounding errors; none may go round in a circle.
    constexpr int most_steps = 60;
    constexpr float tolerance = 1.0e-6f;
    float determinant = 0;
    for (int step = 0; step < most_steps; ++step) {
        keep_in_range(m);
        const float3x3_t cofactors = cofactors_of(m);
        determinant = dot(m[0], cofactors[0]);
        if (std::fabs(determinant) < std::numeric_limits<float>::min())
            return {singular_polar_factor(m, cofactors), determinant};
        const float norms = (one_norm(cofactors) * inf_norm(cofactors)) / (one_norm(m) * inf_norm(m));
        const float gamma = static_cast<float>(
            std::sqrt(std::sqrt(static_cast<double>(norms)) / std::fabs(static_cast<double>(determinant))));
        const float own = gamma * 0.5f;
        const float inverse = 0.5f / (gamma * determinant);
        float3x3_t change;
        for (size_t row = 0; row < 3; ++row)
            for (size_t column = 0; column < 3; ++column) {
                const float previous = m[row][column];
                m[row][column] = own * previous + inverse * cofactors[row][column];
                change[row][column] = previous - m[row][column];
            }
        if (!(one_norm(change) > one_norm(m) * tolerance))
            break;
    }
    return {m, determinant};
}

} // namespace

polar_parts_t polar_decomposition(const float3x3_t &m) {
    const orthogonal_factor_t factor = orthogonal_factor(transpose(m));
    polar_parts_t parts{transpose(factor.values), product(factor.values, m), factor.determinant};
    float3x3_t &s = parts.stretch;
    for (size_t row = 0; row < 3; ++row)
        for (size_t column = row; column < 3; ++column)
            s[row][column] = s[column][row] = 0.5f * (s[row][column] + s[column][row]);
    return parts;
}

} // namespace kestrel
