#include "kcore/strings/utf.h"

#include "tests/support/captured_messages.h"

#include <gtest/gtest.h>

namespace kestrel {

using units_t = std::vector<uint16_t>;

static units_t units_of(const array_dyn_t<uint16_t> &array) {
    return {array.begin(), array.end()};
}

// The Unicode standard's table of well-formed UTF-8: lead bytes, second bytes, length.
static constexpr struct {
    int first_lead, last_lead, first_second, last_second, length;
} well_formed[] = {{0x00, 0x7F, 0x00, 0xFF, 1}, {0xC2, 0xDF, 0x80, 0xBF, 2}, {0xE0, 0xE0, 0xA0, 0xBF, 3},
                   {0xE1, 0xEC, 0x80, 0xBF, 3}, {0xED, 0xED, 0x80, 0x9F, 3}, {0xEE, 0xEF, 0x80, 0xBF, 3},
                   {0xF0, 0xF0, 0x90, 0xBF, 4}, {0xF1, 0xF3, 0x80, 0xBF, 4}, {0xF4, 0xF4, 0x80, 0x8F, 4}};

static int expected_length(int lead, int second) {
    for (const auto &row : well_formed)
        if (lead >= row.first_lead && lead <= row.last_lead && second >= row.first_second &&
            second <= row.last_second)
            return row.length;
    return 0;
}

TEST(utf, well_formed_is_what_the_unicode_table_says) {
    for (int lead = 0; lead < 256; ++lead)
        for (int second = 0; second < 256; ++second) {
            const char bytes[] = {static_cast<char>(lead), static_cast<char>(second), '\x80', '\xBF'};
            const auto decoded = decode_utf8({bytes, 4});
            EXPECT_EQ(decoded ? static_cast<int>(decoded->length) : 0, expected_length(lead, second))
                << lead << " " << second;
        }
    for (const std::string_view bad : {"\xE2\x82", "\xE2\x82z", "\xF0\x9F\x98", "\xF0\x9F\x98\xC0", "\xC3"})
        EXPECT_FALSE(decode_utf8(bad)) << bad;
    EXPECT_FALSE(decode_utf8(""));
}

TEST(utf, every_code_point_survives_both_encodings) {
    for (uint32_t code_point = 1; code_point <= 0x110000; ++code_point) {
        const auto units = encode_utf16(code_point);
        const bool valid = code_point <= 0x10FFFF && (code_point < 0xD800 || code_point > 0xDFFF);
        ASSERT_EQ(units.has_value(), valid) << code_point;
        if (!valid)
            continue;
        string_local_t<8> text;
        ASSERT_TRUE(utf16_to_utf8({units->units, units->count}, text));
        const auto decoded = decode_utf8(text.view());
        ASSERT_TRUE(decoded);
        ASSERT_EQ(decoded->value, code_point);
        ASSERT_EQ(decoded->length, text.length());
    }
}

TEST(utf, texts_become_utf16_with_a_zero_at_the_end) {
    const struct {
        const char *text;
        units_t expected;
    } cases[] = {{"", {0}},
                 {"ab", {'a', 'b', 0}},
                 {"\xE2\x82\xAC", {0x20AC, 0}},
                 {"\xF0\x9F\x98\x80", {0xD83D, 0xDE00, 0}},
                 {"\xF0\x9D\xA0\x80x", {0xD836, 0xDC00, 'x', 0}}};
    for (const auto &c : cases) {
        array_dyn_t<uint16_t> units;
        units.push_back(99);
        EXPECT_TRUE(utf8_to_utf16(c.text, units));
        EXPECT_EQ(units_of(units), c.expected) << c.text;
    }
}

TEST(utf, what_is_invalid_is_skipped_and_reported_once_and_what_does_not_fit_fails) {
    captured_messages_t messages;
    array_dyn_t<uint16_t> units;
    EXPECT_FALSE(utf8_to_utf16("a\xFF"
                               "b\xC3(c",
                               units));
    EXPECT_EQ(units_of(units), (units_t{'a', 'b', '(', 'c', 0}));
    EXPECT_EQ(messages.text(), "E: Encountered invalid code point.\n");
    string_local_t<4> text;
    EXPECT_FALSE(utf16_to_utf8(units_t{'a', 'b', 0x20AC, 'c'}, text));
    EXPECT_EQ(text.view(), "ab");
}

TEST(utf, surrogates_that_do_not_pair_are_reported) {
    const struct {
        units_t units;
        const char *text;
        const char *messages;
        bool valid;
    } cases[] = {
        {{'a', 0xD83D, 0xDE00, 'b'},
         "a\xF0\x9F\x98\x80"
         "b",
         "",
         true},
        {{'a', 0, 'b'}, "a", "", true},
        {{0xD800, 'A'}, "A", "E: Leading surrogate without trailing one found.\n", false},
        {{0xD800, 0, 'A'}, "", "E: Leading surrogate without trailing one found.\n", false},
        {{0xDC00, 'A', 0xDFFF},
         "A",
         "E: Standalone tailing surrogate found.\nE: Standalone tailing surrogate found.\n",
         false},
        {{0xD800, 0xD801, 0xDC00},
         "\xF0\x90\x90\x80",
         "E: Leading surrogate without trailing one found.\n",
         false},
        {{'A', 0xD800}, "A", "E: Input ends with leading surrogate.\n", false},
    };
    for (const auto &c : cases) {
        captured_messages_t messages;
        string_dyn_t text;
        EXPECT_EQ(utf16_to_utf8(c.units, text), c.valid) << c.text;
        EXPECT_EQ(text.view(), c.text);
        EXPECT_EQ(messages.text(), c.messages) << c.text;
    }
}

} // namespace kestrel
