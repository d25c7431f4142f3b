#include "kcore/collections/sort.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <vector>

namespace kestrel {

namespace {

using keys_t = std::vector<uint64_t>;
using names_t = std::vector<uint64_t>;

struct record_t {
    uint64_t key;
    uint64_t name;
};

std::vector<record_t> records_of(const keys_t &keys) {
    std::vector<record_t> records;
    for (const uint64_t key : keys)
        records.push_back({key, records.size()});
    return records;
}

names_t names_of(const std::vector<record_t> &records) {
    names_t names;
    for (const record_t &record : records)
        names.push_back(record.name);
    return names;
}

// The places that the keys had before they were sorted.
names_t order_of(const keys_t &keys) {
    std::vector<record_t> records = records_of(keys);
    sort_records(std::span(records),
                 [](const record_t &a, const record_t &b) { return a.key < b.key ? -1 : a.key > b.key; });
    return names_of(records);
}

// The same order found another way: recursion instead of a stack, the pivot followed by its position, and an
// insertion that searches before it moves.
class second_sort_t {
  public:
    explicit second_sort_t(const keys_t &keys) : e_(records_of(keys)) {}

    names_t order() {
        const long n = static_cast<long>(e_.size());
        split(0, n - 1);
        if (n > 1)
            std::iter_swap(e_.begin(), std::min_element(e_.begin(), e_.begin() + std::min(n, 4L), less));
        for (long k = 2; k < n; ++k)
            if (less(at(k), at(k - 1)))
                std::rotate(std::upper_bound(e_.begin(), e_.begin() + k, at(k), less), e_.begin() + k,
                            e_.begin() + k + 1);
        return names_of(e_);
    }

  private:
    static bool less(const record_t &a, const record_t &b) { return a.key < b.key; }
    record_t &at(long i) { return e_[static_cast<size_t>(i)]; }
    bool swap_if_less(long i, long j) {
        const bool swaps = less(at(i), at(j));
        if (swaps)
            std::swap(at(i), at(j));
        return swaps;
    }

    void split(long low, long high) {
        if (high - low < 4)
            return;
        long p = (low + high) / 2;
        swap_if_less(p, low);
        if (swap_if_less(high, p))
            swap_if_less(p, low);
        long i = low + 1, j = high - 1;
        while (i <= j) {
            while (less(at(i), at(p)))
                i += 1;
            while (less(at(p), at(j)))
                j -= 1;
            if (i < j) {
                std::swap(at(i), at(j));
                p = p == i ? j : p == j ? i : p;
            }
            if (i > j)
                break;
            i += 1;
            j -= 1;
        }
        split(low, j);
        split(i, high);
    }

    std::vector<record_t> e_;
};

TEST(sort, worked_orders) {
    const struct {
        keys_t keys;
        names_t order;
    } cases[] = {
        {{}, {}},
        {{7}, {0}},
        {{1, 1}, {0, 1}},
        {{1, 1, 1}, {0, 1, 2}},
        {{1, 1, 1, 1}, {0, 1, 2, 3}},
        {{1, 1, 1, 1, 1}, {0, 3, 2, 1, 4}},
        {{4, 3, 2, 1}, {3, 2, 1, 0}},
        {{2, 1}, {1, 0}},
        // The first smallest comes to the front by a swap: the two twos change their order.
        {{2, 2, 1}, {2, 1, 0}},
    };
    for (const auto &each : cases)
        EXPECT_EQ(order_of(each.keys), each.order) << testing::PrintToString(each.keys);

    uint64_t five[] = {1, 1, 1, 1, 1};
    uint64_t *pointers[] = {&five[0], &five[1], &five[2], &five[3], &five[4]};
    sort_pointers(std::span<uint64_t *>(pointers),
                  [](uint64_t a, uint64_t b) { return static_cast<int32_t>(a - b); });
    EXPECT_EQ(pointers[1], &five[3]);
    EXPECT_EQ(pointers[3], &five[1]);
}

TEST(sort, agrees_with_a_second_implementation) {
    std::mt19937 random(20240117);
    for (int round = 0; round < 20000; ++round) {
        // Keys few enough to be equal often.
        const uint64_t distinct = 1 + random() % (round % 2 == 0 ? 4 : 40);
        keys_t keys(random() % (round % 10 == 0 ? 400 : 40));
        for (uint64_t &key : keys)
            key = random() % distinct;
        if (round % 7 == 0)
            std::sort(keys.begin(), keys.end(), std::greater<>());
        ASSERT_EQ(order_of(keys), second_sort_t(keys).order()) << testing::PrintToString(keys);
    }
}

// Chooses the keys while it is being sorted, so that every partition splits off as little as possible.
keys_t worst_keys(uint64_t size) {
    const uint64_t undecided = size;
    keys_t keys(size, undecided);
    uint64_t next = 0, candidate = 0;
    std::vector<record_t> records = records_of(keys);
    sort_records(std::span(records), [&](const record_t &a, const record_t &b) {
        const uint64_t x = a.name, y = b.name;
        if (keys[x] == undecided && keys[y] == undecided)
            keys[x == candidate ? x : y] = next++;
        if (keys[x] == undecided)
            candidate = x;
        else if (keys[y] == undecided)
            candidate = y;
        return keys[x] < keys[y] ? -1 : keys[x] > keys[y];
    });
    return keys;
}

// The stack of waiting ranges has a fixed size; the sanitizers see it when it overflows.
TEST(sort, worst_splits_stay_within_the_stack) {
    for (const uint64_t size : {100, 5000}) {
        const keys_t keys = worst_keys(size);
        const names_t order = order_of(keys);
        EXPECT_TRUE(std::is_sorted(order.begin(), order.end(),
                                   [&](uint64_t a, uint64_t b) { return keys[a] < keys[b]; }));
    }
}

} // namespace

} // namespace kestrel
