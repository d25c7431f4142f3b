#pragma once

// Sizes in a row, searched from the left for the next one that fits: a tree of minima, so that a search and a
// removal cost the logarithm of the row's length, however many sizes do not fit.

#include "kcore/collections/array.h"

namespace kestrel {

class next_fit_t {
  public:
    static constexpr uint32_t none = 0xFFFFFFFF;

    // False when memory cannot be had. At most 2^31 sizes.
    bool build(std::span<const uint32_t> sizes);
    // The first position from `from` on whose size is at most `room`, which is below 2^32 - 1; none when
    // there is none.
    uint32_t find(uint32_t from, uint32_t room) const;
    // From now on the size at this position fits nowhere.
    void remove(uint32_t position);

  private:
    static constexpr uint32_t removed = 0xFFFFFFFF; // as a size: fits nowhere

    uint32_t leaf_count_ = 0;      // a power of two
    array_dyn_t<uint32_t> minima_; // node 1 is the root, node n has the children 2n and 2n + 1
};

} // namespace kestrel
