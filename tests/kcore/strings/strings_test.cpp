#include "kcore/core/core.h"
#include "kcore/strings/string_dyn.h"
#include "kcore/strings/string_local.h"
#include "tests/support/child_run.h"

#include <gtest/gtest.h>

#include <csignal>

namespace kestrel {

TEST(strings, a_growing_string_keeps_all_and_a_fixed_one_the_longest_prefix) {
    const std::string text(300, 'x');
    string_dyn_t growing;
    EXPECT_TRUE(growing.assign(text));
    EXPECT_EQ(growing.view(), text);

    string_local_t<256> fixed;
    EXPECT_FALSE(fixed.assign(text));
    EXPECT_EQ(fixed.view(), text.substr(0, 255));
    EXPECT_EQ(fixed.c_str()[255], '\0');
    EXPECT_TRUE(fixed.assign(std::string(255, 'y')));
    EXPECT_FALSE(fixed.append("z"));
    EXPECT_EQ(fixed.length(), 255u);
}

TEST(strings, capacities_grow_by_doubling_in_multiples_of_sixteen) {
    string_dyn_t text;
    EXPECT_EQ(text.capacity(), 0u);
    EXPECT_EQ(text.reserve(20), 32u);
    EXPECT_EQ(text.reserve(32), 32u);
    EXPECT_EQ(text.reserve(33), 64u);
    EXPECT_EQ(text.reserve(200), 208u);
    EXPECT_EQ(text.reserve(209), 416u);
    EXPECT_STREQ(text.c_str(), "");

    string_local_t<8> fixed;
    EXPECT_EQ(fixed.reserve(100), 8u);
    EXPECT_FALSE(fixed.can_grow());
    EXPECT_TRUE(text.can_grow());
}

TEST(strings, a_growth_beyond_32_bits_is_refused_and_changes_nothing) {
    string_dyn_t text("abc");
    EXPECT_THROW(text.reserve(uint64_t{1} << 32), std::bad_alloc);
    EXPECT_EQ(text.view(), "abc");
}

TEST(strings, releasing_the_storage_empties) {
    string_dyn_t growing("text");
    growing.release_storage();
    EXPECT_EQ(growing.capacity(), 0u);
    EXPECT_STREQ(growing.c_str(), "");
    EXPECT_TRUE(growing.append("more"));
    EXPECT_EQ(growing.view(), "more");

    string_local_t<8> fixed("text");
    fixed.release_storage();
    EXPECT_STREQ(fixed.c_str(), "");
}

TEST(strings, assigning_null_or_itself) {
    string_dyn_t text("itself");
    EXPECT_TRUE(text.assign(text));
    EXPECT_TRUE(text.assign(text.c_str()));
    EXPECT_EQ(text.view(), "itself");
    EXPECT_TRUE(text.assign(static_cast<const char *>(nullptr)));
    EXPECT_TRUE(text.empty());
}

TEST(strings, appending_itself_survives_the_growth) {
    string_dyn_t text("0123456789abcdef");
    for (int i = 0; i < 6; ++i)
        ASSERT_TRUE(text.append(text.view()));
    ASSERT_EQ(text.length(), 16u * 64);
    for (uint32_t i = 0; i < text.length(); ++i)
        ASSERT_EQ(text.view()[i], "0123456789abcdef"[i % 16]);
}

TEST(strings, ranges_of_another_string) {
    constexpr uint32_t to_the_end = UINT32_MAX;
    const string_dyn_t source("model/cab.kim");
    const struct {
        uint32_t from, to;
        const char *expected;
    } cases[] = {{0, 5, "model"},      {6, to_the_end, "cab.kim"}, {6, 9, "cab"}, {12, 99, "m"},
                 {13, to_the_end, ""}, {99, to_the_end, ""},       {5, 5, ""},    {9, 6, ""}};
    for (const auto &c : cases) {
        string_local_t<256> range("old");
        EXPECT_TRUE(range.assign_range(source, c.from, c.to));
        EXPECT_EQ(range.view(), c.expected) << c.from << " " << c.to;
    }
    string_dyn_t own("model/cab.kim");
    EXPECT_TRUE(own.assign_range(own, 6, to_the_end));
    EXPECT_EQ(own.view(), "cab.kim");
}

TEST(strings, writing_at_a_position_replaces_the_rest) {
    string_dyn_t text("base/old/name");
    EXPECT_TRUE(text.write_at(5, "new"));
    EXPECT_EQ(text.view(), "base/new");
    EXPECT_TRUE(text.write_at(4, ""));
    EXPECT_EQ(text.view(), "base");
    EXPECT_TRUE(text.write_at(4, std::string_view("/a\0b", 4)));
    EXPECT_EQ(text.view(), "base/a");

    string_local_t<8> fixed("abcdef");
    EXPECT_FALSE(fixed.write_at(3, "123456"));
    EXPECT_EQ(fixed.view(), "abc1234");
}

TEST(strings, formatting_at_a_position) {
    string_dyn_t text;
    EXPECT_TRUE(text.assign_formatted("%s(%u)", "source", 12u));
    EXPECT_EQ(text.view(), "source(12)");
    EXPECT_EQ(text.capacity(), 16u);
    EXPECT_TRUE(text.append_formatted(": %d of %Iu, %I64u", -1, size_t{2}, ~uint64_t{0}));
    EXPECT_EQ(text.view(), "source(12): -1 of 2, 18446744073709551615");
    EXPECT_TRUE(text.assign_formatted("%s", ""));
    EXPECT_TRUE(text.empty());
}

TEST(strings, formatted_text_that_does_not_fit_is_cut) {
    const std::string half(200, 'h');
    string_local_t<256> fixed;
    EXPECT_FALSE(fixed.assign_formatted("%s/%s", half.c_str(), half.c_str()));
    EXPECT_EQ(fixed.view(), (half + "/" + half).substr(0, 255));
    // 255 characters fit exactly.
    EXPECT_TRUE(fixed.assign_formatted("%s%s", half.c_str(), half.substr(0, 55).c_str()));
    EXPECT_EQ(fixed.length(), 255u);
    EXPECT_FALSE(fixed.append_formatted("%s", "x"));
    EXPECT_EQ(fixed.length(), 255u);
}

static bool format_variadic(mstring_t &text, uint32_t position, const char *format, ...) {
    va_list arguments;
    va_start(arguments, format);
    const bool whole = text.format_at(position, format, arguments);
    va_end(arguments);
    return whole;
}

TEST(strings, a_bad_format_cuts_at_its_position) {
    const char *const bad = "%d%99999999999d"; // no field can be so wide
    string_dyn_t growing("keep this");
    EXPECT_FALSE(format_variadic(growing, 4, bad, 1, 2));
    EXPECT_EQ(growing.view(), "keep");
    EXPECT_STREQ(growing.c_str(), "keep");
    string_local_t<16> fixed("keep this");
    EXPECT_FALSE(format_variadic(fixed, 4, bad, 1, 2));
    EXPECT_STREQ(fixed.c_str(), "keep");
    string_dyn_t empty;
    EXPECT_FALSE(format_variadic(empty, 0, bad, 1, 2));
    EXPECT_STREQ(empty.c_str(), "");
}

TEST(strings, own_conversions_of_the_program) {
    string_dyn_t text;
    const auto pointer = reinterpret_cast<const void *>(uintptr_t{0xAB01});
    EXPECT_TRUE(
        text.assign_formatted("0x%p|%03Iu|%%Iu|%08x|%I64u%%", pointer, size_t{7}, 0x1Fu, uint64_t{1} << 63));
    EXPECT_EQ(text.view(), "0x000000000000AB01|007|%Iu|0000001f|9223372036854775808%");
}

TEST(strings, code_points_are_appended_whole_or_not_at_all) {
    const struct {
        uint32_t code_point;
        std::string expected;
        bool taken;
    } cases[] = {{0, "", true},
                 {'A', "A", true},
                 {0x7F, "\x7F", true},
                 {0x80, "\xC2\x80", true},
                 {0x7FF, "\xDF\xBF", true},
                 {0x800, "\xE0\xA0\x80", true},
                 {0x20AC, "\xE2\x82\xAC", true},
                 {0xFFFF, "\xEF\xBF\xBF", true},
                 {0x1F600, "\xF0\x9F\x98\x80", true},
                 {0x1FFFFF, "\xF7\xBF\xBF\xBF", true},
                 {0x200000, "", false}};
    for (const auto &c : cases) {
        string_dyn_t text;
        EXPECT_EQ(text.append_code_point(c.code_point), c.taken) << c.code_point;
        EXPECT_EQ(text.view(), c.expected) << c.code_point;
    }
    string_local_t<4> full("ab");
    EXPECT_FALSE(full.append_code_point(0x80));
    EXPECT_EQ(full.view(), "ab");
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
    EXPECT_EQ(text.get_character_byte(1), 'b');
    EXPECT_EQ(text.get_character_byte(2), '\0');
    const child_run_t run = run_in_child([&] {
        core_initialize();
        (void)text.get_character_byte(3);
    });
    EXPECT_EQ(run.status, 128 + SIGABRT);
    EXPECT_TRUE(run.errors.starts_with("*** ERROR *** : kcore/strings/strings_mutable(")) << run.errors;
    EXPECT_TRUE(
        run.errors.ends_with("): kestrel::mstring_t::get_character_byte: mstring_t bounds check failed.\r\n"))
        << run.errors;
}

TEST(strings, moving_and_swapping) {
    string_dyn_t a("first");
    string_dyn_t b(std::move(a));
    EXPECT_EQ(b.view(), "first");
    string_dyn_t c("second");
    c = std::move(b);
    EXPECT_EQ(c.view(), "first");
    string_local_t<16> local("copied"), copy(local);
    EXPECT_NE(local.c_str(), copy.c_str());
    EXPECT_EQ(copy.view(), "copied");
}

} // namespace kestrel
