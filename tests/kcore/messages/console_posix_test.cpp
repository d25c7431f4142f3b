// When lines leave the process: told by signals and by sockets, which this kind of system has.

#include "kcore/core/core.h"
#include "kcore/messages/message_system.h"
#include "tests/support/child_run.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <sys/socket.h>
#include <unistd.h>
#include <vector>

namespace kestrel {

TEST(console, what_an_error_said_is_out_when_a_signal_ends_the_process) {
    const child_run_t run = run_in_child([] {
        core_initialize();
        msg_warning("first");
        msg_error("second");
        std::raise(SIGTERM);
    });
    EXPECT_EQ(run.status, 128 + SIGTERM);
    EXPECT_EQ(run.errors, "*** WARNING *** : first\r\n*** ERROR *** : second\r\n");
}

// Every write of the code to both streams, which are a socket that keeps writes apart.
static std::vector<std::string> writes_of(const std::function<void()> &code) {
    int ends[2];
    if (socketpair(AF_UNIX, SOCK_SEQPACKET, 0, ends) != 0)
        std::abort();
    const child_run_t run = run_in_child([&] {
        dup2(ends[1], STDOUT_FILENO);
        dup2(ends[1], STDERR_FILENO);
        core_initialize();
        code();
        core_shutdown();
    });
    EXPECT_EQ(run.status, 0);
    close(ends[1]);
    std::vector<std::string> writes;
    std::string packet(1 << 17, '\0');
    for (ssize_t size; (size = read(ends[0], packet.data(), packet.size())) > 0;)
        writes.emplace_back(packet.data(), static_cast<size_t>(size));
    close(ends[0]);
    return writes;
}

TEST(console, an_error_is_one_write_and_information_goes_out_at_the_end_of_a_line) {
    const std::string long_line(10000, 'e');
    EXPECT_EQ(writes_of([&] {
                  msg_error("%s", long_line.c_str());
                  msg_warning("%s and %u", "two pieces", 3u);
              }),
              (std::vector<std::string>{"*** ERROR *** : " + long_line + "\r\n",
                                        "*** WARNING *** : two pieces and 3\r\n"}));

    const std::string line(99, 'i');
    std::string all;
    const auto writes = writes_of([&] {
        for (int i = 0; i < 200; ++i)
            msg_info("%s", line.substr(0, static_cast<size_t>(i) % 99).c_str());
    });
    EXPECT_LE(writes.size(), 4u);
    for (const std::string &write : writes) {
        EXPECT_LE(write.size(), 4096u); // what a pipe takes as a whole
        EXPECT_TRUE(write.ends_with("\r\n"));
        all += write;
    }
    EXPECT_EQ(std::count(all.begin(), all.end(), '\n'), 200);
}

} // namespace kestrel
