#include "kcore/collections/hashed_table.h"

#include <gtest/gtest.h>

namespace kestrel {

// Things 0, 1, 2 ... of which each two in a row are of one kind.
TEST(hashed_table, keeps_the_first_number_of_each_kind) {
    const struct {
        uint32_t count;
        uint32_t different_hashes;
        uint32_t most_comparisons;
    } cases[] = {
        {300, 1, 100000},
        {20000, 50, 10000000},
        // Hashes alike in their upper halves are no reason to compare things of different kinds.
        {20000, 20000, 20000 + 1000},
    };
    for (const auto &each : cases) {
        hashed_table_t table;
        uint32_t comparisons = 0;
        const auto is_of = [&](uint32_t kind) {
            return [kind, &comparisons](uint32_t n) { return ++comparisons, n / 2 == kind; };
        };
        const auto find = [&](uint32_t kind) {
            return table.find(kind % each.different_hashes, is_of(kind));
        };
        EXPECT_EQ(find(0), hashed_table_t::none);
        for (uint32_t i = 0; i < each.count; ++i)
            ASSERT_EQ(table.find_or_add(i / 2 % each.different_hashes, i, is_of(i / 2)), i / 2 * 2);
        for (uint32_t kind = 0; kind < each.count / 2; ++kind)
            ASSERT_EQ(find(kind), kind * 2);
        EXPECT_EQ(find(each.count / 2), hashed_table_t::none);
        EXPECT_LE(comparisons, each.most_comparisons);
        table.reset(1);
        EXPECT_EQ(find(0), hashed_table_t::none);
    }
}

} // namespace kestrel
