#include "kcore/collections/array.h"

#include "kcore/core/core.h"
#include "kcore/strings/string.h"
#include "tests/support/child_run.h"

#include <gtest/gtest.h>

#include <memory>

namespace kestrel {

TEST(array, capacity_doubles_until_it_suffices_and_starts_with_the_request) {
    constexpr size_t most = static_cast<size_t>(PTRDIFF_MAX);
    const struct {
        size_t current, wanted, element_size, expected;
    } cases[] = {{0, 1, 8, 1},
                 {0, 37, 8, 37},
                 {4, 5, 8, 8},
                 {3, 13, 8, 24},
                 {1, 1000, 1, 1024},
                 {0, most, 1, most},
                 {0, most / 8, 8, most / 8}};
    for (const auto &c : cases)
        EXPECT_EQ(grown_capacity(c.current, c.wanted, c.element_size), c.expected)
            << c.current << " " << c.wanted;
    EXPECT_THROW(grown_capacity(0, most / 8 + 1, 8), std::bad_alloc);
    EXPECT_THROW(grown_capacity(16, SIZE_MAX, 1), std::bad_alloc);
}

TEST(array, a_growth_that_cannot_be_had_changes_nothing) {
    array_dyn_t<uint64_t> items;
    items.push_back(7);
    for (volatile size_t wanted : {SIZE_MAX / 16, SIZE_MAX / 8, SIZE_MAX}) {
        EXPECT_THROW(items.reserve(wanted), std::bad_alloc);
        EXPECT_THROW(items.resize(wanted), std::bad_alloc);
    }
    ASSERT_EQ(items.size(), 1u);
    EXPECT_EQ(items[0], 7u);

    array_local_t<int, 2> full;
    EXPECT_TRUE(full.push_back(1));
    EXPECT_TRUE(full.push_back(2));
    EXPECT_FALSE(full.push_back(3));
    EXPECT_EQ(full.size(), 2u);
    EXPECT_EQ(full.back(), 2);
}

TEST(array, elements_that_own_are_moved_and_destroyed_once) {
    const auto token = std::make_shared<int>(1);
    {
        array_dyn_t<std::shared_ptr<int>> items;
        for (int i = 0; i < 100; ++i)
            items.push_back(token);
        EXPECT_EQ(token.use_count(), 101);
        items.erase(0);
        items.erase_unordered(3);
        items.pop_back();
        EXPECT_EQ(token.use_count(), 98);
        items.shrink(10);
        EXPECT_EQ(token.use_count(), 11);
        array_dyn_t<std::shared_ptr<int>> other;
        other.push_back(token);
        other = std::move(items);
        EXPECT_EQ(token.use_count(), 11);
        EXPECT_TRUE(items.empty());
        array_local_t<std::shared_ptr<int>, 3> local;
        local.push_back(token);
        EXPECT_EQ(token.use_count(), 12);
    }
    EXPECT_EQ(token.use_count(), 1);
}

TEST(array, own_elements_can_be_added_while_it_grows) {
    array_dyn_t<string_dyn_t> texts;
    texts.emplace_back("a text of some length");
    while (texts.size() != texts.capacity())
        texts.emplace_back("");
    texts.emplace_back(texts[0].view());
    EXPECT_EQ(texts.back().view(), "a text of some length");

    array_dyn_t<int> numbers;
    const int first[] = {1, 2, 3};
    numbers.append(first);
    for (int i = 0; i < 8; ++i)
        numbers.append(numbers.items());
    ASSERT_EQ(numbers.size(), 768u);
    for (size_t i = 0; i < numbers.size(); ++i)
        ASSERT_EQ(numbers[i], first[i % 3]);
}

TEST(array, checks_that_fail_are_fatal_and_say_what_was_asked) {
    const struct {
        std::function<void(array_dyn_t<int> &)> code;
        const char *ending;
    } cases[] = {
        {[](auto &items) { (void)items[3]; }, "Index outside array boundaries: 3 >= 3"},
        {[](auto &items) { items.erase(7); }, "Index outside array boundaries: 7 >= 3"},
        {[](auto &items) { items.clear(), (void)items.back(); },
         "Index outside array boundaries: 18446744073709551615 >= 0"},
        {[](auto &) {
             const auto at = [](uintptr_t address) { return reinterpret_cast<const void *>(address); };
             fail_pointer_check(at(0x1F), at(0xA0), at(0xB0));
         },
         "Iterator outside array boundaries: 0x000000000000001F <> [0x00000000000000A0, 0x00000000000000B0)"},
    };
    for (const auto &c : cases) {
        const child_run_t run = run_in_child([&] {
            core_initialize();
            array_dyn_t<int> items;
            items.resize(3);
            c.code(items);
        });
        EXPECT_EQ(run.status, abnormal_end_status) << c.ending;
        EXPECT_TRUE(run.errors.starts_with("*** ERROR *** : kcore/collections/array(")) << run.errors;
        EXPECT_TRUE(run.errors.ends_with(std::string(": ") + c.ending + "\r\n")) << run.errors;
    }
}

} // namespace kestrel
