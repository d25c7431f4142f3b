#include "kcore/collections/deterministic_sort.h"

#include <gtest/gtest.h>

#include <algorithm>
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
        // Found by a second implementation: a recursive one whose insertion searches before it moves.
        {{3, 1, 2, 3, 1, 2, 3, 1, 2, 3, 1, 2}, {10, 4, 7, 1, 8, 5, 11, 2, 6, 9, 3, 0}},
        {{0, 0, 0, 0, 0, 0, 1, 0, 0, 0, 0, 0, 0, 1, 1}, {0, 8, 9, 10, 11, 12, 7, 3, 2, 4, 5, 1, 13, 6, 14}},
        {{5, 5, 4, 4, 3, 3, 2, 2, 1, 1, 0, 0, 9, 1, 5, 2, 7, 3, 3, 0},
         {19, 10, 11, 13, 9, 8, 6, 15, 7, 17, 5, 4, 18, 2, 3, 14, 0, 1, 16, 12}},
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
