#include "kcore/collections/hashed_table.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace kestrel {

TEST(hashed_table, keeps_the_first_value_of_a_name) {
    hashed_table_t<int> table;
    EXPECT_EQ(table.find("bone"), nullptr);
    EXPECT_TRUE(table.insert("bone", 1));
    EXPECT_TRUE(table.insert("bone", 2));
    EXPECT_TRUE(table.insert("Bone", 3));
    EXPECT_TRUE(table.insert("", 4));
    EXPECT_EQ(table.size(), 3u);
    EXPECT_EQ(*table.find("bone"), 1);
    EXPECT_EQ(*table.find("Bone"), 3);
    EXPECT_EQ(*table.find(""), 4);
    EXPECT_EQ(table.find("bon"), nullptr);
}

TEST(hashed_table, finds_every_name_among_many) {
    std::vector<std::string> names;
    for (int i = 0; i < 20000; ++i)
        names.push_back("name" + std::to_string(i));
    hashed_table_t<size_t> table;
    for (size_t i = 0; i < names.size(); ++i)
        ASSERT_TRUE(table.insert(names[i], i));
    EXPECT_EQ(table.size(), names.size());
    for (size_t i = 0; i < names.size(); ++i) {
        const size_t *const value = table.find(names[i]);
        ASSERT_NE(value, nullptr) << names[i];
        ASSERT_EQ(*value, i);
    }
    EXPECT_EQ(table.find("name20000"), nullptr);
}

} // namespace kestrel
