#pragma once

// Objects of one class by the thousand, made and destroyed one by one.
//
// Their places are cut from blocks, each twice as large as the one before up to a large page, and are used
// again when an object is destroyed; the blocks go with the pool. Objects that are still there then are not
// destroyed: they own nothing, or their owner destroys them first.

#include "kcore/collections/array.h"
#include "kcore/collections/large_block.h"

#include <algorithm>
#include <new>
#include <utility>

namespace kestrel {

template <class T>
class object_pool_t {
  public:
    object_pool_t() = default;
    object_pool_t(const object_pool_t &) = delete;
    object_pool_t &operator=(const object_pool_t &) = delete;

    // Null when memory cannot be had.
    template <class... A>
    T *create(A &&...arguments) {
        void *const place = take_place();
        return place ? new (place) T(std::forward<A>(arguments)...) : nullptr;
    }
    void destroy(T *object) {
        object->~T();
        free_ = new (static_cast<void *>(object)) free_place_t{free_};
    }

  private:
    struct free_place_t {
        free_place_t *next;
    };

    void *take_place() {
        static_assert(sizeof(T) >= sizeof(free_place_t) && alignof(T) >= alignof(free_place_t));
        static_assert(alignof(T) <= alignof(std::max_align_t));
        if (free_)
            return std::exchange(free_, free_->next);
        if (places_left_ == 0 && !add_block())
            return nullptr;
        --places_left_;
        return std::exchange(next_place_, next_place_ + sizeof(T));
    }

    bool add_block() {
        constexpr size_t first_size = 4 * sizeof(T);
        const size_t size = blocks_.empty() ? first_size
                                            : std::min(2 * blocks_.back().size(),
                                                       std::max(first_size, large_block_t::large_page_size));
        large_block_t block = large_block_t::allocate(size);
        if (!block || !blocks_.push_back(std::move(block)))
            return false;
        next_place_ = blocks_.back().data();
        places_left_ = size / sizeof(T);
        return true;
    }

    array_dyn_t<large_block_t> blocks_;
    std::byte *next_place_ = nullptr;
    size_t places_left_ = 0; // in the last block
    free_place_t *free_ = nullptr;
};

} // namespace kestrel
