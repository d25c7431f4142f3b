#include "tools/conv/intermediate/matrix_inverse.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>

namespace kestrel {

using matrix_t = std::array<float, 16>;
using double4x4_t = std::array<std::array<double, 4>, 4>;

static double4x4_t widened(const matrix_t &m) {
    double4x4_t wide;
    for (size_t i = 0; i < 16; ++i)
        wide[i / 4][i % 4] = m[i];
    return wide;
}

static double largest_element(const double4x4_t &m) {
    double largest = 0;
    for (const auto &row : m)
        for (const double value : row)
            largest = std::max(largest, std::fabs(value));
    return largest;
}

// Gauss and Jordan's elimination with row exchange.
static double4x4_t eliminated(double4x4_t m) {
    double4x4_t inverse{};
    for (size_t i = 0; i < 4; ++i)
        inverse[i][i] = 1;
    for (size_t column = 0; column < 4; ++column) {
        size_t pivot = column;
        for (size_t row = column + 1; row < 4; ++row)
            if (std::fabs(m[row][column]) > std::fabs(m[pivot][column]))
                pivot = row;
        std::swap(m[column], m[pivot]);
        std::swap(inverse[column], inverse[pivot]);
        for (size_t row = 0; row < 4; ++row) {
            const double factor = m[row][column] / m[column][column];
            for (size_t i = 0; row != column && i < 4; ++i) {
                m[row][i] -= factor * m[column][i];
                inverse[row][i] -= factor * inverse[column][i];
            }
        }
    }
    for (size_t row = 0; row < 4; ++row)
        for (size_t i = 0; i < 4; ++i)
            inverse[row][i] /= m[row][row];
    return inverse;
}

TEST(matrix_inverse, plain_cases) {
    const struct {
        matrix_t matrix;
        matrix_t inverse;
        bool invertible;
    } cases[] = {
        {{1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1},
         {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1},
         true},
        {{1, 0, 0, 2, 0, 1, 0, 3, 0, 0, 1, 5, 0, 0, 0, 1},
         {1, 0, 0, -2, 0, 1, 0, -3, 0, 0, 1, -5, 0, 0, 0, 1},
         true},
        // The translation in the last row.
        {{1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 2, 3, 5, 1},
         {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, -2, -3, -5, 1},
         true},
        {{0, 0, 0, 2, 0, 0, 4, 0, 0, 8, 0, 0, 16, 0, 0, 0},
         {0, 0, 0, 0.0625f, 0, 0, 0.125f, 0, 0, 0.25f, 0, 0, 0.5f, 0, 0, 0},
         true},
        // Singular: the cofactors as they are.
        {{2, 0, 0, 0, 0, 3, 0, 0, 0, 0, 5, 0, 0, 0, 0, 0},
         {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 30},
         false},
        {{}, {}, false},
    };
    for (const auto &each : cases) {
        const matrix_inverse_t inverse = invert_matrix(each.matrix);
        EXPECT_EQ(inverse.values, each.inverse) << testing::PrintToString(each.matrix);
        EXPECT_EQ(inverse.invertible, each.invertible) << testing::PrintToString(each.matrix);
    }
}

TEST(matrix_inverse, a_determinant_of_a_hundred_thousandth_is_enough) {
    for (const float sign : {1.0f, -1.0f}) {
        matrix_t m = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, sign * 0.00001f};
        EXPECT_TRUE(invert_matrix(m).invertible);
        EXPECT_EQ(invert_matrix(m).values[15], 1.0f / m[15]);
        m[15] = std::nextafter(m[15], 0.0f);
        EXPECT_FALSE(invert_matrix(m).invertible);
        EXPECT_EQ(invert_matrix(m).values[15], 1.0f);
    }
    matrix_t m = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, std::numeric_limits<float>::infinity()};
    EXPECT_FALSE(invert_matrix(m).invertible); // infinity times zero is no determinant
}

TEST(matrix_inverse, random_matrices) {
    std::mt19937 random(4404);
    std::uniform_real_distribution<float> unit(-1, 1);
    constexpr double rounding = 6e-8;
    int tried = 0;
    for (int round = 0; round < 20000; ++round) {
        matrix_t matrix;
        for (float &value : matrix)
            value = unit(random) * (round % 2 == 0 ? 1.0f : 10.0f);
        if (round % 3 == 0) // an affine one
            matrix[12] = matrix[13] = matrix[14] = 0;
        const matrix_inverse_t inverse = invert_matrix(matrix);
        if (!inverse.invertible)
            continue;
        ++tried;
        const double4x4_t m = widened(matrix);
        const double4x4_t expected = eliminated(m);
        const double4x4_t found = widened(inverse.values);
        // The condition, by which single precision makes the inverse worse.
        const double condition = 16 * largest_element(m) * largest_element(expected);
        const double tolerance = 4 * condition * rounding;
        for (size_t r = 0; r < 4; ++r)
            for (size_t c = 0; c < 4; ++c) {
                ASSERT_NEAR(found[r][c], expected[r][c], tolerance * largest_element(expected));
                double product = 0;
                for (size_t i = 0; i < 4; ++i)
                    product += m[r][i] * found[i][c];
                ASSERT_NEAR(product, r == c, tolerance * condition);
            }
    }
    EXPECT_GT(tried, 19000);
}

} // namespace kestrel
