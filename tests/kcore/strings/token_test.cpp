#include "kcore/strings/token.h"

#include <gtest/gtest.h>

namespace kestrel {

static constexpr uint64_t largest = 9065737908494995455u; // 38^12 - 1

TEST(token, names_pack_to_base_38_with_the_first_character_least) {
    const struct {
        const char *name;
        uint64_t value;
        const char *unpacked = name;
    } cases[] = {{"", 0},
                 {"0", 1},
                 {"9", 10},
                 {"a", 11},
                 {"z", 36},
                 {"_", 37},
                 {"ab", 11 + 12 * 38},
                 {"z9_", 36 + 10 * 38 + 37 * 38 * 38},
                 {"ZaB", 36 + 11 * 38 + 12 * 38 * 38, "zab"}, // letter case is not kept
                 {"____________", largest}};
    for (const auto &c : cases) {
        const auto token = token_t::from_string(c.name);
        ASSERT_TRUE(token) << c.name;
        EXPECT_EQ(token->value(), c.value) << c.name;
        for (const uint64_t bit_63 : {uint64_t{0}, uint64_t{1} << 63}) { // carries no name
            string_dyn_t name("old");
            EXPECT_TRUE(token_t(c.value | bit_63).to_string(name));
            EXPECT_EQ(name.view(), c.unpacked);
        }
    }
}

TEST(token, only_digits_letters_and_the_underscore_and_at_most_twelve) {
    for (int byte = 1; byte < 256; ++byte) {
        const char text[] = {'x', static_cast<char>(byte), '\0'};
        const bool valid = byte < 0x80 && (std::isalnum(byte) || byte == '_');
        EXPECT_EQ(token_t::from_string(text).has_value(), valid) << byte;
    }
    EXPECT_FALSE(token_t::from_string("abcdefghijklm"));
    EXPECT_TRUE(token_t::from_string("unnamed_254"));
}

TEST(token, what_does_not_fit_is_cut_and_no_value_gives_more_than_twelve_characters) {
    string_local_t<2> name;
    EXPECT_FALSE(token_t::from_string("ab")->to_string(name));
    EXPECT_EQ(name.view(), "a");
    string_dyn_t long_name;
    token_t(largest + 2).to_string(long_name); // digit 12 is 1, all below are 0 but the first, which is 1
    EXPECT_EQ(long_name.view(), "0");
    token_t(~uint64_t{0} >> 1).to_string(long_name);
    EXPECT_LE(long_name.length(), token_t::max_length);
}

} // namespace kestrel
