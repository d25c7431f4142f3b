#include "kcore/collections/sort.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <numeric>
#include <random>
#include <string>
#include <vector>

namespace kestrel {

namespace {

struct record_t {
    uint64_t key;
    uint64_t name;
    bool operator==(const record_t &) const = default;
};

int32_t by_key(const record_t &a, const record_t &b) {
    return a.key < b.key ? -1 : a.key > b.key;
}

std::vector<record_t> records_of(const std::vector<uint64_t> &keys) {
    std::vector<record_t> records;
    for (const uint64_t key : keys)
        records.push_back({key, records.size()});
    return records;
}

std::vector<uint64_t> names_of(const std::vector<record_t> &records) {
    std::vector<uint64_t> names;
    for (const record_t &record : records)
        names.push_back(record.name);
    return names;
}

std::vector<record_t> sorted(std::vector<record_t> records) {
    sort_records(std::span(records), by_key);
    return records;
}

// The same order found another way: recursion instead of a stack, records moved instead of pointers, the
// pivot followed by its position, and an insertion that searches before it moves.
class second_sort_t {
  public:
    explicit second_sort_t(std::vector<record_t> records) : e_(std::move(records)) {}

    std::vector<record_t> result() {
        const long n = static_cast<long>(e_.size());
        if (n > 4)
            split(0, n - 1);
        if (n > 1)
            std::iter_swap(e_.begin(), std::min_element(e_.begin(), e_.begin() + std::min(n, 4L), less));
        for (long k = 2; k < n; ++k) {
            if (!less(at(k), at(k - 1)))
                continue;
            // Only what lies before k - 1 is searched; e[k - 1] is known to be larger.
            const auto place = std::upper_bound(e_.begin(), e_.begin() + k, at(k), less);
            std::rotate(place, e_.begin() + k, e_.begin() + k + 1);
        }
        return e_;
    }

  private:
    static bool less(const record_t &a, const record_t &b) { return a.key < b.key; }
    record_t &at(long i) { return e_[static_cast<size_t>(i)]; }

    void split(long low, long high) {
        if (high - low < 4)
            return;
        long p = (low + high) / 2;
        if (less(at(p), at(low)))
            std::swap(at(p), at(low));
        if (less(at(high), at(p))) {
            std::swap(at(high), at(p));
            if (less(at(p), at(low)))
                std::swap(at(p), at(low));
        }
        long i = low + 1, j = high - 1;
        for (;;) {
            while (less(at(i), at(p)))
                i += 1;
            while (less(at(p), at(j)))
                j -= 1;
            if (i < j) {
                std::swap(at(i), at(j));
                p = p == i ? j : p == j ? i : p;
            }
            if (i <= j) {
                i += 1;
                j -= 1;
            }
            if (i > j)
                break;
        }
        split(low, j);
        split(i, high);
    }

    std::vector<record_t> e_;
};

TEST(sort, worked_orders) {
    struct row_t {
        std::vector<uint64_t> keys;
        std::vector<uint64_t> names;
    };
    const row_t rows[] = {
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
    for (const row_t &row : rows)
        EXPECT_EQ(names_of(sorted(records_of(row.keys))), row.names) << testing::PrintToString(row.keys);
}

TEST(sort, fewer_than_two_elements_are_never_compared) {
    std::vector<record_t> one = records_of({5});
    int calls = 0;
    const auto counting = [&](const record_t &, const record_t &) { return static_cast<int32_t>(++calls); };
    sort_records(std::span(one).first(0), counting);
    sort_records(std::span(one), counting);
    EXPECT_EQ(calls, 0);
}

TEST(sort, agrees_with_a_second_implementation) {
    std::mt19937 random(20240117);
    for (int round = 0; round < 20000; ++round) {
        // Sizes on both sides of the stack scratch, keys few enough to be equal often.
        const size_t size = random() % (round % 10 == 0 ? 400 : 40);
        const uint64_t distinct = 1 + random() % (round % 2 == 0 ? 4 : 40);
        std::vector<uint64_t> keys(size);
        for (uint64_t &key : keys)
            key = random() % distinct;
        if (round % 7 == 0)
            std::sort(keys.begin(), keys.end(), std::greater<>());
        const std::vector<record_t> records = records_of(keys);
        ASSERT_EQ(names_of(sorted(records)), names_of(second_sort_t(records).result()))
            << testing::PrintToString(keys);
    }
}

// Chooses the keys while it is being sorted, so that every partition splits off as little as possible.
std::vector<uint64_t> worst_keys(size_t size) {
    const uint64_t undecided = size;
    std::vector<uint64_t> keys(size, undecided);
    uint64_t next = 0;
    size_t candidate = 0;
    std::vector<record_t> records = records_of(std::vector<uint64_t>(size, 0));
    const auto adversary = [&](const record_t &a, const record_t &b) {
        const size_t x = a.name, y = b.name;
        if (keys[x] == undecided && keys[y] == undecided)
            keys[x == candidate ? x : y] = next++;
        if (keys[x] == undecided)
            candidate = x;
        else if (keys[y] == undecided)
            candidate = y;
        return keys[x] < keys[y] ? -1 : keys[x] > keys[y];
    };
    sort_records(std::span(records), adversary);
    return keys;
}

// The stack of waiting ranges has a fixed size; the sanitizers see it when it overflows.
TEST(sort, worst_splits_stay_within_the_stack) {
    for (const size_t size : {100u, 5000u}) {
        const std::vector<record_t> result = sorted(records_of(worst_keys(size)));
        EXPECT_TRUE(std::is_sorted(result.begin(), result.end(),
                                   [](const record_t &a, const record_t &b) { return a.key < b.key; }));
    }
}

} // namespace

} // namespace kestrel
