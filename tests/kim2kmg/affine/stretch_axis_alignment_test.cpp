#include "tools/conv/kim2kmg/affine/stretch_axis_alignment.h"

#include "tests/support/double3x3.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

namespace kestrel {

namespace {

// The rotations that permute and flip axes: what two quarter turns make.
std::vector<quaternion_t> axis_permutations() {
    const float half = 0.70710678f;
    const quaternion_t quarter_turns[] = {{half, 0, 0, half}, {0, half, 0, half}};
    std::vector<quaternion_t> group = {{0, 0, 0, 1}};
    for (size_t i = 0; i < group.size(); ++i)
        for (const quaternion_t &turn : quarter_turns) {
            const quaternion_t next = product(group[i], turn);
            const auto same = [&](const quaternion_t &q) {
                const float cosine = q.x * next.x + q.y * next.y + q.z * next.z + q.w * next.w;
                return std::fabs(cosine) > 0.99f; // q and -q are one rotation
            };
            if (std::none_of(group.begin(), group.end(), same))
                group.push_back(next);
        }
    return group;
}

quaternion_t unit_quaternion(random_transforms_t &random) {
    const auto q = random.unit_quaternion();
    return {static_cast<float>(q[0]), static_cast<float>(q[1]), static_cast<float>(q[2]),
            static_cast<float>(q[3])};
}

double3x3_t stretch_of(const quaternion_t &u, const vector3_t &k) {
    const double3x3_t axes = rotation_of(u.w, u.x, u.y, u.z);
    return axes * diagonal(k[0], k[1], k[2]) * transposed(axes);
}

} // namespace

TEST(stretch_axis_alignment, takes_the_nearest_of_24) {
    const std::vector<quaternion_t> group = axis_permutations();
    ASSERT_EQ(group.size(), 24u);
    random_transforms_t random;
    for (int round = 0; round < 5000; ++round) {
        const quaternion_t u = unit_quaternion(random);
        const vector3_t k = {1, 2, 4};
        const aligned_axes_t aligned = align_stretch_axes(u, k);
        const quaternion_t result = product(u, aligned.turn);
        float nearest = 0;
        for (const quaternion_t &p : group)
            nearest = std::max(nearest, std::fabs(product(u, p).w));
        ASSERT_NEAR(std::fabs(result.w), nearest, 1e-6);
        ASSERT_LT(difference(stretch_of(result, aligned.factors), stretch_of(u, k)), 1e-5);
    }
}

TEST(stretch_axis_alignment, equal_axes_turn_freely) {
    const std::vector<quaternion_t> group = axis_permutations();
    const quaternion_t half_turns[] = {{1, 0, 0, 0}, {0, 1, 0, 0}, {0, 0, 1, 0}};
    random_transforms_t random;
    for (int round = 0; round < 5000; ++round) {
        const quaternion_t u = unit_quaternion(random);
        const size_t other = random.bits() % 3;
        vector3_t k = {2, 2, 2};
        k[other] = 5;
        const aligned_axes_t aligned = align_stretch_axes(u, k);
        const quaternion_t result = product(u, aligned.turn);
        // u x (turn by any angle about the other axis) x p: the best angle gives this cosine.
        float nearest = 0;
        for (const quaternion_t &p : group)
            nearest =
                std::max(nearest, std::hypot(product(u, p).w, product(product(u, half_turns[other]), p).w));
        ASSERT_NEAR(std::fabs(result.w), nearest, 1e-6);
        ASSERT_LT(difference(stretch_of(result, aligned.factors), stretch_of(u, k)), 1e-5);
    }
    const aligned_axes_t all_equal = align_stretch_axes({0.5f, 0.5f, 0.5f, 0.5f}, {3, 3, 3});
    EXPECT_EQ(product({0.5f, 0.5f, 0.5f, 0.5f}, all_equal.turn).w, 1);
    EXPECT_EQ(all_equal.factors, (vector3_t{3, 3, 3}));
}

} // namespace kestrel
