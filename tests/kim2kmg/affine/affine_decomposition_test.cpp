#include "tools/conv/kim2kmg/affine/affine_decomposition.h"

#include "tests/support/double3x3.h"
#include "tools/conv/kim2kmg/affine/decomposition_steps.h"

#include <gtest/gtest.h>

#include <bit>
#include <limits>

namespace kestrel {

namespace {

bool all_finite(const affine_parts_t &parts) {
    double sum = 0; // not finite when a term is not
    for (const auto &four : {parts.q, parts.u})
        for (const float value : four)
            sum += value;
    for (const float value : parts.k)
        sum += value;
    return std::isfinite(sum);
}

} // namespace

TEST(affine_decomposition, worked_cases) {
    const float half = 0.70710678f;
    const struct {
        std::array<float, 12> rows;
        affine_parts_t parts;
    } cases[] = {
        {{1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0}, {{0, 0, 0}, {1, 0, 0, 0}, {1, 0, 0, 0}, {1, 1, 1}, 1}},
        {{1, 0, 0, 1, 0, 1, 0, 2, 0, 0, 1, 3}, {{1, 2, 3}, {1, 0, 0, 0}, {1, 0, 0, 0}, {1, 1, 1}, 1}},
        {{2, 0, 0, 0, 0, 2, 0, 0, 0, 0, 2, 0}, {{0, 0, 0}, {1, 0, 0, 0}, {1, 0, 0, 0}, {2, 2, 2}, 1}},
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
        const double sign = random.bits() % 2 == 0 ? 1 : -1;
        const double3x3_t stretch =
            diagonal(size, size / random.between(1, condition), sign * size / condition);
        const auto matrix = affine_of(random.rotation() * stretch * random.rotation());
        const affine_parts_t parts = affine_decomposition(matrix);
        SCOPED_TRACE(testing::PrintToString(matrix));

        ASSERT_NEAR(length_of(parts.q), 1, 1e-6);
        ASSERT_NEAR(length_of(parts.u), 1, 1e-6);
        ASSERT_EQ(parts.f, sign);
        const double3x3_t u = rotation_of(parts.u);
        const double3x3_t s = u * diagonal(parts.k[0], parts.k[1], parts.k[2]) * transposed(u);
        const double3x3_t fq = diagonal(parts.f, parts.f, parts.f) * rotation_of(parts.q);
        // Inverting in single precision costs its rounding times the condition.
        constexpr double rounding = 6e-8;
        const double tolerance = (20 + condition) * rounding * size;
        ASSERT_LT(difference(fq * s, linear_of(matrix)), tolerance);
        for (const float k : parts.k) {
            ASSERT_GT(k, -tolerance);
            ASSERT_LT(k, size + tolerance);
        }
    }
}

TEST(affine_decomposition, a_power_of_two_changes_the_stretch_alone) {
    random_transforms_t random;
    for (int round = 0; round < 2000; ++round) {
        std::array<float, 16> matrix{};
        for (float &value : matrix)
            value = static_cast<float>(random.between(-3, 3));
        const float factor = std::ldexp(1.0f, static_cast<int>(random.bits() % 200) - 100);
        std::array<float, 16> scaled = matrix;
        for (float &value : scaled)
            value *= factor;
        const affine_parts_t parts = affine_decomposition(matrix);
        const affine_parts_t scaled_parts = affine_decomposition(scaled);
        ASSERT_EQ(scaled_parts.q, parts.q) << factor;
        ASSERT_EQ(scaled_parts.u, parts.u) << factor;
        ASSERT_EQ(scaled_parts.f, parts.f);
        for (size_t i = 0; i < 3; ++i)
            ASSERT_EQ(scaled_parts.k[i], parts.k[i] * factor) << factor;
    }
}

namespace {

void expect_finite_parts(const double3x3_t &m, double tolerance) {
    const auto matrix = affine_of(m);
    SCOPED_TRACE(testing::PrintToString(matrix));
    ASSERT_TRUE(all_finite(affine_decomposition(matrix)));

    // The orthogonal factor may be a reflection here, which no quaternion can tell.
    const double3x3_t linear = linear_of(matrix);
    const polar_parts_t polar = polar_decomposition(narrowed(linear));
    const double3x3_t q = widened(polar.orthogonal);
    ASSERT_LT(difference(q * transposed(q), diagonal(1, 1, 1)), 4e-6);
    ASSERT_EQ(polar.stretch, transpose(polar.stretch));
    const double smallest = std::numeric_limits<float>::denorm_min();
    const double bound = tolerance * largest_element(linear) + smallest;
    ASSERT_LE(difference(q * widened(polar.stretch), linear), bound);
    for (const float k : spectral_decomposition(polar.stretch).factors)
        ASSERT_GE(k, -bound);
}

} // namespace

TEST(affine_decomposition, matrices_without_an_inverse) {
    const double3x3_t by_hand[] = {
        diagonal(1, 1, 0),
        diagonal(1, 0, 1),
        diagonal(0, 1, 1),
        diagonal(1, -1, 0),
        diagonal(1, 0, 0),
        diagonal(0, 1, 0),
        diagonal(0, 0, -1),
        diagonal(0, 0, 0),
        diagonal(1, 1e-30, 1e-30),
        diagonal(1, 1e-22, 1e-22),
        diagonal(1e-6, 1e-18, 1e-18),
        diagonal(1e-38, 1e-38, 1),
        diagonal(1e-19, 1e-18, 1),
        diagonal(1e-45, 1e-45, 1e-45),
        {{{1, 1, 1}, {1, 1, 1}, {1, 1, 1}}},
        {{{1, 2, 3}, {4, 5, 6}, {7, 8, 9}}},
        {{{1, 2, 3}, {2, 4, 6}, {0, 0, 1e-30}}},
        {{{1, 1, 0}, {1, 1, 1e-22}, {0, 0, 1e-22}}},
        {{{0, 0, 0}, {0, 0, 1e-20}, {0, 0, 0}}},
        {{{0, 1, 0}, {0, 0, 0}, {1e20, 0, 0}}},
    };
    for (const double3x3_t &m : by_hand)
        expect_finite_parts(m, 2e-6);

    // Sums of one or two products of small whole numbers, which keep their rank in single precision.
    random_transforms_t random;
    const auto small_vector = [&] {
        return std::array{std::round(random.between(-4, 4)), std::round(random.between(-4, 4)),
                          std::round(random.between(-4, 4))};
    };
    for (int round = 0; round < 10000; ++round) {
        const double size = std::ldexp(1.0, static_cast<int>(random.bits() % 200) - 100);
        const auto a = small_vector(), b = small_vector(), c = small_vector(), d = small_vector();
        double3x3_t m;
        for (size_t i = 0; i < 3; ++i)
            for (size_t j = 0; j < 3; ++j)
                m[i][j] = size * (a[i] * b[j] + (round % 2 == 0 ? c[i] * d[j] : 0));
        expect_finite_parts(m, 2e-6);
    }

    // Flat up to rounding: single precision cannot tell the stretch from its own errors, but it must not
    // break.
    constexpr double any = 10;
    for (int round = 0; round < 10000; ++round) {
        const double size = std::pow(10.0, random.between(-30, 30));
        const double second = round % 2 == 0 ? size * random.between(0.1, 1) : 0;
        expect_finite_parts(random.rotation() * diagonal(size, second, 0) * random.rotation(), any);
    }
}

// Nothing is promised but an end, and the translation.
TEST(affine_decomposition, ends_for_every_bit_pattern) {
    random_transforms_t random;
    const float odd[] = {std::numeric_limits<float>::infinity(),   -std::numeric_limits<float>::infinity(),
                         std::numeric_limits<float>::quiet_NaN(),  std::numeric_limits<float>::max(),
                         std::numeric_limits<float>::denorm_min(), -0.0f};
    for (int round = 0; round < 20000; ++round) {
        std::array<float, 16> matrix;
        for (float &value : matrix)
            value = round % 2 == 0           ? std::bit_cast<float>(random.bits())
                    : random.bits() % 4 == 0 ? odd[random.bits() % std::size(odd)]
                                             : static_cast<float>(random.between(-3, 3));
        matrix[3] = 7;
        ASSERT_EQ(affine_decomposition(matrix).t[0], 7);
    }
}

} // namespace kestrel
