#include "kcore/messages/message_system.h"

#include "kcore/core/core.h"
#include "tests/support/captured_messages.h"
#include "tests/support/child_run.h"

#include <gtest/gtest.h>

namespace kestrel {

namespace {

// Notes what it is given and, for texts that it knows, emits others or throws.
class talkative_handler_t final : public listener_t {
  public:
    void handle(const message_t &message) override {
        heard.push_back(std::to_string(static_cast<uint32_t>(message.level)) + " " + message.text.c_str());
        const std::string_view text = message.text.view();
        if (text == "ask two") {
            msg_warning("first answer");
            msg_info("second answer");
        } else if (text == "ask again") {
            msg_info("ask two");
        } else if (text == "throw") {
            throw std::bad_alloc();
        } else if (text.starts_with("[msg]")) {
            msg_info("lost");
        }
    }

    std::vector<std::string> heard;
};

using heard_t = std::vector<std::string>;

} // namespace

TEST(message_system, levels_and_whole_texts_reach_the_handler) {
    msg_error("before there is a system");
    const std::string long_text(100000, 'l');
    talkative_handler_t handler;
    msg_info("%s has %u vertices", "a.kim", 3u);
    msg_warning("%s", long_text.c_str());
    msg_error("e");
    msg_dispatch_variadic(static_cast<message_level_t>(9), "nine");
    EXPECT_EQ(handler.heard, (heard_t{"1 a.kim has 3 vertices", "2 " + long_text, "3 e", "9 nine"}));
}

TEST(message_system, of_what_handlers_emit_the_last_is_delivered_afterwards_and_the_rest_counted) {
    const std::string report = "3 [msg] There were at least 2 more nested messages we had to drop.";
    const struct {
        const char *text;
        heard_t heard;
    } cases[] = {{"ask two", {"3 ask two", "1 second answer"}},
                 // What the report itself provokes is lost without a count.
                 {"ask again", {"3 ask again", "1 ask two", report}},
                 {"throw", {"3 throw"}},
                 {"nothing left over", {"3 nothing left over"}}};
    talkative_handler_t handler;
    for (const auto &c : cases) {
        handler.heard.clear();
        msg_error("%s", c.text);
        EXPECT_EQ(handler.heard, c.heard);
    }
}

TEST(message_system, handlers_are_called_in_order_and_the_last_takes_the_place_of_one_removed) {
    struct numbered_t final : message_handler_t {
        std::string *order = nullptr;
        char number = 0;
        void handle(const message_t &) override { *order += number; }
    };
    std::string order;
    numbered_t handlers[9];
    message_system_t::start();
    for (int i = 0; i < 9; ++i) {
        handlers[i].order = &order;
        handlers[i].number = static_cast<char>('0' + i);
        message_system_t::add_handler(handlers[i]); // the ninth finds the table full
    }
    msg_info("");
    message_system_t::remove_handler(handlers[2]);
    message_system_t::add_handler(handlers[8]);
    msg_info("");
    EXPECT_EQ(order, "01234567"
                     "01734568");
    message_system_t::stop();
}

TEST(console, one_line_a_message_with_prefix_and_stream_by_level) {
    const child_run_t run = run_in_child([] {
        message_system_t::start();
        const console_message_handler_t console(false);
        for (uint32_t level = 0; level <= 4; ++level)
            msg_dispatch_variadic(static_cast<message_level_t>(level), "level %u\r\n", level);
    });
    EXPECT_EQ(run.output, "level 0\r\n\r\nlevel 1\r\n\r\nlevel 4\r\n\r\n");
    EXPECT_EQ(run.errors, "*** WARNING *** : level 2\r\n\r\n*** ERROR *** : level 3\r\n\r\n");
}

// From inside a handler, and when there is no system to write the line.
TEST(fatal, writes_its_line_flushes_both_streams_and_aborts) {
    struct broken_t final : message_handler_t {
        void handle(const message_t &) override {
            msg_info("would be deferred");
            report_fatal({"kcore/some/file", 12, "kestrel::some_t::function"}, "broken: %Iu of %s", size_t{3},
                         "four");
        }
    };
    const child_run_t run = run_in_child([] {
        message_system_t::start();
        const console_message_handler_t console(false);
        broken_t broken;
        message_system_t::add_handler(broken);
        msg_info("before");
    });
    EXPECT_EQ(run.status, abnormal_end_status);
    EXPECT_EQ(run.output, "before\r\n");
    EXPECT_EQ(run.errors,
              "*** ERROR *** : kcore/some/file(12): kestrel::some_t::function: broken: 3 of four\r\n");
    const child_run_t silent = run_in_child([] { report_fatal({"file", 1, "function"}, "text"); });
    EXPECT_EQ(silent.status, abnormal_end_status);
    EXPECT_EQ(silent.errors, "");
}

} // namespace kestrel
