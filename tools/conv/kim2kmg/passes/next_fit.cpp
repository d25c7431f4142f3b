#include "tools/conv/kim2kmg/passes/next_fit.h"

#include <algorithm>
#include <bit>

namespace kestrel {

bool next_fit_t::build(std::span<const uint32_t> sizes) {
    leaf_count_ = static_cast<uint32_t>(std::bit_ceil(std::max<size_t>(sizes.size(), 1)));
    minima_.clear();
    if (!minima_.resize(2 * size_t{leaf_count_}, removed))
        return false;
    std::copy(sizes.begin(), sizes.end(), minima_.begin() + leaf_count_);
    for (uint32_t node = leaf_count_ - 1; node > 0; --node)
        minima_[node] = std::min(minima_[2 * node], minima_[2 * node + 1]);
    return true;
}

uint32_t next_fit_t::find(uint32_t from, uint32_t room) const {
    if (from >= leaf_count_)
        return none;
    // Up and to the right until a subtree holds one that fits ...
    uint32_t node = from + leaf_count_;
    while (minima_[node] > room) {
        while (node % 2 == 1) // a right child: its parent's right neighbour comes next
            node /= 2;
        if (node == 0)
            return none;
        ++node;
    }
    // ... then down to its first one.
    while (node < leaf_count_)
        node = minima_[2 * node] <= room ? 2 * node : 2 * node + 1;
    return node - leaf_count_;
}

void next_fit_t::remove(uint32_t position) {
    uint32_t node = position + leaf_count_;
    minima_[node] = removed;
    for (node /= 2; node > 0; node /= 2)
        minima_[node] = std::min(minima_[2 * node], minima_[2 * node + 1]);
}

} // namespace kestrel
