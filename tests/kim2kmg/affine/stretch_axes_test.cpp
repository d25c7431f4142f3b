#include "tests/support/double3x3.h"
#include "tools/conv/kim2kmg/affine/decomposition_steps.h"

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

// Of all ways to write the stretch the one nearest to no rotation, whatever axes have equal factors: those
// may also turn about the third axis by any angle, the best of which gives the cosine of `freely`.
TEST(stretch_axes, are_the_nearest_to_no_rotation) {
    const std::vector<quaternion_t> group = axis_permutations();
    ASSERT_EQ(group.size(), 24u);
    const quaternion_t half_turns[] = {{1, 0, 0, 0}, {0, 1, 0, 0}, {0, 0, 1, 0}};
    const struct {
        vector3_t factors;
        int third_axis; // -1 when no two factors are equal
    } cases[] = {{{1, 2, 4}, -1}, {{5, 2, 2}, 0}, {{2, 5, 2}, 1}, {{2, 2, 5}, 2}};
    random_transforms_t random;
    for (const auto &[k, third_axis] : cases) {
        for (int round = 0; round < 2000; ++round) {
            const quaternion_t u = unit_quaternion(random);
            const aligned_axes_t aligned = align_stretch_axes(u, k);
            const quaternion_t result = product(u, aligned.turn);
            float nearest = 0;
            for (const quaternion_t &p : group) {
                const float fixed = product(u, p).w;
                const float freely = third_axis < 0 ? 0 : product(product(u, half_turns[third_axis]), p).w;
                nearest = std::max(nearest, std::hypot(fixed, freely));
            }
            ASSERT_NEAR(std::fabs(result.w), nearest, 1e-6);
            ASSERT_LT(difference(stretch_of(result, aligned.factors), stretch_of(u, k)), 1e-5);
        }
    }
    const quaternion_t any = {0.5f, 0.5f, 0.5f, 0.5f};
    EXPECT_EQ(product(any, align_stretch_axes(any, {3, 3, 3}).turn).w, 1);
}

} // namespace kestrel
