#pragma once

// Objects of one class by the thousand, made and destroyed one by one.
//
// Their places are cut from blocks, each twice as large as the one before up to a limit, and are used again
// when an object is destroyed; the blocks go with the pool. Objects that are still there then are not
// destroyed: they own nothing, or their owner destroys them first.

#include "kcore/collections/array.h"

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <new>
#include <utility>

namespace kestrel {

template <class T>
class object_pool_t {
  public:
    object_pool_t() = default;
    object_pool_t(const object_pool_t &) = delete;
    object_pool_t &operator=(const object_pool_t &) = delete;

    // Throws std::bad_alloc when memory cannot be had.
    template <class... A>
    T *create(A &&...arguments) {
        return new (take_place()) T(std::forward<A>(arguments)...);
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
        if (places_left_ == 0)
            add_block();
        --places_left_;
        return std::exchange(next_place_, next_place_ + sizeof(T));
    }

    void add_block() {
        constexpr size_t first = 4;
        constexpr size_t most = std::max(first, (size_t{64} << 10) / sizeof(T));
        const size_t places = blocks_.empty() ? first : std::min(2 * places_a_block_, most);
        block_t block(static_cast<std::byte *>(std::malloc(places * sizeof(T))));
        std::byte *const begin = block.get();
        if (!block)
            throw std::bad_alloc();
        blocks_.push_back(std::move(block));
        next_place_ = begin;
        places_left_ = places_a_block_ = places;
    }

    struct free_t {
        void operator()(std::byte *bytes) const { std::free(bytes); }
    };
    using block_t = std::unique_ptr<std::byte, free_t>;

    array_dyn_t<block_t> blocks_;
    std::byte *next_place_ = nullptr;
    size_t places_a_block_ = 0; // in the last one
    size_t places_left_ = 0;    // likewise
    free_place_t *free_ = nullptr;
};

} // namespace kestrel
