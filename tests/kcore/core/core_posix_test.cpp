// What starting the core makes of the process on POSIX systems alone: its locale, closed streams, signals.

#include "kcore/core/core.h"
#include "kcore/messages/message_system.h"
#include "kcore/ufs/file_system.h"
#include "tests/support/child_run.h"
#include "tests/support/temporary_directory.h"

#include <gtest/gtest.h>

#include <clocale>
#include <sys/resource.h>
#include <unistd.h>

namespace kestrel {

TEST(core, sets_the_locale) {
    const child_run_t run = run_in_child([] {
        core_initialize();
        msg_info("locale %s", std::setlocale(LC_ALL, nullptr));
        core_shutdown();
    });
    EXPECT_EQ(run.output, "locale C.UTF-8\r\n");
}

TEST(core, a_file_never_takes_the_place_of_a_closed_standard_stream) {
    const temporary_directory_t directory;
    const child_run_t run = run_in_child([&] {
        for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
            close(stream);
        core_initialize();
        auto file = file_system()->system_device.open(directory / "out", fs_open_mode_t::create_truncate);
        if (!file || !file->printf("content"))
            _exit(1);
        msg_info("into nothing");
        msg_error("into nothing");
        std::fflush(stdout);
        file.reset();
        core_shutdown();
    });
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(directory.read("out"), "content");
}

TEST(core, a_write_that_nobody_reads_or_beyond_a_limit_fails_instead_of_ending_the_process) {
    const temporary_directory_t directory;
    const child_run_t run = run_in_child([&] {
        int ends[2];
        if (pipe(ends) != 0)
            _exit(1);
        close(ends[0]);
        dup2(ends[1], STDOUT_FILENO);
        core_initialize();
        msg_info("nobody listens");
        std::fflush(stdout);
        const rlimit limit{10, 10};
        setrlimit(RLIMIT_FSIZE, &limit);
        const auto file =
            file_system()->system_device.open(directory / "out", fs_open_mode_t::create_truncate);
        _exit(file->printf("0123456789abcdef") ? 1 : 7);
    });
    EXPECT_EQ(run.status, 7);
}

} // namespace kestrel
