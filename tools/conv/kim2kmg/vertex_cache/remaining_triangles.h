#pragma once

// The triangle of greatest score among those not yet emitted, for the moments when no cached vertex has a
// triangle left.
//
// Scanning all of them each time would cost the square of their number in a mesh of many separate pieces.
// Instead they are sorted once, at the first such moment; those whose score has grown since are kept in a
// heap beside. Scores only grow, so what the sorted list says about such a triangle is merely out of date.

#include "kcore/collections/array.h"

namespace kestrel {

class remaining_triangles_t {
  public:
    static constexpr uint32_t none = 0xFFFFFFFF;

    // Forgets everything; working memory is kept.
    void clear();
    bool is_sorted() const { return sorted_; }

    // Before sorting: a triangle and its score. False when memory cannot be had.
    bool add(uint32_t triangle, float score) { return list_.push_back(key_of(triangle, score)); }
    void sort();
    // After sorting: a triangle that may have a greater score now.
    bool update(uint32_t triangle, float score);

    // The triangle of greatest score, of these the one with the lowest number; none when there is none.
    // is_current(triangle, score) tells whether the triangle remains and has this score.
    template <class current_t>
    uint32_t take_best(current_t is_current) {
        uint64_t key;
        while (take_lowest(key)) {
            const auto triangle = static_cast<uint32_t>(key);
            if (is_current(triangle, score_in(key)))
                return triangle;
        }
        return none;
    }

  private:
    // Ascending keys are descending scores, and of equal ones ascending triangles: scores are not negative,
    // so their bits are ordered as they are.
    static uint64_t key_of(uint32_t triangle, float score);
    static float score_in(uint64_t key);
    bool take_lowest(uint64_t &key);

    array_dyn_t<uint64_t> list_;
    array_dyn_t<uint64_t> heap_;
    size_t next_ = 0; // in the list
    bool sorted_ = false;
};

} // namespace kestrel
