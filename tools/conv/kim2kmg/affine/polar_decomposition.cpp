#include "tools/conv/kim2kmg/affine/polar_decomposition.h"

#include "tools/conv/kim2kmg/affine/singular_polar_factor.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>

namespace kestrel {

// The largest row sum of absolute values.
static float inf_norm(const float3x3_t &m) {
    float largest = 0;
    for (const vector3_t &row : m)
        largest = std::max(largest, std::fabs(row[0]) + std::fabs(row[1]) + std::fabs(row[2]));
    return largest;
}

// The largest column sum of absolute values.
static float one_norm(const float3x3_t &m) {
    return inf_norm(transpose(m));
}

static float3x3_t cofactors_of(const float3x3_t &m) {
    return {cross(m[1], m[2]), cross(m[2], m[0]), cross(m[0], m[1])};
}

namespace {

struct orthogonal_factor_t {
    float3x3_t values;
    float determinant;
};

} // namespace

// The power of two that brings a positive number into [1, 2), as far as a normal number can.
static float scale_to_one(float value) {
    constexpr int mantissa_bits = 23;
    constexpr int bias = 127;
    const int exponent = static_cast<int>(std::bit_cast<uint32_t>(value) >> mantissa_bits & 0xFF);
    const int opposite = std::clamp(2 * bias - exponent, 1, 2 * bias);
    return std::bit_cast<float>(static_cast<uint32_t>(opposite) << mantissa_bits);
}

// One step's result is the same for every scale of its start. A start whose products of three elements could
// leave the range of single precision is therefore brought near 1 first.
static void keep_in_range(float3x3_t &m) {
    constexpr float least = 0x1p-20f;
    constexpr float most = 0x1p20f;
    const float size = one_norm(m);
    if (size < least || size > most)
        m = scale(m, scale_to_one(size));
}

static orthogonal_factor_t orthogonal_factor(float3x3_t m) {
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
