#pragma once

// The arrays of the core library: array_dyn_t<T> keeps its elements on the heap and grows, array_local_t<T,
// N> keeps up to N inside itself. An array owns its elements and is never copied by accident.
//
// Contract: whatever may grow an array_dyn_t throws std::bad_alloc when the memory cannot be had, or when its
// size in bytes would overflow; an array_local_t that is full gives false. Either way the array stays as it
// was. Reserving beyond the capacity doubles the capacity until it suffices; an empty array gets exactly the
// request. Index checks that fail are fatal.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <new>
#include <span>
#include <type_traits>
#include <utility>

namespace kestrel {

// Both end the process through report_fatal.
[[noreturn]] void fail_index_check(size_t index, size_t count);
[[noreturn]] void fail_pointer_check(const void *pointer, const void *first, const void *end);

// The capacity that an array of capacity `current` grows to for `wanted` elements of `element_size` bytes;
// throws std::bad_alloc when its size in bytes would overflow.
size_t grown_capacity(size_t current, size_t wanted, size_t element_size);

// What both have.
template <class T>
class array_t {
  public:
    array_t(const array_t &) = delete;
    array_t &operator=(const array_t &) = delete;

    size_t size() const { return size_; }
    size_t capacity() const { return capacity_; }
    bool empty() const { return size_ == 0; }
    T *data() { return data_; }
    const T *data() const { return data_; }
    T *begin() { return data_; }
    T *end() { return data_ + size_; }
    const T *begin() const { return data_; }
    const T *end() const { return data_ + size_; }
    std::span<T> items() { return {data_, size_}; }
    std::span<const T> items() const { return {data_, size_}; }

    T &operator[](size_t index) { return data_[checked(index)]; }
    const T &operator[](size_t index) const { return data_[checked(index)]; }
    T &back() { return (*this)[size_ - 1]; }
    const T &back() const { return (*this)[size_ - 1]; }

    // The position of an element given by its address.
    size_t index_of(const T *pointer) const {
        if (pointer < data_ || pointer >= data_ + size_)
            fail_pointer_check(pointer, data_, data_ + size_);
        return static_cast<size_t>(pointer - data_);
    }

    void shrink(size_t wanted) {
        while (size_ > wanted)
            data_[--size_].~T();
    }
    void clear() { shrink(0); }
    void pop_back() {
        checked(size_ - 1);
        data_[--size_].~T();
    }
    void erase(size_t index) {
        checked(index);
        for (size_t i = index + 1; i < size_; ++i)
            data_[i - 1] = std::move(data_[i]);
        pop_back();
    }
    // Removes an element by moving the last one into its place.
    void erase_unordered(size_t index) {
        checked(index);
        if (index + 1 != size_)
            data_[index] = std::move(data_[size_ - 1]);
        pop_back();
    }

  protected:
    array_t() = default;
    ~array_t() = default; // never destroyed through the base

    size_t checked(size_t index) const {
        if (index >= size_) [[unlikely]]
            fail_index_check(index, size_);
        return index;
    }

    T *data_ = nullptr;
    size_t size_ = 0;
    size_t capacity_ = 0;
};

template <class T>
class array_dyn_t final : public array_t<T> {
    static_assert(alignof(T) <= alignof(std::max_align_t));
    using array_t<T>::data_, array_t<T>::size_, array_t<T>::capacity_;

  public:
    using array_t<T>::clear, array_t<T>::shrink;

    array_dyn_t() = default;
    array_dyn_t(array_dyn_t &&other) noexcept { take(other); }
    array_dyn_t &operator=(array_dyn_t &&other) noexcept {
        if (this != &other) {
            release();
            take(other);
        }
        return *this;
    }
    ~array_dyn_t() { release(); }

    void reserve(size_t wanted) {
        if (wanted > capacity_)
            grow_to(wanted);
    }

    template <class... A>
    void emplace_back(A &&...arguments) {
        if (size_ == capacity_)
            return emplace_grown(std::forward<A>(arguments)...);
        new (data_ + size_) T(std::forward<A>(arguments)...);
        ++size_;
    }
    void push_back(const T &item) { emplace_back(item); }
    void push_back(T &&item) { emplace_back(std::move(item)); }

    // The items may be some of this array's own.
    void append(std::span<const T> items) {
        static_assert(std::is_trivially_copyable_v<T>);
        if (items.empty())
            return;
        const bool own = items.data() >= data_ && items.data() < data_ + size_;
        const size_t first = own ? static_cast<size_t>(items.data() - data_) : 0;
        reserve(size_ + items.size());
        std::memcpy(data_ + size_, own ? data_ + first : items.data(), items.size() * sizeof(T));
        size_ += items.size();
    }

    // New elements are value-initialised (zero for plain records).
    void resize(size_t wanted) {
        reserve(wanted);
        shrink(wanted);
        for (; size_ < wanted; ++size_)
            new (data_ + size_) T();
    }
    // New elements are copies of the value, which must not be one of this array's own.
    void resize(size_t wanted, const T &value) {
        reserve(wanted);
        shrink(wanted);
        for (; size_ < wanted; ++size_)
            new (data_ + size_) T(value);
    }

    void release() {
        clear();
        std::free(data_);
        data_ = nullptr;
        capacity_ = 0;
    }

  private:
    void take(array_dyn_t &other) {
        data_ = std::exchange(other.data_, nullptr);
        size_ = std::exchange(other.size_, 0);
        capacity_ = std::exchange(other.capacity_, 0);
    }

    // The arguments may refer into the old storage, so the element is made before that goes.
    template <class... A>
    void emplace_grown(A &&...arguments) {
        T item(std::forward<A>(arguments)...);
        grow_to(size_ + 1);
        new (data_ + size_) T(std::move(item));
        ++size_;
    }

    // Moves the elements into storage for at least `wanted` elements.
    void grow_to(size_t wanted) {
        const size_t capacity = grown_capacity(capacity_, wanted, sizeof(T));
        if constexpr (std::is_trivially_copyable_v<T>) {
            void *grown = std::realloc(static_cast<void *>(data_), capacity * sizeof(T));
            if (!grown)
                throw std::bad_alloc();
            data_ = static_cast<T *>(grown);
        } else {
            T *grown = static_cast<T *>(std::malloc(capacity * sizeof(T)));
            if (!grown)
                throw std::bad_alloc();
            for (size_t i = 0; i < size_; ++i) {
                new (grown + i) T(std::move(data_[i]));
                data_[i].~T();
            }
            std::free(data_);
            data_ = grown;
        }
        capacity_ = capacity;
    }
};

template <class T, size_t N>
class array_local_t final : public array_t<T> {
    using array_t<T>::data_, array_t<T>::size_, array_t<T>::capacity_;

  public:
    using array_t<T>::clear;

    array_local_t() {
        data_ = reinterpret_cast<T *>(storage_);
        capacity_ = N;
    }
    ~array_local_t() { clear(); }

    template <class... A>
    bool emplace_back(A &&...arguments) {
        if (size_ == N)
            return false;
        new (data_ + size_) T(std::forward<A>(arguments)...);
        ++size_;
        return true;
    }
    bool push_back(const T &item) { return emplace_back(item); }
    bool push_back(T &&item) { return emplace_back(std::move(item)); }

  private:
    alignas(T) std::byte storage_[N * sizeof(T)];
};

} // namespace kestrel
