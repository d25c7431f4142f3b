#pragma once

// Finds equal things among many numbered ones, and keeps the first number of each kind.
//
// The things stay the caller's, who hashes and compares them; the table knows their numbers only. Open
// addressing with linear probing, at most three quarters full. A hash is multiplied by a secret and its upper
// half kept as a tag: the tag's first bits choose the place, all of them spare most comparisons. Different
// hashes then collide by chance alone (M. Dietzfelbinger et al., "A Reliable Randomized Algorithm for the
// Closest-Pair Problem", 1997); without a secret a file of 40 MB could be written that takes half a minute.

#include "kcore/collections/array.h"

#include <algorithm>
#include <bit>
#include <chrono>

namespace kestrel {

// One step of a hash over 64-bit words.
inline uint64_t mix_hash(uint64_t hash, uint64_t word) {
    hash = (hash ^ word) * 0x9E3779B97F4A7C15u; // the golden ratio
    return hash ^ (hash >> 32);
}

// Odd, and not to be known by who wrote a file. The numbers that tables give do not depend on it.
inline const uint64_t hash_secret =
    static_cast<uint64_t>(std::chrono::steady_clock::now().time_since_epoch().count()) * 0x9E3779B97F4A7C15u |
    1;

class hashed_table_t {
  public:
    static constexpr uint32_t none = 0xFFFFFFFF; // no thing has this number

    // Empties the table and makes room for `count` different things, so that adding them takes no memory.
    void reset(size_t count) {
        constexpr size_t most = size_t{1} << 32; // as many as a tag can tell apart
        const size_t slot_count = std::bit_ceil(std::max<size_t>(count + count / 3 + 2, 16));
        if (slot_count > most)
            throw std::bad_alloc();
        slots_.clear();
        slots_.resize(slot_count, slot_t{0, none});
        shift_ = 32 - std::countr_zero(slot_count);
        used_ = 0;
        most_used_ = slot_count - slot_count / 4;
    }

    // The number of the thing of this kind; none when there is none. equal(n) tells whether thing n is of
    // this kind.
    template <class equal_t>
    uint32_t find(uint64_t hash, equal_t equal) const {
        return slots_.empty() ? none : slots_.data()[slot_of(tag_of(hash), equal)].number;
    }

    // The number of the first thing of this kind; `number` itself, which is added, when there is none.
    template <class equal_t>
    uint32_t find_or_add(uint64_t hash, uint32_t number, equal_t equal) {
        if (used_ == most_used_)
            grow();
        slot_t &slot = slots_.data()[slot_of(tag_of(hash), equal)];
        if (slot.number == none) {
            slot = {tag_of(hash), number};
            ++used_;
        }
        return slot.number;
    }

  private:
    struct slot_t {
        uint32_t tag;
        uint32_t number;
    };

    static uint32_t tag_of(uint64_t hash) { return static_cast<uint32_t>(hash * hash_secret >> 32); }

    // The slot of the thing, or the free one where it would be.
    template <class equal_t>
    size_t slot_of(uint32_t tag, equal_t equal) const {
        const slot_t *const slots = slots_.data();
        const size_t mask = slots_.size() - 1;
        size_t i = tag >> shift_;
        while (slots[i].number != none && !(slots[i].tag == tag && equal(slots[i].number)))
            i = (i + 1) & mask;
        return i;
    }

    void grow() {
        hashed_table_t grown;
        grown.reset(used_ + 1);
        const auto never = [](uint32_t) { return false; };
        for (const slot_t &slot : slots_)
            if (slot.number != none)
                grown.slots_.data()[grown.slot_of(slot.tag, never)] = slot;
        grown.used_ = used_;
        *this = std::move(grown);
    }

    array_dyn_t<slot_t> slots_; // a power of two of them
    int shift_ = 0;             // from a tag to its place
    size_t used_ = 0;
    size_t most_used_ = 0;
};

} // namespace kestrel
