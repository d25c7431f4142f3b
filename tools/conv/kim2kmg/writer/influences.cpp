#include "tools/conv/kim2kmg/writer/influences.h"

#include "kcore/collections/deterministic_sort.h"

#include <algorithm>
#include <cmath>

namespace kestrel {

namespace {

constexpr float least_kept_total = 0.85f; // below it too much has been dropped

// 0 for weights that are dropped; negative ones count as too large.
uint8_t quantised(float weight) {
    const float scaled = std::floor(weight * 255.0f + 0.5f);
    if (scaled == 0)
        return 0;
    return scaled >= 1.0f && scaled <= 255.0f ? static_cast<uint8_t>(scaled) : uint8_t{255};
}

int32_t by_weight_descending(const influence_pair_t &a, const influence_pair_t &b) {
    return static_cast<int32_t>(b.weight) - static_cast<int32_t>(a.weight);
}

int32_t by_bone(const influence_pair_t &a, const influence_pair_t &b) {
    return static_cast<int32_t>(a.bone) - static_cast<int32_t>(b.bone);
}

float total_weight(std::span<const influence_pair_t> pairs) {
    float total = 0;
    for (const influence_pair_t &pair : pairs)
        total += static_cast<float>(pair.weight) / 255.0f; // rounded once: 102 is exactly the nearest to 0.4
    return total;
}

// Scales all but the first; the first, the largest, gets what is left.
void fill_255(std::span<influence_pair_t> pairs, float divisor) {
    int remaining = 255;
    for (size_t i = pairs.size(); i-- > 1;) {
        const float scaled = std::floor(static_cast<float>(pairs[i].weight) / divisor + 0.5f);
        pairs[i].weight = static_cast<uint8_t>(std::min(scaled, 255.0f));
        remaining -= std::min<int>(pairs[i].weight, remaining);
    }
    pairs[0].weight = static_cast<uint8_t>(remaining);
}

influence_set_t set_of(std::span<const influence_pair_t> pairs) {
    influence_set_t set{};
    set.count = static_cast<uint8_t>(pairs.size());
    for (size_t i = 0; i < kmg_max_influences; ++i) {
        const influence_pair_t &pair = pairs[std::min(i, pairs.size() - 1)];
        set.bones[i] = pair.bone;
        set.weights[i] = i < pairs.size() ? pair.weight : uint8_t{0};
    }
    return set;
}

} // namespace

influence_quality_t quantise_influences(std::span<const skin_weight_t> weights,
                                        std::span<const uint8_t> bone_map,
                                        array_dyn_t<influence_pair_t> &scratch, influence_set_t &set) {
    scratch.clear();
    for (const skin_weight_t &weight : weights)
        if (const uint8_t byte = quantised(weight.weight))
            scratch.push_back({bone_map[weight.bone], byte});
    if (scratch.empty())
        return influence_quality_t::none;

    // Among equals the sort decides, which is not stable but always gives the same order.
    sort_records(scratch.items(), by_weight_descending);
    const auto kept = scratch.items().first(std::min<size_t>(scratch.size(), kmg_max_influences));
    const float divisor = std::min(total_weight(kept), 1.0f);
    fill_255(kept, divisor);
    sort_records(kept, by_bone);
    set = set_of(kept);
    return divisor < least_kept_total ? influence_quality_t::decimated : influence_quality_t::good;
}

} // namespace kestrel
