#pragma once

// Transforms of bones in double precision, for checking and exporting what the file holds in single.
//
// Matrices are 4 rows of 4 and transform column vectors, as in the file: the translation is column 3.

#include "tools/kmg/kmg_layout_and_limits.h"

#include <cmath>
#include <cstdlib>
#include <utility>

namespace kestrel {

struct matrix_t {
    double m[4][4];

    static matrix_t from(const kmg_matrix_t &values) {
        matrix_t matrix;
        for (size_t i = 0; i < values.size(); ++i)
            matrix.m[i / 4][i % 4] = static_cast<double>(values[i]);
        return matrix;
    }
    matrix_t transposed() const {
        matrix_t result;
        for (int r = 0; r < 4; ++r)
            for (int c = 0; c < 4; ++c)
                result.m[r][c] = m[c][r];
        return result;
    }
    matrix_t absolute() const {
        matrix_t result = *this;
        for (auto &row : result.m)
            for (double &value : row)
                value = std::abs(value);
        return result;
    }
};

inline matrix_t operator*(const matrix_t &a, const matrix_t &b) {
    matrix_t product;
    for (int r = 0; r < 4; ++r)
        for (int c = 0; c < 4; ++c) {
            product.m[r][c] = 0;
            for (int k = 0; k < 4; ++k)
                product.m[r][c] += a.m[r][k] * b.m[k][c];
        }
    return product;
}

inline constexpr matrix_t identity_matrix = {{{1, 0, 0, 0}, {0, 1, 0, 0}, {0, 0, 1, 0}, {0, 0, 0, 1}}};

inline double determinant_of_rows(const matrix_t &a) {
    const auto &m = a.m;
    return m[0][0] * (m[1][1] * m[2][2] - m[1][2] * m[2][1]) -
           m[0][1] * (m[1][0] * m[2][2] - m[1][2] * m[2][0]) +
           m[0][2] * (m[1][0] * m[2][1] - m[1][1] * m[2][0]);
}

// By elimination with the largest pivot; values that are not finite when there is no inverse.
inline matrix_t inverted(matrix_t a) {
    matrix_t result = identity_matrix;
    for (int column = 0; column < 4; ++column) {
        int pivot = column;
        for (int row = column + 1; row < 4; ++row)
            if (std::abs(a.m[row][column]) > std::abs(a.m[pivot][column]))
                pivot = row;
        std::swap(a.m[pivot], a.m[column]);
        std::swap(result.m[pivot], result.m[column]);
        const double divisor = a.m[column][column];
        for (int c = 0; c < 4; ++c) {
            a.m[column][c] /= divisor;
            result.m[column][c] /= divisor;
        }
        for (int row = 0; row < 4; ++row) {
            const double factor = a.m[row][column];
            for (int c = 0; c < 4 && row != column; ++c) {
                a.m[row][c] -= factor * a.m[column][c];
                result.m[row][c] -= factor * result.m[column][c];
            }
        }
    }
    return result;
}

// The rotation of a unit quaternion w, x, y, z.
inline matrix_t rotation_matrix(const std::array<double, 4> &q) {
    const auto [w, x, y, z] = q;
    return {{{1 - 2 * (y * y + z * z), 2 * (x * y - z * w), 2 * (x * z + y * w), 0},
             {2 * (x * y + z * w), 1 - 2 * (x * x + z * z), 2 * (y * z - x * w), 0},
             {2 * (x * z - y * w), 2 * (y * z + x * w), 1 - 2 * (x * x + y * y), 0},
             {0, 0, 0, 1}}};
}

inline double length(const auto &values) {
    double sum = 0;
    for (const auto value : values)
        sum += static_cast<double>(value) * static_cast<double>(value);
    return std::sqrt(sum);
}

// Of length 1, or all zeros when it has none.
template <size_t N>
std::array<double, N> normalised(const std::array<float, N> &values) {
    std::array<double, N> result{};
    if (const double l = length(values); l > 0)
        for (size_t i = 0; i < N; ++i)
            result[i] = static_cast<double>(values[i]) / l;
    return result;
}

// The bone relative to its parent, put together from the parts that its record holds.
inline matrix_t composed_local_transform(const kmg_bone_data_t &bone) {
    const matrix_t axes = rotation_matrix(normalised(bone.stretch_rotation));
    matrix_t stretch = identity_matrix;
    matrix_t mirror = identity_matrix;
    for (size_t i = 0; i < 3; ++i) {
        stretch.m[i][i] = static_cast<double>(bone.scale[i]);
        mirror.m[i][i] = static_cast<double>(bone.sign);
    }
    matrix_t local = mirror * rotation_matrix(normalised(bone.rotation)) * axes * stretch * axes.transposed();
    for (size_t i = 0; i < 3; ++i)
        local.m[i][3] = static_cast<double>(bone.translation[i]);
    return local;
}

} // namespace kestrel
