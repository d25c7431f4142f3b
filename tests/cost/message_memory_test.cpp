// Messages of several sizes while no allocation succeeds.

#include "kcore/messages/message_system.h"
#include "tests/cost/work_counter.h"

#include <gtest/gtest.h>

namespace kestrel {

namespace {

// Notes what it hears without allocating, and answers the first message with one of the same text.
class noting_handler_t final : public message_handler_t {
  public:
    void handle(const message_t &message) override {
        if (heard == std::size(lengths))
            return;
        lengths[heard++] = message.text.length();
        if (heard == 1)
            msg_warning("%s", message.text.c_str());
    }
    size_t lengths[4] = {};
    size_t heard = 0;
};

} // namespace

TEST(message_memory, a_text_that_no_memory_can_be_had_for_is_cut_and_the_next_one_is_whole) {
    for (const size_t length : {size_t{10}, size_t{1023}, size_t{1024}, size_t{1000000}})
        for (uint64_t failing = 1; failing <= 4; ++failing) {
            const std::string text(length, 'm');
            noting_handler_t handler;
            message_system_t::start();
            message_system_t::add_handler(handler);
            {
                work_counter_t counter;
                counter.fail_allocation(failing);
                msg_error("%s", text.c_str());
                EXPECT_TRUE(length > 1023 || counter.work().allocations == 0) << length;
            }
            msg_error("%s", text.c_str());
            message_system_t::remove_handler(handler);
            message_system_t::stop();
            // The message, its nested answer, the next one.
            ASSERT_EQ(handler.heard, 3u) << length;
            EXPECT_EQ(handler.lengths[0], failing == 1 ? std::min<size_t>(length, 1023) : length);
            EXPECT_GE(handler.lengths[1], std::min<size_t>(length, 1023));
            EXPECT_EQ(handler.lengths[2], length);
        }
}

} // namespace kestrel
