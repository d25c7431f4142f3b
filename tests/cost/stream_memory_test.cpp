// A stream for which there is no memory is reported as such and accepts no item.

#include "tests/cost/work_counter.h"
#include "tests/support/parsed_text.h"

namespace kestrel {

// Whichever allocation of a parse fails, it is either a stream's, or it throws.
TEST(stream_memory, a_stream_that_cannot_be_had_is_named_with_its_size) {
    const std::string position_stream = "E: cannot allocate stream [size 36]\n"
                                        "E: f:30: inconsistent Stream item type/count [ token ')' ]\n";
    int named = 0, thrown = 0;
    for (uint64_t n = 1;; ++n) {
        captured_messages_t captured;
        owner_list_t owners;
        const kim_t *model = nullptr;
        try {
            work_counter_t counter;
            counter.fail_allocation(n);
            model = parse_model_text(one_triangle_model, "f", owners);
        } catch (const std::bad_alloc &) {
            ++thrown;
            continue;
        }
        if (model)
            break;
        EXPECT_TRUE(captured.text().starts_with("E: cannot allocate stream [size ")) << captured.text();
        named += captured.text() == position_stream;
    }
    EXPECT_EQ(named, 1);
    EXPECT_GT(thrown, 10);
}

TEST(stream_memory, a_stream_that_could_not_be_allocated_keeps_its_format_and_takes_no_item) {
    captured_messages_t captured;
    kix_stream_t stream;
    {
        work_counter_t counter;
        counter.fail_allocation(1);
        EXPECT_FALSE(stream.allocate(stream_format_t::string, 0xFFFFFFFF));
    }
    EXPECT_EQ(captured.text(), "E: cannot allocate stream [size 1099511627520]\n");
    EXPECT_EQ(stream.format(), stream_format_t::string);
    EXPECT_EQ(stream.capacity(), 0xFFFFFFFF);
    EXPECT_FALSE(stream.append_item(std::vector<std::byte>(256)));
}

} // namespace kestrel
