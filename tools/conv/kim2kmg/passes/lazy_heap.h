#pragma once

// A heap whose lowest key comes first, with lazy deletion: a key that no longer holds stays until it comes
// up, or until the heap is twice as large as it was after the last cleaning. Whoever asks says what holds.

#include "kcore/collections/array.h"

#include <algorithm>
#include <functional>

namespace kestrel {

class lazy_heap_t {
  public:
    static constexpr uint64_t none = UINT64_MAX; // of no key

    void clear() { keys_.clear(); }

    // Many keys at first, in any order, cost less with append() for each and arrange() once.
    void append(uint64_t key) { keys_.push_back(key); }
    void arrange() {
        std::make_heap(keys_.begin(), keys_.end(), std::greater());
        set_limit();
    }

    template <class holds_t>
    void push(uint64_t key, holds_t holds) {
        if (keys_.size() >= limit_)
            clean(holds);
        keys_.push_back(key);
        std::push_heap(keys_.begin(), keys_.end(), std::greater());
    }

    // The lowest key that holds, `none` when there is none.
    template <class holds_t>
    uint64_t top(holds_t holds) {
        while (!keys_.empty() && !holds(keys_[0])) {
            std::pop_heap(keys_.begin(), keys_.end(), std::greater());
            keys_.pop_back();
        }
        return keys_.empty() ? none : keys_[0];
    }

  private:
    void set_limit() { limit_ = 2 * keys_.size() + 64; }

    // Also of keys that are there twice; what is sorted is a heap.
    template <class holds_t>
    void clean(holds_t holds) {
        std::sort(keys_.begin(), keys_.end());
        uint64_t *const end = std::remove_if(keys_.begin(), std::unique(keys_.begin(), keys_.end()),
                                             [&](uint64_t key) { return !holds(key); });
        keys_.shrink(static_cast<size_t>(end - keys_.begin()));
        set_limit();
    }

    array_dyn_t<uint64_t> keys_;
    size_t limit_ = 64;
};

} // namespace kestrel
