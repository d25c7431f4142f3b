#include "kcore/messages/message_system.h"

#include "kcore/messages/console_message_handler.h"
#include "kcore/messages/fatal.h"
#include "tests/support/captured_messages.h"
#include "tests/support/child_run.h"

#include <gtest/gtest.h>

#include <csignal>
#include <thread>

namespace kestrel {

namespace {

// Notes what it is given and, for texts that it knows, emits others.
class talkative_handler_t final : public message_handler_t {
  public:
    void handle(const message_t &message) override {
        heard.push_back(std::to_string(static_cast<uint32_t>(message.level)) + " " + message.text.c_str());
        const std::string_view text = message.text.view();
        if (text == "ask two") {
            msg_warning("first answer");
            msg_info("second answer");
        } else if (text == "ask again") {
            msg_info("ask two");
        } else if (text.starts_with("[msg]") && answers_the_report) {
            msg_info("lost");
        }
    }

    std::vector<std::string> heard;
    bool answers_the_report = false;
};

class registered_t {
  public:
    explicit registered_t(message_handler_t &handler) : handler_(handler) {
        message_system_t::start();
        message_system_t::add_handler(handler_);
    }
    ~registered_t() {
        message_system_t::remove_handler(handler_);
        message_system_t::stop();
    }

  private:
    message_handler_t &handler_;
};

using heard_t = std::vector<std::string>;

} // namespace

TEST(message_system, levels_and_texts_reach_the_handler) {
    talkative_handler_t handler;
    const registered_t registered(handler);
    msg_info("%s has %u vertices", "a.kim", 3u);
    msg_warning("w");
    msg_error("e");
    msg_dispatch_variadic(static_cast<message_level_t>(9), "nine");
    EXPECT_EQ(handler.heard, (heard_t{"1 a.kim has 3 vertices", "2 w", "3 e", "9 nine"}));
}

TEST(message_system, long_texts_are_not_cut) {
    talkative_handler_t handler;
    const registered_t registered(handler);
    const std::string text(100000, 'l');
    msg_info("%s", text.c_str());
    EXPECT_EQ(handler.heard, (heard_t{"1 " + text}));
}

TEST(message_system, messages_are_dropped_while_there_is_no_system) {
    talkative_handler_t handler;
    msg_error("before");
    {
        const registered_t registered(handler);
        msg_error("meanwhile");
    }
    msg_error("after");
    EXPECT_EQ(handler.heard, (heard_t{"3 meanwhile"}));
}

TEST(message_system, the_last_message_that_a_handler_emits_is_delivered_afterwards) {
    talkative_handler_t handler;
    const registered_t registered(handler);
    msg_error("ask two");
    EXPECT_EQ(handler.heard, (heard_t{"3 ask two", "1 second answer"}));
}

TEST(message_system, messages_emitted_during_the_deferred_one_are_counted_and_reported) {
    const std::string report = "3 [msg] There were at least 2 more nested messages we had to drop.";
    talkative_handler_t handler;
    const registered_t registered(handler);
    msg_info("ask again");
    EXPECT_EQ(handler.heard, (heard_t{"1 ask again", "1 ask two", report}));

    // What the report itself provokes is lost without a count.
    handler.heard.clear();
    handler.answers_the_report = true;
    msg_info("ask again");
    EXPECT_EQ(handler.heard, (heard_t{"1 ask again", "1 ask two", report}));

    handler.heard.clear();
    msg_info("nothing left over");
    EXPECT_EQ(handler.heard, (heard_t{"1 nothing left over"}));
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
    EXPECT_EQ(order, "01234567");
    order.clear();
    message_system_t::remove_handler(handlers[2]);
    msg_info("");
    EXPECT_EQ(order, "0173456");
    order.clear();
    message_system_t::add_handler(handlers[8]);
    msg_info("");
    EXPECT_EQ(order, "01734568");
    message_system_t::stop();
}

TEST(message_system, threads_take_turns) {
    constexpr int thread_count = 4, rounds = 200;
    talkative_handler_t handler;
    const registered_t registered(handler);
    std::vector<std::thread> threads;
    for (int t = 0; t < thread_count; ++t)
        threads.emplace_back([] {
            for (int i = 0; i < rounds; ++i)
                msg_warning("ask two");
        });
    for (std::thread &thread : threads)
        thread.join();
    ASSERT_EQ(handler.heard.size(), size_t{2} * thread_count * rounds);
    for (size_t i = 0; i < handler.heard.size(); i += 2) {
        ASSERT_EQ(handler.heard[i], "2 ask two");
        ASSERT_EQ(handler.heard[i + 1], "1 second answer");
    }
}

TEST(message_system, removing_a_handler_that_is_not_there_is_fatal) {
    const child_run_t run = run_in_child([] {
        message_system_t::start();
        const console_message_handler_t console(false);
        talkative_handler_t stranger;
        message_system_t::remove_handler(stranger);
    });
    EXPECT_EQ(run.status, 128 + SIGABRT);
    EXPECT_TRUE(run.errors.starts_with("*** ERROR *** : kcore/collections/array(")) << run.errors;
    EXPECT_NE(run.errors.find(": Iterator outside array boundaries: 0x"), std::string::npos) << run.errors;
}

TEST(console, one_line_a_message_with_prefix_and_stream_by_level) {
    const child_run_t run = run_in_child([] {
        message_system_t::start();
        const console_message_handler_t console(false);
        msg_info("info");
        msg_warning("warning");
        msg_error("cannot parse %s", "a.kim");
        msg_info("ends its own line\r\n");
        msg_dispatch_variadic(static_cast<message_level_t>(0), "level 0");
        msg_dispatch_variadic(static_cast<message_level_t>(4), "level 4");
    });
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.output, "info\r\nends its own line\r\n\r\nlevel 0\r\nlevel 4\r\n");
    EXPECT_EQ(run.errors, "*** WARNING *** : warning\r\n*** ERROR *** : cannot parse a.kim\r\n");
}

TEST(fatal, writes_its_line_flushes_both_streams_and_aborts) {
    const child_run_t run = run_in_child([] {
        message_system_t::start();
        const console_message_handler_t console(false);
        msg_info("before");
        report_fatal({"kcore/some/file", 12, "kestrel::some_t::function"}, "broken: %Iu of %s", size_t{3},
                     "four");
    });
    EXPECT_EQ(run.status, 128 + SIGABRT);
    EXPECT_EQ(run.output, "before\r\n");
    EXPECT_EQ(run.errors,
              "*** ERROR *** : kcore/some/file(12): kestrel::some_t::function: broken: 3 of four\r\n");
}

TEST(fatal, writes_its_line_also_from_inside_a_handler) {
    struct broken_t final : message_handler_t {
        void handle(const message_t &) override {
            msg_info("would be deferred");
            report_fatal({"file", 1, "function"}, "broken handler");
        }
    };
    const child_run_t run = run_in_child([] {
        message_system_t::start();
        const console_message_handler_t console(false);
        broken_t broken;
        message_system_t::add_handler(broken);
        msg_info("hello");
    });
    EXPECT_EQ(run.status, 128 + SIGABRT);
    EXPECT_EQ(run.output, "hello\r\n");
    EXPECT_EQ(run.errors, "*** ERROR *** : file(1): function: broken handler\r\n");
}

TEST(fatal, aborts_silently_without_a_message_system) {
    const child_run_t run = run_in_child([] { report_fatal({"file", 1, "function"}, "text"); });
    EXPECT_EQ(run.status, 128 + SIGABRT);
    EXPECT_EQ(run.errors, "");
}

} // namespace kestrel
