#include "kcore/collections/hashed_table.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace kestrel {

namespace {

// Things are texts; few different hashes make them collide.
struct numbered_texts_t {
    explicit numbered_texts_t(uint64_t hashes) : different_hashes(hashes) {}

    uint64_t hash(const std::string &text) const {
        return mix_hash(0, std::hash<std::string>()(text) % different_hashes);
    }
    uint32_t find(const std::string &text) const {
        return table.find(hash(text), [&](uint32_t n) { return texts[n] == text; });
    }
    uint32_t add(const std::string &text) {
        texts.push_back(text);
        return table.find_or_add(hash(text), static_cast<uint32_t>(texts.size() - 1),
                                 [&](uint32_t n) { return texts[n] == text; });
    }
    uint64_t different_hashes;
    hashed_table_t table;
    std::vector<std::string> texts;
};

} // namespace

TEST(hashed_table, keeps_the_first_number_of_each_kind) {
    for (const uint64_t different_hashes : {1u, 50u, 1u << 30}) {
        numbered_texts_t numbered(different_hashes);
        EXPECT_EQ(numbered.find("0"), hashed_table_t::none);
        const uint32_t count = different_hashes == 1 ? 300 : 20000;
        for (uint32_t i = 0; i < count; ++i) // every text comes twice, growing between
            ASSERT_EQ(numbered.add(std::to_string(i / 2)), i / 2 * 2);
        for (uint32_t i = 0; i < count / 2; ++i)
            ASSERT_EQ(numbered.find(std::to_string(i)), i * 2);
        EXPECT_EQ(numbered.find("none"), hashed_table_t::none);
        numbered.table.reset(1);
        EXPECT_EQ(numbered.find("0"), hashed_table_t::none);
    }
}

} // namespace kestrel
