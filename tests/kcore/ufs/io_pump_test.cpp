#include "kcore/ufs/io_pump.h"

#include "tests/support/fake_platform.h"

#include <gtest/gtest.h>

#include <array>
#include <thread>

namespace kestrel {

namespace {

class io_pump : public testing::Test {
  protected:
    io_pump() {
        platform_.add_file("/file", "0123456789");
        handle_ = platform_.open("/file", fs_open_mode_t::create_or_read_write);
        platform_.take_calls();
    }
    fs_request_t *read(uint64_t position, size_t count, const fs_request_options_t &options = {}) {
        return pump_.read(handle_, std::span(buffers_[next_++]).first(count), position, options);
    }
    bool wait(fs_request_t *request) { return pump_.complete(*request); }

    fake_platform_t platform_;
    fs_handle_t handle_ = fs_handle_t::invalid;
    std::array<std::array<std::byte, 16>, 64> buffers_{};
    size_t next_ = 0;
    fs_io_pump_t pump_{platform_};
};

char text_at(const std::array<std::byte, 16> &buffer, size_t i) {
    return static_cast<char>(buffer[i]);
}

} // namespace

TEST_F(io_pump, a_transfer_that_is_waited_for_is_done_at_once) {
    fs_request_t *const request = read(2, 3, {.caller_waits = true});
    ASSERT_TRUE(request);
    EXPECT_TRUE(fs_io_pump_t::finished(*request));
    EXPECT_EQ(request->state, fs_request_state_t::done);
    EXPECT_EQ(text_at(buffers_[0], 0), '2');
    EXPECT_TRUE(wait(request));
    // The record is used again.
    fs_request_t *const other = read(0, 1, {.caller_waits = true});
    EXPECT_EQ(other, request);
    EXPECT_TRUE(wait(other));
}

TEST_F(io_pump, a_transfer_succeeds_with_its_whole_byte_count_only) {
    const struct {
        uint64_t position;
        size_t count;
        bool success;
    } cases[] = {{0, 10, true}, {5, 5, true}, {5, 6, false}, {10, 1, false}, {99, 1, false}};
    for (const auto &c : cases)
        for (const bool waits : {true, false})
            EXPECT_EQ(wait(read(c.position, c.count, {.caller_waits = waits})), c.success) << c.position;
    platform_.fail("read /file 1+");
    EXPECT_FALSE(wait(read(1, 1)));
    EXPECT_TRUE(wait(read(2, 1)));
}

TEST_F(io_pump, states_go_from_queued_over_in_flight_to_done) {
    platform_.hold_transfers();
    fs_request_t *requests[fs_io_pump_t::max_in_flight + 2];
    for (size_t i = 0; i < std::size(requests); ++i)
        ASSERT_TRUE(requests[i] = read(i, 1));
    platform_.wait_for_held_transfers(fs_io_pump_t::max_in_flight);
    for (size_t i = 0; i < std::size(requests); ++i) {
        EXPECT_FALSE(fs_io_pump_t::finished(*requests[i]));
        EXPECT_EQ(requests[i]->state, i < fs_io_pump_t::max_in_flight ? fs_request_state_t::in_flight
                                                                      : fs_request_state_t::queued);
    }
    platform_.let_transfers_go();
    for (size_t i = 0; i < std::size(requests); ++i) {
        EXPECT_TRUE(wait(requests[i]));
        EXPECT_EQ(text_at(buffers_[i], 0), static_cast<char>('0' + i));
    }
    EXPECT_EQ(platform_.most_transfers_at_once(), fs_io_pump_t::max_in_flight);
}

TEST_F(io_pump, a_waiting_caller_does_not_overtake_what_is_queued) {
    platform_.hold_transfers();
    std::vector<fs_request_t *> requests;
    for (size_t i = 0; i < fs_io_pump_t::max_in_flight + 1; ++i)
        requests.push_back(read(0, 1));
    platform_.wait_for_held_transfers(fs_io_pump_t::max_in_flight);
    requests.push_back(read(7, 2, {.caller_waits = true}));
    EXPECT_EQ(requests.back()->state, fs_request_state_t::queued);
    platform_.let_transfers_go();
    for (fs_request_t *request : requests)
        EXPECT_TRUE(wait(request));
}

TEST_F(io_pump, the_callback_comes_after_done_and_before_the_waiter) {
    struct noted_t {
        std::atomic<int> calls = 0;
        fs_request_state_t state{};
        bool success = false;
        fs_request_t *request = nullptr;
    };
    for (const bool waits : {true, false}) {
        noted_t noted;
        fs_request_t *const request = read(0, 1,
                                           {.caller_waits = waits,
                                            .callback =
                                                [](fs_request_t &done, void *context) {
                                                    auto &note = *static_cast<noted_t *>(context);
                                                    note.state = done.state;
                                                    note.success = done.success;
                                                    note.request = &done;
                                                    ++note.calls;
                                                },
                                            .context = &noted});
        EXPECT_TRUE(wait(request));
        EXPECT_EQ(noted.calls, 1);
        EXPECT_EQ(noted.state, fs_request_state_t::done);
        EXPECT_TRUE(noted.success);
        EXPECT_EQ(noted.request, request);
    }
}

TEST_F(io_pump, polling_sees_the_end_without_waiting) {
    platform_.hold_transfers();
    fs_request_t *const request = read(0, 1);
    EXPECT_FALSE(fs_io_pump_t::finished(*request));
    platform_.let_transfers_go();
    while (!fs_io_pump_t::finished(*request))
        std::this_thread::yield();
    EXPECT_TRUE(wait(request));
}

TEST_F(io_pump, stopping_ends_what_is_queued_without_success_and_what_flies_normally) {
    platform_.hold_transfers();
    std::array<fs_request_t *, fs_io_pump_t::max_in_flight + 5> requests;
    for (fs_request_t *&request : requests)
        ASSERT_TRUE(request = read(1, 1));
    platform_.wait_for_held_transfers(fs_io_pump_t::max_in_flight);
    std::thread stopper([this] { pump_.stop(); });
    // The queued ones end while the others are still held.
    for (size_t i = fs_io_pump_t::max_in_flight; i < requests.size(); ++i)
        EXPECT_FALSE(wait(requests[i]));
    platform_.let_transfers_go();
    stopper.join();
    for (size_t i = 0; i < fs_io_pump_t::max_in_flight; ++i)
        EXPECT_TRUE(wait(requests[i]));
    // Nothing moves any more.
    EXPECT_FALSE(wait(read(0, 1)));
    EXPECT_FALSE(wait(read(0, 1, {.caller_waits = true})));
    pump_.stop();
}

TEST_F(io_pump, many_threads_share_it) {
    constexpr int thread_count = 6, rounds = 300;
    platform_.limit_transfers(3);
    std::vector<std::thread> threads;
    std::atomic<int> callbacks = 0;
    for (int t = 0; t < thread_count; ++t)
        threads.emplace_back([&, t] {
            std::array<std::byte, 10> first, second;
            for (int i = 0; i < rounds; ++i) {
                const bool waits = (i + t) % 3 == 0;
                const auto count = [](fs_request_t &, void *counter) {
                    ++*static_cast<std::atomic<int> *>(counter);
                };
                fs_request_t *const a = pump_.read(
                    handle_, first, 0, {.caller_waits = waits, .callback = count, .context = &callbacks});
                fs_request_t *const b = pump_.read(handle_, second, 0, {});
                ASSERT_TRUE(pump_.complete(*b));
                ASSERT_TRUE(pump_.complete(*a));
                ASSERT_EQ(static_cast<char>(first[9]), '9');
                ASSERT_EQ(static_cast<char>(second[0]), '0');
            }
        });
    for (std::thread &thread : threads)
        thread.join();
    EXPECT_EQ(callbacks, thread_count * rounds);
    EXPECT_LE(platform_.most_transfers_at_once(), fs_io_pump_t::max_in_flight);
}

} // namespace kestrel
