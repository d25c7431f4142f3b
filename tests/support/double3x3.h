#pragma once

// Matrices and rotations in double precision, written from their definitions, to check what is done in
// single.

#include "tools/conv/kim2kmg/affine/decomposition_steps.h"

#include <array>
#include <cmath>
#include <cstdint>
#include <random>

namespace kestrel {

using double3x3_t = std::array<std::array<double, 3>, 3>;

inline double3x3_t operator*(const double3x3_t &a, const double3x3_t &b) {
    double3x3_t c{};
    for (size_t i = 0; i < 3; ++i)
        for (size_t j = 0; j < 3; ++j)
            for (size_t k = 0; k < 3; ++k)
                c[i][j] += a[i][k] * b[k][j];
    return c;
}

inline double3x3_t transposed(const double3x3_t &a) {
    double3x3_t t;
    for (size_t i = 0; i < 3; ++i)
        for (size_t j = 0; j < 3; ++j)
            t[i][j] = a[j][i];
    return t;
}

inline double3x3_t diagonal(double x, double y, double z) {
    return {{{x, 0, 0}, {0, y, 0}, {0, 0, z}}};
}

inline double3x3_t widened(const float3x3_t &m) {
    double3x3_t wide;
    for (size_t i = 0; i < 3; ++i)
        for (size_t j = 0; j < 3; ++j)
            wide[i][j] = m[i][j];
    return wide;
}

inline float3x3_t narrowed(const double3x3_t &m) {
    float3x3_t narrow;
    for (size_t i = 0; i < 3; ++i)
        for (size_t j = 0; j < 3; ++j)
            narrow[i][j] = static_cast<float>(m[i][j]);
    return narrow;
}

// From the definition: the columns are where the quaternion takes the axes.
inline double3x3_t rotation_of(double w, double x, double y, double z) {
    return {{{1 - 2 * (y * y + z * z), 2 * (x * y - w * z), 2 * (x * z + w * y)},
             {2 * (x * y + w * z), 1 - 2 * (x * x + z * z), 2 * (y * z - w * x)},
             {2 * (x * z - w * y), 2 * (y * z + w * x), 1 - 2 * (x * x + y * y)}}};
}

inline double3x3_t rotation_of(const std::array<float, 4> &q) {
    return rotation_of(q[0], q[1], q[2], q[3]);
}

inline double length_of(const std::array<float, 4> &q) {
    return std::sqrt(double{q[0]} * q[0] + double{q[1]} * q[1] + double{q[2]} * q[2] + double{q[3]} * q[3]);
}

inline double largest_element(const double3x3_t &m) {
    double largest = 0;
    for (const auto &row : m)
        for (const double value : row)
            largest = std::max(largest, std::fabs(value));
    return largest;
}

inline double difference(const double3x3_t &a, const double3x3_t &b) {
    double3x3_t c;
    for (size_t i = 0; i < 3; ++i)
        for (size_t j = 0; j < 3; ++j)
            c[i][j] = a[i][j] - b[i][j];
    return largest_element(c);
}

class random_transforms_t {
  public:
    double between(double low, double high) {
        return std::uniform_real_distribution<double>(low, high)(engine_);
    }
    std::array<double, 4> unit_quaternion() {
        std::normal_distribution<double> normal;
        std::array<double, 4> q;
        double square = 0;
        for (double &value : q) {
            value = normal(engine_);
            square += value * value;
        }
        for (double &value : q)
            value /= std::sqrt(square);
        return q;
    }
    double3x3_t rotation() {
        const auto q = unit_quaternion();
        return rotation_of(q[0], q[1], q[2], q[3]);
    }
    uint32_t bits() { return static_cast<uint32_t>(engine_()); }

  private:
    std::mt19937 engine_{19920511};
};

inline std::array<float, 16> affine_of(const double3x3_t &m) {
    std::array<float, 16> a{};
    for (size_t i = 0; i < 3; ++i)
        for (size_t j = 0; j < 3; ++j)
            a[4 * i + j] = static_cast<float>(m[i][j]);
    a[15] = 1;
    return a;
}

inline double3x3_t linear_of(const std::array<float, 16> &a) {
    double3x3_t m;
    for (size_t i = 0; i < 3; ++i)
        for (size_t j = 0; j < 3; ++j)
            m[i][j] = a[4 * i + j];
    return m;
}

} // namespace kestrel
