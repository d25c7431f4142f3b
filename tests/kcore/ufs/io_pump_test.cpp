#include "kcore/ufs/io_pump.h"

#include "kcore/ufs/sysfs_file.h"
#include "tests/support/captured_messages.h"
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
        platform_.open("/file", fs_open_mode_t::create_or_read_write, handle_);
        platform_.take_calls();
    }
    fs_request_t read(uint64_t position, size_t count, const fs_callback_t &callback = {}) {
        const std::span into = std::span(buffers_[next_++]).first(count);
        return pump_.ask(handle_, {.reads = true, .into = into, .position = position}, callback);
    }

    fake_platform_t platform_;
    fs_handle_t handle_ = fs_handle_t::invalid;
    std::array<std::array<std::byte, 16>, 64> buffers_{};
    size_t next_ = 0;
    fs_io_pump_t pump_{platform_};
};

void count_call(bool success, void *counter) {
    *static_cast<std::atomic<int> *>(counter) += success ? 1 : 100;
}

} // namespace

TEST_F(io_pump, eight_are_under_way_at_a_time_in_the_order_of_asking) {
    platform_.hold_transfers();
    std::vector<fs_request_t> requests;
    for (size_t i = 0; i < fs_io_pump_t::max_in_flight + 2; ++i)
        requests.push_back(read(i, 1));
    platform_.wait_for_held_transfers(fs_io_pump_t::max_in_flight);
    for (const fs_request_t &request : requests)
        EXPECT_FALSE(request.finished());
    EXPECT_EQ(platform_.take_calls().size(), fs_io_pump_t::max_in_flight);
    platform_.let_transfers_go();
    for (size_t i = 0; i < requests.size(); ++i) {
        EXPECT_TRUE(requests[i].wait());
        EXPECT_TRUE(requests[i].finished());
        EXPECT_TRUE(requests[i].wait()) << "once more";
        EXPECT_EQ(static_cast<char>(buffers_[i][0]), static_cast<char>('0' + i));
    }
    EXPECT_EQ(platform_.most_transfers_at_once(), fs_io_pump_t::max_in_flight);
}

TEST_F(io_pump, requests_are_moved_and_their_end_is_waited_for) {
    EXPECT_FALSE(fs_request_t());
    EXPECT_FALSE(fs_request_t().wait());
    EXPECT_TRUE(fs_request_t(true).wait());
    std::atomic<int> calls = 0;
    {
        fs_request_t first = read(0, 1, {count_call, &calls});
        fs_request_t moved = std::move(first);
        EXPECT_FALSE(first); // NOLINT: that is what is tested
        EXPECT_TRUE(moved);
        moved = read(1, 1, {count_call, &calls});
        EXPECT_GE(calls, 1);
    }
    EXPECT_EQ(calls, 2);
}

TEST_F(io_pump, stopping_ends_what_is_queued_without_success_and_what_flies_normally) {
    platform_.hold_transfers();
    std::vector<fs_request_t> requests;
    for (size_t i = 0; i < fs_io_pump_t::max_in_flight + 5; ++i)
        requests.push_back(read(1, 1));
    platform_.wait_for_held_transfers(fs_io_pump_t::max_in_flight);
    std::thread stopper([this] { pump_.stop(); });
    // The queued ones end while the others are still held.
    for (size_t i = fs_io_pump_t::max_in_flight; i < requests.size(); ++i)
        EXPECT_FALSE(requests[i].wait());
    platform_.let_transfers_go();
    stopper.join();
    for (size_t i = 0; i < fs_io_pump_t::max_in_flight; ++i)
        EXPECT_TRUE(requests[i].wait());
    EXPECT_FALSE(read(0, 1).wait());
    pump_.stop();
}

namespace {

class file_requests : public testing::Test {
  protected:
    static std::span<const std::byte> text(std::string_view text) { return std::as_bytes(std::span(text)); }

    captured_messages_t messages_;
    fake_file_system_t system_;
};

} // namespace

// A write that is still queued must not land in a file that gets the same handle.
TEST_F(file_requests, closing_waits_for_them) {
    system_.platform().hold_transfers();
    auto file = system_.system_device().open("/a", fs_open_mode_t::create);
    fs_request_t request = file->write_request(text("kept"), 0, {});
    system_.platform().wait_for_held_transfers(1);
    std::thread closer([&] { file.reset(); });
    EXPECT_EQ(system_.platform().open_file_count(), 1u);
    system_.platform().let_transfers_go();
    closer.join();
    EXPECT_TRUE(request.wait());
    EXPECT_EQ(system_.platform().content("/a"), "kept");
}

} // namespace kestrel
