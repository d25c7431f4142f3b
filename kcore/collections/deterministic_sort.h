#pragma once

// The core library's one sort: a quicksort in place with an explicit stack, finished by an insertion pass.
//
// It is not stable, but deterministic: the same input and comparison always give the same order, also among
// equal elements. Formats depend on that order, so no element may ever move differently than it does here.
//
// A comparison takes two elements and gives a 32-bit number: negative when the first sorts before the second,
// positive when after, 0 when they are equal. It must be a consistent order. Sorting takes no heap memory.
//
// Templates rather than a function pointer with a context: the comparison is the whole cost of a sort.

#include <cstddef>
#include <cstdint>
#include <span>
#include <type_traits>
#include <utility>

namespace kestrel {

// Ranges of fewer elements are left to the insertion pass.
inline constexpr size_t sort_partition_least = 5;

namespace sort_steps {

// Both ends belong to the range.
struct range_t {
    size_t first;
    size_t last;
};

// What is left of a range around its pivot: (first, left_last) and (right_first, last).
struct split_t {
    size_t left_last;
    size_t right_first;
};

// Orders the ends and the middle; the middle one then is the pivot.
template <class T, class C>
void order_three(T *e, size_t first, size_t middle, size_t last, const C &compare) {
    if (compare(e[middle], e[first]) < 0)
        std::swap(e[middle], e[first]);
    if (compare(e[last], e[middle]) < 0) {
        std::swap(e[last], e[middle]);
        if (compare(e[middle], e[first]) < 0)
            std::swap(e[middle], e[first]);
    }
}

template <class T, class C>
split_t partition(T *e, range_t range, const C &compare) {
    const size_t middle = range.first + (range.last - range.first) / 2;
    order_three(e, range.first, middle, range.last, compare);

    const T pivot = e[middle]; // a copy, for the element may be swapped to another place
    size_t i = range.first + 1;
    size_t j = range.last - 1;
    do {
        while (compare(e[i], pivot) < 0)
            ++i;
        while (compare(pivot, e[j]) < 0)
            --j;
        if (i > j)
            break;
        std::swap(e[i], e[j]); // with itself when they have met
        ++i;
        --j;
    } while (i <= j);
    return {j, i};
}

// Puts the first smallest of the first four elements to the front, where it ends every insertion.
template <class T, class C>
void place_sentinel(std::span<T> e, const C &compare) {
    size_t smallest = 0;
    for (size_t k = 1; k < e.size() && k < sort_partition_least - 1; ++k)
        if (compare(e[k], e[smallest]) < 0)
            smallest = k;
    if (smallest != 0)
        std::swap(e[0], e[smallest]);
}

template <class T, class C>
void insert_in_order(std::span<T> e, const C &compare) {
    for (size_t k = 2; k < e.size(); ++k) {
        if (compare(e[k - 1], e[k]) <= 0)
            continue;
        const T element = e[k];
        e[k] = e[k - 1];
        size_t m = k - 1;
        for (; compare(element, e[m - 1]) < 0; --m)
            e[m] = e[m - 1];
        e[m] = element;
    }
}

} // namespace sort_steps

// Sorts records by moving them; large ones are better sorted by pointers.
template <class T, class C>
void sort_records(std::span<T> records, const C &compare) {
    using namespace sort_steps;
    static_assert(std::is_trivially_copyable_v<T>);
    if (records.size() < 2)
        return;

    // The smaller part of a split is always sorted next, so every waiting range is at most half of the one
    // under it.
    range_t waiting[64];
    size_t depth = 0;
    const auto push = [&](size_t first, size_t last) {
        if (last - first + 1 >= sort_partition_least)
            waiting[depth++] = {first, last};
    };
    push(0, records.size() - 1);
    while (depth != 0) {
        const range_t range = waiting[--depth];
        const split_t split = partition(records.data(), range, compare);
        if (range.last - split.right_first < split.left_last - range.first) {
            push(range.first, split.left_last);
            push(split.right_first, range.last);
        } else {
            push(split.right_first, range.last);
            push(range.first, split.left_last);
        }
    }

    place_sentinel(records, compare);
    insert_in_order(records, compare);
}

// Sorts pointers by what they point at.
template <class T, class C>
void sort_pointers(std::span<T *> pointers, const C &compare) {
    sort_records(pointers, [&](const T *a, const T *b) { return compare(*a, *b); });
}

} // namespace kestrel
