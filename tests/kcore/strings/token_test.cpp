#include "kcore/strings/string_dyn.h"
#include "kcore/strings/string_local.h"
#include "kcore/strings/token.h"

#include <gtest/gtest.h>

namespace kestrel {

static constexpr uint64_t largest = 9065737908494995455u; // 38^12 - 1

TEST(token, names_pack_to_base_38_with_the_first_character_least) {
    const struct {
        const char *name;
        uint64_t value;
    } cases[] = {{"", 0},
                 {"0", 1},
                 {"9", 10},
                 {"a", 11},
                 {"z", 36},
                 {"_", 37},
                 {"ab", 11 + 12 * 38},
                 {"z9_", 36 + 10 * 38 + 37 * 38 * 38},
                 {"____________", largest}};
    for (const auto &c : cases) {
        const auto token = token_t::from_string(c.name);
        ASSERT_TRUE(token) << c.name;
        EXPECT_EQ(token->value(), c.value) << c.name;
        string_dyn_t name("old");
        EXPECT_TRUE(token->to_string(name));
        EXPECT_EQ(name.view(), c.name);
    }
}

TEST(token, letter_case_is_not_kept) {
    const auto lower = token_t::from_string("root");
    EXPECT_EQ(token_t::from_string("Root"), lower);
    EXPECT_EQ(token_t::from_string("ROOT"), lower);
    string_dyn_t name;
    EXPECT_TRUE(token_t::from_string("RooT")->to_string(name));
    EXPECT_EQ(name.view(), "root");
}

TEST(token, only_digits_letters_and_the_underscore_and_at_most_twelve) {
    for (int byte = 1; byte < 256; ++byte) {
        const char text[] = {'x', static_cast<char>(byte), '\0'};
        const bool valid = (byte >= '0' && byte <= '9') || (byte >= 'a' && byte <= 'z') ||
                           (byte >= 'A' && byte <= 'Z') || byte == '_';
        EXPECT_EQ(token_t::from_string(text).has_value(), valid) << byte;
    }
    for (const char *name : {"bone.01", "left hand", "k\xC3\xB6rper", "abcdefghijklm", "............."})
        EXPECT_FALSE(token_t::from_string(name)) << name;
    EXPECT_TRUE(token_t::from_string("abcdefghijkl"));
    EXPECT_TRUE(token_t::from_string("unnamed_254"));
}

TEST(token, bit_63_carries_no_name) {
    const uint64_t value = token_t::from_string("wheel_left")->value();
    string_dyn_t name;
    EXPECT_TRUE(token_t(value | uint64_t{1} << 63).to_string(name));
    EXPECT_EQ(name.view(), "wheel_left");
}

TEST(token, a_value_no_name_packs_to_gives_at_most_twelve_characters) {
    string_dyn_t name;
    token_t(largest + 2).to_string(name); // digit 12 is 1, all below are 0 but the first, which is 1
    EXPECT_EQ(name.view(), "0");
    token_t(~uint64_t{0} >> 1).to_string(name);
    EXPECT_LE(name.length(), token_t::max_length);
}

TEST(token, a_name_that_does_not_fit_is_cut) {
    string_local_t<2> name;
    EXPECT_FALSE(token_t::from_string("ab")->to_string(name));
    EXPECT_EQ(name.view(), "a");
    EXPECT_TRUE(token_t().to_string(name));
    EXPECT_TRUE(name.empty());
}

} // namespace kestrel
