#pragma once

// The triangle of greatest score among those not yet emitted, for the moments when no cached vertex has a
// triangle left.
//
// Scanning all of them each time would cost the square of their number in a mesh of many separate pieces.
// Instead they are sorted once, at the first such moment; those whose score has grown since are kept in a
// heap beside. An entry counts as long as its triangle remains with that score: is_current(triangle, score)
// tells.

#include "tools/conv/kim2kmg/passes/late_heap.h"

#include <bit>

namespace kestrel {

class remaining_triangles_t {
  public:
    static constexpr uint32_t none = 0xFFFFFFFF;

    // Forgets everything; working memory is kept.
    void clear() {
        list_.clear();
        grown_.clear();
        next_ = 0;
        sorted_ = false;
    }
    bool is_sorted() const { return sorted_; }

    // Before sorting: a triangle and its score. False when memory cannot be had.
    bool add(uint32_t triangle, float score) { return list_.push_back(key_of(triangle, score)); }
    void sort() {
        std::sort(list_.begin(), list_.end());
        sorted_ = true;
    }
    // After sorting: a triangle that may have a greater score now, of `count` that remain. False when memory
    // cannot be had.
    template <class is_current_t>
    bool update(uint32_t triangle, float score, size_t count, is_current_t is_current) {
        return grown_.push(key_of(triangle, score), count,
                           [&](uint64_t key) { return holds(key, is_current); });
    }

    // The triangle of greatest score, of these the one with the lowest number; none when there is none.
    template <class is_current_t>
    uint32_t best(is_current_t is_current) {
        while (next_ < list_.size() && !holds(list_[next_], is_current))
            ++next_;
        const uint64_t listed = next_ < list_.size() ? list_[next_] : no_key;
        const uint64_t grown = grown_.top([&](uint64_t key) { return holds(key, is_current); }, no_key);
        return static_cast<uint32_t>(std::min(listed, grown));
    }

  private:
    static constexpr uint64_t no_key = UINT64_MAX; // of no triangle: `none` in its lower half

    // Ascending keys are descending scores, and of equal ones ascending triangles: scores are not negative,
    // so their bits are ordered as they are.
    static uint64_t key_of(uint32_t triangle, float score) {
        return uint64_t{~std::bit_cast<uint32_t>(score)} << 32 | triangle;
    }
    template <class is_current_t>
    static bool holds(uint64_t key, is_current_t &is_current) {
        return is_current(static_cast<uint32_t>(key),
                          std::bit_cast<float>(~static_cast<uint32_t>(key >> 32)));
    }

    array_dyn_t<uint64_t> list_;
    late_heap_t grown_;
    size_t next_ = 0; // in the list
    bool sorted_ = false;
};

} // namespace kestrel
