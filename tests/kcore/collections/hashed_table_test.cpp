#include "kcore/collections/hashed_table.h"

#include <gtest/gtest.h>

namespace kestrel {

// Things 0, 1, 2 ... of which each two in a row are of one kind; few different hashes make kinds collide.
TEST(hashed_table, keeps_the_first_number_of_each_kind) {
    for (const uint32_t different_hashes : {1u, 50u, 100000u}) {
        hashed_table_t table;
        const auto find = [&](uint32_t kind) {
            return table.find(mix_hash(0, kind % different_hashes),
                              [&](uint32_t n) { return n / 2 == kind; });
        };
        EXPECT_EQ(find(0), hashed_table_t::none);
        const uint32_t count = different_hashes == 1 ? 300 : 20000;
        for (uint32_t i = 0; i < count; ++i)
            ASSERT_EQ(table.find_or_add(mix_hash(0, i / 2 % different_hashes), i,
                                        [&](uint32_t n) { return n / 2 == i / 2; }),
                      i / 2 * 2);
        for (uint32_t kind = 0; kind < count / 2; ++kind)
            ASSERT_EQ(find(kind), kind * 2);
        EXPECT_EQ(find(count / 2), hashed_table_t::none);
        table.reset(1);
        EXPECT_EQ(find(0), hashed_table_t::none);
    }
}

} // namespace kestrel
