#pragma once

// Finds equal things among many numbered ones, and keeps the first number of each kind.
//
// Open addressing with linear probing, at most three quarters full; the things themselves stay the caller's,
// who hashes and compares them. Only the upper half of a hash is used: its first bits choose the place, all
// of them spare most comparisons.

#include "kcore/collections/array.h"

#include <algorithm>
#include <bit>

namespace kestrel {

// One step of a hash over 64-bit words; the upper half of the result is well mixed.
inline uint64_t mix_hash(uint64_t hash, uint64_t word) {
    hash = (hash ^ word) * 0x9E3779B97F4A7C15u; // the golden ratio
    return hash ^ (hash >> 32);
}

class index_table_t {
  public:
    // Empties the table and makes room for `count` different things, at most three quarters of 2^32.
    void reset(size_t count) {
        const size_t slot_count = std::bit_ceil(std::max<size_t>(count + count / 3 + 1, 16));
        shift_ = 32 - std::countr_zero(slot_count);
        slots_.clear();
        slots_.resize(slot_count, slot_t{0, none});
    }

    // Makes room for `count` things including those that are there.
    void reserve(size_t count) {
        if (count + count / 3 < slots_.size())
            return;
        index_table_t grown;
        grown.reset(2 * count);
        for (const slot_t &slot : slots_)
            if (slot.number != none)
                grown.slots_[grown.free_slot(slot.tag)] = slot;
        *this = std::move(grown);
    }

    // The number of the first thing of this kind, `number` itself when there was none; equal(n) tells whether
    // thing n is of this kind. There must be room for one more.
    template <class equal_t>
    uint32_t find_or_add(uint64_t hash, uint32_t number, equal_t equal) {
        slot_t *const slots = slots_.data();
        const size_t mask = slots_.size() - 1;
        const auto tag = static_cast<uint32_t>(hash >> 32);
        for (size_t i = tag >> shift_;; i = (i + 1) & mask) {
            if (slots[i].number == none) {
                slots[i] = {tag, number};
                return number;
            }
            if (slots[i].tag == tag && equal(slots[i].number))
                return slots[i].number;
        }
    }

  private:
    static constexpr uint32_t none = 0xFFFFFFFF;

    struct slot_t {
        uint32_t tag;
        uint32_t number;
    };

    size_t free_slot(uint32_t tag) const {
        size_t i = tag >> shift_;
        while (slots_[i].number != none)
            i = (i + 1) & (slots_.size() - 1);
        return i;
    }

    array_dyn_t<slot_t> slots_; // a power of two of them
    int shift_ = 0;             // from a tag to its place
};

} // namespace kestrel
