#include "kcore/core/core.h"
#include "kcore/strings/string.h"
#include "tests/support/child_run.h"

#include <gtest/gtest.h>

#include <functional>

namespace kestrel {

namespace {

// A string with room for seven bytes and one that grows, under one name.
template <class F>
void for_a_fixed_and_a_growing_string(F test) {
    string_local_t<8> fixed;
    string_dyn_t growing;
    test(fixed, false);
    test(growing, true);
}

bool format_variadic(mstring_t &text, uint32_t position, const char *format, ...) {
    va_list arguments;
    va_start(arguments, format);
    const bool whole = text.format_at(position, format, arguments);
    va_end(arguments);
    return whole;
}

constexpr uint32_t to_the_end = UINT32_MAX;
const std::string unprintable_format = std::string(max_own_format_length, 'x') + "%p";

} // namespace

TEST(strings, a_growing_string_keeps_all_and_a_fixed_one_the_longest_prefix) {
    using operation_t = std::function<bool(mstring_t &)>;
    const string_dyn_t other("0123456789");
    const struct {
        operation_t operation;
        const char *whole;
    } cases[] = {
        {[](mstring_t &t) { return t.assign("abcdefgh"); }, "abcdefgh"},
        {[](mstring_t &t) { return t.assign("abcdefg"); }, "abcdefg"},
        {[](mstring_t &t) { return t.assign(static_cast<const char *>(nullptr)); }, ""},
        {[](mstring_t &t) { return t.append("cd"); }, "oldcd"},
        {[](mstring_t &t) { return t.append("12345"); }, "old12345"},
        {[](mstring_t &t) { return t.append(t.view()) && t.append(t.view()); }, "oldoldoldold"},
        {[](mstring_t &t) { return t.assign(t) && t.assign(t.c_str()); }, "old"},
        {[](mstring_t &t) { return t.write_at(1, "ther"); }, "other"},
        {[](mstring_t &t) { return t.write_at(2, "123456"); }, "ol123456"},
        {[](mstring_t &t) { return t.write_at(2, ""); }, "ol"},
        {[](mstring_t &t) { return t.write_at(3, std::string_view("/a\0b", 4)); }, "old/a"},
        {[&](mstring_t &t) { return t.assign_range(other, 6, to_the_end); }, "6789"},
        {[&](mstring_t &t) { return t.assign_range(other, 1, to_the_end); }, "123456789"},
        {[&](mstring_t &t) { return t.assign_range(other, 2, 5); }, "234"},
        {[&](mstring_t &t) { return t.assign_range(other, 9, 6); }, ""},
        {[&](mstring_t &t) { return t.assign_range(other, 10, to_the_end); }, ""},
        {[](mstring_t &t) { return t.assign_range(t, 1, to_the_end); }, "ld"},
        {[](mstring_t &t) { return t.assign_formatted("%s(%u)", "src", 12u); }, "src(12)"},
        {[](mstring_t &t) { return t.assign_formatted("%s(%u)", "src", 123u); }, "src(123)"},
        {[](mstring_t &t) { return t.append_formatted("%s%d", "-", -1); }, "old--1"},
        {[](mstring_t &t) { return t.append_formatted("%s", "12345"); }, "old12345"},
        {[](mstring_t &t) { return t.assign_formatted("%s", ""); }, ""},
        // A format that cannot be printed cuts at its position.
        {[](mstring_t &t) { return !format_variadic(t, 2, unprintable_format.c_str(), nullptr); }, "ol"},
    };
    for (const auto &c : cases)
        for_a_fixed_and_a_growing_string([&](mstring_t &text, bool grows) {
            text.assign("old");
            const std::string_view whole = c.whole;
            EXPECT_EQ(c.operation(text), grows || whole.size() <= 7) << whole;
            EXPECT_EQ(text.view(), grows ? whole : whole.substr(0, 7));
            EXPECT_EQ(text.c_str()[text.length()], '\0');
        });
}

TEST(strings, capacities_grow_by_doubling_in_multiples_of_sixteen) {
    string_dyn_t text;
    const struct {
        uint64_t wanted;
        uint32_t capacity;
    } cases[] = {{0, 0}, {20, 32}, {32, 32}, {33, 64}, {200, 208}, {209, 416}};
    for (const auto &c : cases)
        EXPECT_EQ(text.reserve(c.wanted), c.capacity);
    EXPECT_STREQ(text.c_str(), "");
    text.assign("abc");
    EXPECT_THROW(text.reserve(uint64_t{1} << 32), std::bad_alloc);
    EXPECT_EQ(text.view(), "abc");
    for_a_fixed_and_a_growing_string([](mstring_t &string, bool grows) {
        EXPECT_EQ(string.can_grow(), grows);
        EXPECT_EQ(string.reserve(100), grows ? 112u : 8u);
        string.assign("text");
        string.release_storage();
        EXPECT_STREQ(string.c_str(), "");
        EXPECT_EQ(string.capacity(), grows ? 0u : 8u);
        EXPECT_TRUE(string.append("more"));
    });
}

TEST(strings, own_conversions_of_the_program) {
    string_dyn_t text;
    const auto pointer = reinterpret_cast<const void *>(uintptr_t{0xAB01});
    EXPECT_TRUE(
        text.assign_formatted("0x%p|%03Iu|%%Iu|%08x|%I64u%%", pointer, size_t{7}, 0x1Fu, uint64_t{1} << 63));
    EXPECT_EQ(text.view(), "0x000000000000AB01|007|%Iu|0000001f|9223372036854775808%");
    // The longest that is translated, and one byte more.
    std::string format(max_own_format_length - 2, 'x');
    EXPECT_TRUE(format_variadic(text, 0, (format + "%p").c_str(), pointer));
    EXPECT_EQ(text.view(), format + "000000000000AB01");
    EXPECT_FALSE(format_variadic(text, 1, ("x" + format + "%p").c_str(), pointer));
    EXPECT_EQ(text.view(), "x");
}

TEST(strings, code_points_are_appended_whole_or_not_at_all) {
    const struct {
        uint32_t code_point;
        std::string expected;
        bool taken = true;
    } cases[] = {{0, ""},
                 {0x7F, "\x7F"},
                 {0x80, "\xC2\x80"},
                 {0x7FF, "\xDF\xBF"},
                 {0x800, "\xE0\xA0\x80"},
                 {0x20AC, "\xE2\x82\xAC"},
                 {0xFFFF, "\xEF\xBF\xBF"},
                 {0x1F600, "\xF0\x9F\x98\x80"},
                 {0x1FFFFF, "\xF7\xBF\xBF\xBF"},
                 {0x200000, "", false}};
    for (const auto &c : cases) {
        string_dyn_t text;
        EXPECT_EQ(text.append_code_point(c.code_point), c.taken) << c.code_point;
        EXPECT_EQ(text.view(), c.expected) << c.code_point;
    }
    string_local_t<4> full("ab");
    EXPECT_FALSE(full.append_code_point(0x80));
    EXPECT_TRUE(full.append_code_point('c'));
    EXPECT_FALSE(full.append_code_point('d'));
    EXPECT_EQ(full.view(), "abc");
}

TEST(strings, searching_sets_of_characters) {
    const string_dyn_t path("/a\\b/c.kim");
    EXPECT_EQ(path.find_last_of(path_separators), 4);
    EXPECT_EQ(path.find_last_of("xyz"), -1);
    const string_dyn_t blanks(" \t text \r\n\f");
    EXPECT_EQ(blanks.find_first_not_of(blank_characters, 0), 3);
    EXPECT_EQ(blanks.find_first_not_of(blank_characters, 7), -1);
    EXPECT_EQ(blanks.find_last_not_of(blank_characters, UINT32_MAX), 6);
    EXPECT_EQ(blanks.find_last_not_of(blank_characters, 2), -1);
}

TEST(strings, a_byte_beyond_the_terminating_nul_is_fatal) {
    const string_dyn_t text("ab");
    EXPECT_EQ(text.get_character_byte(2), '\0');
    const child_run_t run = run_in_child([&] {
        core_initialize();
        (void)text.get_character_byte(3);
    });
    EXPECT_EQ(run.status, abnormal_end_status);
    EXPECT_TRUE(run.errors.starts_with("*** ERROR *** : kcore/strings/strings_mutable(")) << run.errors;
    EXPECT_TRUE(
        run.errors.ends_with("): kestrel::mstring_t::get_character_byte: mstring_t bounds check failed.\r\n"))
        << run.errors;
}

} // namespace kestrel
