#pragma once

// A heap whose lowest entry comes first, and from which entries vanish without notice: whether one still
// counts is asked when it comes up, and of all of them when too many may have vanished.

#include "kcore/collections/array.h"

#include <algorithm>
#include <functional>

namespace kestrel {

class late_heap_t {
  public:
    void clear() { entries_.clear(); }

    // `valid_count` is the number of entries that count, at most. False when memory cannot be had.
    template <class is_valid_t>
    bool push(uint64_t entry, size_t valid_count, is_valid_t is_valid) {
        if (entries_.size() > 2 * valid_count + 64)
            tidy(is_valid);
        if (!entries_.push_back(entry))
            return false;
        std::push_heap(entries_.begin(), entries_.end(), std::greater());
        return true;
    }

    // The lowest entry that counts, `none` when there is none.
    template <class is_valid_t>
    uint64_t top(is_valid_t is_valid, uint64_t none = UINT64_MAX) {
        while (!entries_.empty() && !is_valid(entries_[0])) {
            std::pop_heap(entries_.begin(), entries_.end(), std::greater());
            entries_.pop_back();
        }
        return entries_.empty() ? none : entries_[0];
    }

  private:
    // Also removes repeated entries; what is sorted is a heap.
    template <class is_valid_t>
    void tidy(is_valid_t is_valid) {
        std::sort(entries_.begin(), entries_.end());
        uint64_t *const end = std::remove_if(entries_.begin(), std::unique(entries_.begin(), entries_.end()),
                                             [&](uint64_t entry) { return !is_valid(entry); });
        entries_.shrink(static_cast<size_t>(end - entries_.begin()));
    }

    array_dyn_t<uint64_t> entries_;
};

} // namespace kestrel
