#pragma once

// The scores by which triangles are ordered for a cache of transformed vertices: how fresh a vertex is in the
// cache, and how few triangles that use it are left.
//
// A vertex that is about to fall out of the cache is worth little; the corners of the last triangle are worth
// less than the next positions, so that the order does not degrade to endless strips. A vertex with one
// triangle left is worth most: drawing that triangle gets rid of it.

#include <array>
#include <bit>
#include <cmath>
#include <cstdint>

namespace kestrel {

class vertex_scores_t {
  public:
    static constexpr uint32_t cache_size = 32;
    static constexpr uint32_t newest_count = 3; // the corners of the last triangle
    // Positions that occur: a step puts three vertices in front before the last ones leave.
    static constexpr uint32_t position_count = cache_size + newest_count;

    vertex_scores_t() {
        for (uint32_t i = 0; i < cache_.size(); ++i)
            cache_[i] = compute_cache_score(i);
        for (uint32_t i = 0; i < valence_.size(); ++i)
            valence_[i] = compute_valence_score(i);
    }

    float cache_score(uint32_t position) const { return cache_[position]; }
    float valence_score(uint32_t use_count) const {
        return use_count < valence_.size() ? valence_[use_count] : compute_valence_score(use_count);
    }

  private:
    static float compute_cache_score(uint32_t position) {
        if (position < newest_count)
            return 0.75f;
        if (position >= cache_size)
            return 0;
        constexpr float scale = std::bit_cast<float>(0x3D0D3DCBu); // 1 / (cache_size - newest_count)
        const float left = 1.0f - static_cast<float>(position - newest_count) * scale;
        return std::sqrt(left) * left; // to the power of 1.5
    }
    static float compute_valence_score(uint32_t use_count) {
        return use_count == 0 ? 0.0f : 2.0f / std::sqrt(static_cast<float>(use_count));
    }

    // What the formulas give for the arguments that occur all the time.
    std::array<float, position_count> cache_;
    std::array<float, 128> valence_;
};

} // namespace kestrel
