#include "tools/conv/kim2kmg/writer/influences.h"

#include <gtest/gtest.h>

#include <numeric>
#include <vector>

namespace kestrel {

namespace {

// Bones of an item lead to the skeleton's bones of the same number.
influence_quality_t quantise(const std::vector<skin_weight_t> &weights, influence_set_t &set) {
    std::vector<uint8_t> same(255);
    std::iota(same.begin(), same.end(), uint8_t{0});
    array_dyn_t<influence_pair_t> scratch;
    return quantise_influences(weights, same, scratch, set);
}

TEST(influences, worked_cases) {
    constexpr auto good = influence_quality_t::good;
    constexpr auto decimated = influence_quality_t::decimated;
    const struct {
        std::vector<skin_weight_t> weights;
        influence_quality_t quality;
        influence_set_t set;
    } cases[] = {
        {{{254, 1.0f}}, good, {{254, 254, 254, 254}, {255, 0, 0, 0}, 1}},
        // 128 each, which is more than 255 together: the later pair keeps its byte.
        {{{3, 0.5f}, {1, 0.5f}}, good, {{1, 3, 3, 3}, {128, 127, 0, 0}, 2}},
        {{{0, 0.5f}, {1, 0.5f}, {2, 0.5f}, {3, 0.5f}}, good, {{0, 1, 2, 3}, {0, 128, 128, 128}, 4}},
        // 102 / 255 = 0.4 each, scaled by 1 / 0.8.
        {{{0, 0.4f}, {1, 0.4f}}, decimated, {{0, 1, 1, 1}, {127, 128, 0, 0}, 2}},
        // Five equal ones come out of the sort as 0 3 2 1 4; the last is dropped, the first gets the rest.
        {{{10, 0.2f}, {11, 0.2f}, {12, 0.2f}, {13, 0.2f}, {14, 0.2f}},
         decimated,
         {{10, 11, 12, 13}, {63, 64, 64, 64}, 4}},
        // The largest comes first whatever its place: 0.75 x 255 + 0.5 = 191.75, 0.25 x 255 + 0.5 = 64.25;
        // they sum to 1.
        {{{9, 0.25f}, {2, 0.75f}}, good, {{2, 9, 9, 9}, {191, 64, 0, 0}, 2}},
        // What rounds to 0 is dropped, what rounds below counts as too large.
        {{{5, 0.001f}, {6, 1.0f}, {4, -0.001f}}, good, {{6, 6, 6, 6}, {255, 0, 0, 0}, 1}},
        {{{5, -0.01f}}, good, {{5, 5, 5, 5}, {255, 0, 0, 0}, 1}},
        {{{5, 1e30f}}, good, {{5, 5, 5, 5}, {255, 0, 0, 0}, 1}},
        // One bone twice stays twice.
        {{{8, 0.5f}, {8, 0.5f}}, good, {{8, 8, 8, 8}, {127, 128, 0, 0}, 2}},
    };
    for (const auto &each : cases) {
        influence_set_t set{};
        EXPECT_EQ(quantise(each.weights, set), each.quality) << each.weights[0].bone;
        EXPECT_EQ(set.bones, each.set.bones);
        EXPECT_EQ(set.weights, each.set.weights);
        EXPECT_EQ(set.count, each.set.count);
    }
    influence_set_t unused;
    EXPECT_EQ(quantise({}, unused), influence_quality_t::none);
    EXPECT_EQ(quantise({{0, 0.0f}, {1, 0.0019f}}, unused), influence_quality_t::none);
}

} // namespace

} // namespace kestrel
