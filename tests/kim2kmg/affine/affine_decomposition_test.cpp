// Checked in double precision, with the transforms of the tools that read geometry files.

#include "tools/conv/kim2kmg/affine/affine_decomposition.h"

#include "tools/conv/kim2kmg/affine/decomposition_steps.h"
#include "tools/kmg/affine.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <random>

namespace kestrel {

namespace {

matrix_t diagonal(double x, double y, double z) {
    return {{{x, 0, 0, 0}, {0, y, 0, 0}, {0, 0, z, 0}, {0, 0, 0, 1}}};
}

template <class M>
matrix_t widened(const M &rows) {
    matrix_t wide = identity_matrix;
    for (size_t i = 0; i < 3; ++i)
        for (size_t j = 0; j < 3; ++j)
            wide.m[i][j] = static_cast<double>(rows[i][j]);
    return wide;
}

kmg_matrix_t narrowed(const matrix_t &wide) {
    kmg_matrix_t values;
    for (size_t i = 0; i < 16; ++i)
        values[i] = static_cast<float>(wide.m[i / 4][i % 4]);
    return values;
}

double largest_difference(const matrix_t &a, const matrix_t &b) {
    double largest = 0;
    for (size_t i = 0; i < 3; ++i)
        for (size_t j = 0; j < 3; ++j)
            largest = std::max(largest, std::fabs(a.m[i][j] - b.m[i][j]));
    return largest;
}

class random_transforms_t {
  public:
    double between(double low, double high) {
        return std::uniform_real_distribution<double>(low, high)(engine_);
    }
    bool coin() { return engine_() % 2 == 0; }
    std::array<double, 4> unit_quaternion() {
        std::normal_distribution<float> normal;
        return normalised(
            std::array<float, 4>{normal(engine_), normal(engine_), normal(engine_), normal(engine_)});
    }
    matrix_t rotation() { return rotation_matrix(unit_quaternion()); }

  private:
    std::mt19937 engine_{19920511};
};

} // namespace

TEST(affine_decomposition, worked_cases) {
    const float half = 0.70710678f;
    const struct {
        std::array<float, 12> rows;
        affine_parts_t parts;
    } cases[] = {
        {{1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0}, {{0, 0, 0}, {1, 0, 0, 0}, {1, 0, 0, 0}, {1, 1, 1}, 1}},
        {{1, 0, 0, 1, 0, 1, 0, 2, 0, 0, 1, 3}, {{1, 2, 3}, {1, 0, 0, 0}, {1, 0, 0, 0}, {1, 1, 1}, 1}},
        {{1, 0, 0, 0, 0, 2, 0, 0, 0, 0, 3, 0}, {{0, 0, 0}, {1, 0, 0, 0}, {1, 0, 0, 0}, {1, 2, 3}, 1}},
        // A mirror in x is minus a half turn about x.
        {{-1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0}, {{0, 0, 0}, {0, 1, 0, 0}, {1, 0, 0, 0}, {1, 1, 1}, -1}},
        {{0, -1, 0, 0, 1, 0, 0, 0, 0, 0, 1, 0}, {{0, 0, 0}, {half, 0, 0, half}, {1, 0, 0, 0}, {1, 1, 1}, 1}},
        {{1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 0, 0}, {{0, 0, 0}, {1, 0, 0, 0}, {1, 0, 0, 0}, {1, 1, 0}, 1}},
        {{}, {{0, 0, 0}, {1, 0, 0, 0}, {1, 0, 0, 0}, {0, 0, 0}, 1}},
    };
    for (const auto &each : cases) {
        std::array<float, 16> matrix{};
        std::copy(each.rows.begin(), each.rows.end(), matrix.begin());
        matrix[15] = 1;
        const affine_parts_t parts = affine_decomposition(matrix);
        SCOPED_TRACE(testing::PrintToString(each.rows));
        EXPECT_EQ(parts.t, each.parts.t);
        EXPECT_EQ(parts.q, each.parts.q);
        EXPECT_EQ(parts.u, each.parts.u);
        EXPECT_EQ(parts.k, each.parts.k);
        EXPECT_EQ(parts.f, each.parts.f);
    }
}

TEST(affine_decomposition, parts_give_back_the_matrix) {
    random_transforms_t random;
    for (int round = 0; round < 20000; ++round) {
        // From well-behaved to nearly flat, of any size, mirrored half the time.
        const double condition = std::pow(10.0, random.between(0, round % 2 == 0 ? 1 : 5));
        const double size = std::pow(10.0, round % 3 == 0 ? random.between(-30, 30) : random.between(-2, 2));
        const double sign = random.coin() ? 1 : -1;
        const matrix_t stretch = diagonal(size, size / random.between(1, condition), sign * size / condition);
        const kmg_matrix_t matrix = narrowed(random.rotation() * stretch * random.rotation());
        const affine_parts_t parts = affine_decomposition(matrix);
        SCOPED_TRACE(testing::PrintToString(matrix));
        ASSERT_NEAR(length(parts.q), 1, 1e-6);
        ASSERT_NEAR(length(parts.u), 1, 1e-6);
        ASSERT_EQ(parts.f, sign);
        kmg_bone_data_t bone;
        bone.rotation = parts.q, bone.stretch_rotation = parts.u, bone.scale = parts.k, bone.sign = parts.f;
        // Inverting in single precision costs its rounding times the condition.
        constexpr double rounding = 6e-8;
        const double tolerance = (20 + condition) * rounding * size;
        ASSERT_LT(largest_difference(composed_local_transform(bone), matrix_t::from(matrix)), tolerance);
        for (const float k : parts.k) {
            ASSERT_GT(k, -tolerance);
            ASSERT_LT(k, size + tolerance);
        }
    }
}

static void expect_finite_parts(const matrix_t &wide) {
    const kmg_matrix_t m = narrowed(wide);
    SCOPED_TRACE(testing::PrintToString(m));
    const affine_parts_t parts = affine_decomposition(m);
    ASSERT_TRUE(std::isfinite(length(parts.q) + length(parts.u) + length(parts.k)));

    // The orthogonal factor may be a reflection here, which no quaternion can tell.
    const polar_parts_t polar =
        polar_decomposition({{{m[0], m[1], m[2]}, {m[4], m[5], m[6]}, {m[8], m[9], m[10]}}});
    const matrix_t q = widened(polar.orthogonal);
    ASSERT_LT(largest_difference(q * q.transposed(), identity_matrix), 4e-6);
    ASSERT_EQ(polar.stretch, transpose(polar.stretch));
    const double bound = 2e-6 * largest_difference(matrix_t::from(m), diagonal(0, 0, 0)) +
                         std::numeric_limits<float>::denorm_min();
    ASSERT_LE(largest_difference(q * widened(polar.stretch), matrix_t::from(m)), bound);
    for (const float k : spectral_decomposition(polar.stretch).factors)
        ASSERT_GE(k, -bound);
}

TEST(affine_decomposition, matrices_without_an_inverse) {
    const double by_hand[][3][3] = {
        {{1, 0, 0}, {0, 0, 0}, {0, 0, 1}},         {{1, 0, 0}, {0, -1, 0}, {0, 0, 0}},
        {{0, 0, 0}, {0, 1, 0}, {0, 0, 0}},         {{0, 0, 0}, {0, 0, 0}, {0, 0, -1}},
        {{1, 0, 0}, {0, 1e-30, 0}, {0, 0, 1e-30}}, {{1e-6, 0, 0}, {0, 1e-18, 0}, {0, 0, 1e-18}},
        {{1e-38, 0, 0}, {0, 1e-38, 0}, {0, 0, 1}}, {{1e-45, 0, 0}, {0, 1e-45, 0}, {0, 0, 1e-45}},
        {{1, 1, 1}, {1, 1, 1}, {1, 1, 1}},         {{1, 2, 3}, {4, 5, 6}, {7, 8, 9}},
        {{1, 2, 3}, {2, 4, 6}, {0, 0, 1e-30}},     {{1, 1, 0}, {1, 1, 1e-22}, {0, 0, 1e-22}},
        {{0, 0, 0}, {0, 0, 1e-20}, {0, 0, 0}},     {{0, 1, 0}, {0, 0, 0}, {1e20, 0, 0}},
    };
    for (const auto &m : by_hand)
        expect_finite_parts(widened(m));

    // Sums of one or two products of small whole numbers, which keep their rank in single precision.
    random_transforms_t random;
    const auto small_vector = [&] {
        return std::array{std::round(random.between(-4, 4)), std::round(random.between(-4, 4)),
                          std::round(random.between(-4, 4))};
    };
    for (int round = 0; round < 10000; ++round) {
        const double size = std::ldexp(1.0, static_cast<int>(random.between(-100, 100)));
        const auto a = small_vector(), b = small_vector(), c = small_vector(), d = small_vector();
        matrix_t m = identity_matrix;
        for (size_t i = 0; i < 3; ++i)
            for (size_t j = 0; j < 3; ++j)
                m.m[i][j] = size * (a[i] * b[j] + (round % 2 == 0 ? c[i] * d[j] : 0));
        expect_finite_parts(m);
    }
}

} // namespace kestrel
