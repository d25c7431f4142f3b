#pragma once

// From the weights of a skin item to the four bones and weight bytes of a vertex.
//
//   weights -> bytes (0 dropped) -> the four largest -> scaled to fill 255 -> in the order of the bones
//
// Arithmetic is in single precision. Weights that sum to at most 1 give bytes that sum to 255; larger ones
// keep their bytes but for the largest, which gets what is left of 255.
//
// Equal weights are ordered by a sort that is not stable but always does the same: of five the fourth is
// second, the second fourth. So it is with a bone that is there twice.

#include "kcore/collections/array.h"
#include "tools/conv/intermediate/kim_skin.h"
#include "tools/kmg/kmg_layout_and_limits.h"

#include <array>

namespace kestrel {

// A bone of the skeleton and how much it pulls, 1 to 255.
struct influence_pair_t {
    uint8_t bone;
    uint8_t weight;
};

// One to four influences in the order of their bones. Slots beyond the count repeat the last bone with
// weight 0, as the geometry file wants it.
struct influence_set_t {
    std::array<uint8_t, kmg_max_influences> bones;
    std::array<uint8_t, kmg_max_influences> weights;
    uint8_t count;

    bool operator==(const influence_set_t &) const = default;
};

enum class influence_quality_t : uint8_t {
    good,
    decimated, // the kept weights sum to less than 0.85
    none,      // no weight is left, the set stays as it was
};

// `bone_map` leads from the item's bones, all of which it holds, to those of the skeleton. `scratch` may hold
// anything.
influence_quality_t quantise_influences(std::span<const skin_weight_t> weights,
                                        std::span<const uint8_t> bone_map,
                                        array_dyn_t<influence_pair_t> &scratch, influence_set_t &set);

} // namespace kestrel
