#include "kcore/collections/object_pool.h"

#include <cstdint>
#include <gtest/gtest.h>
#include <set>
#include <vector>

namespace kestrel {

namespace {

struct record_t {
    explicit record_t(uint64_t number) : first(number), last(~number) {}
    uint64_t first;
    char filling[1000];
    uint64_t last;
};

} // namespace

TEST(object_pool, objects_of_many_blocks_do_not_touch_each_other_and_places_are_used_again) {
    object_pool_t<record_t> pool;
    std::set<record_t *> places;
    for (int round = 0; round < 2; ++round) {
        std::vector<record_t *> records;
        for (uint64_t i = 0; i < 10000; ++i) {
            records.push_back(pool.create(i));
            ASSERT_EQ(reinterpret_cast<uintptr_t>(records.back()) % alignof(record_t), 0u);
        }
        places.insert(records.begin(), records.end());
        for (uint64_t i = 0; i < records.size(); ++i) {
            EXPECT_EQ(records[i]->first, i);
            EXPECT_EQ(records[i]->last, ~i);
            pool.destroy(records[i]);
        }
    }
    EXPECT_EQ(places.size(), 10000u);
}

} // namespace kestrel
