#include "tools/gltf/gltf_matrix.h"

#include <algorithm>

namespace kestrel {

bool is_finite(const matrix_t &matrix) {
    for (const auto &row : matrix.m)
        for (const double value : row)
            if (!std::isfinite(value))
                return false;
    return true;
}

matrix_t cofactors(const matrix_t &matrix) {
    const auto &m = matrix.m;
    matrix_t result = identity_matrix;
    for (size_t r = 0; r < 3; ++r)
        for (size_t c = 0; c < 3; ++c) {
            const size_t r1 = (r + 1) % 3, r2 = (r + 2) % 3, c1 = (c + 1) % 3, c2 = (c + 2) % 3;
            result.m[r][c] = m[r1][c1] * m[r2][c2] - m[r1][c2] * m[r2][c1];
        }
    return result;
}

double determinant(const matrix_t &matrix) {
    const matrix_t minors = cofactors(matrix);
    double sum = 0;
    for (size_t c = 0; c < 3; ++c)
        sum += matrix.m[0][c] * minors.m[0][c];
    return sum;
}

std::optional<matrix_t> inverse(const matrix_t &matrix) {
    const double d = determinant(matrix);
    matrix_t result = cofactors(matrix).transposed();
    for (size_t r = 0; r < 3; ++r) {
        for (size_t c = 0; c < 3; ++c)
            result.m[r][c] /= d;
        result.m[r][3] = 0;
        for (size_t c = 0; c < 3; ++c)
            result.m[r][3] -= result.m[r][c] * matrix.m[c][3];
    }
    return is_finite(result) ? std::optional(result) : std::nullopt;
}

std::array<double, 3> scale_of(const matrix_t &matrix) {
    std::array<double, 3> scale;
    for (size_t c = 0; c < 3; ++c)
        scale[c] = length(std::array{matrix.m[0][c], matrix.m[1][c], matrix.m[2][c]});
    return scale;
}

// Of the four squares 4w^2, 4x^2, ... that the diagonal gives, the largest is the one to take the root of.
std::array<double, 4> rotation_of(const matrix_t &matrix) {
    const auto scale = scale_of(matrix);
    const double sign = determinant(matrix) < 0 ? -1 : 1;
    double m[3][3];
    for (size_t r = 0; r < 3; ++r)
        for (size_t c = 0; c < 3; ++c) {
            if (!(scale[c] > 0))
                return {1, 0, 0, 0};
            m[r][c] = sign * matrix.m[r][c] / scale[c];
        }
    const double squares[4] = {1 + m[0][0] + m[1][1] + m[2][2], 1 + m[0][0] - m[1][1] - m[2][2],
                               1 - m[0][0] + m[1][1] - m[2][2], 1 - m[0][0] - m[1][1] + m[2][2]};
    const std::array<std::array<double, 4>, 4> rows{
        {{squares[0], m[2][1] - m[1][2], m[0][2] - m[2][0], m[1][0] - m[0][1]},
         {m[2][1] - m[1][2], squares[1], m[0][1] + m[1][0], m[0][2] + m[2][0]},
         {m[0][2] - m[2][0], m[0][1] + m[1][0], squares[2], m[1][2] + m[2][1]},
         {m[1][0] - m[0][1], m[0][2] + m[2][0], m[1][2] + m[2][1], squares[3]}}};
    auto quaternion = rows[static_cast<size_t>(std::max_element(squares, squares + 4) - squares)];
    const double l = length(quaternion);
    for (double &value : quaternion)
        value /= l;
    return quaternion;
}

} // namespace kestrel
