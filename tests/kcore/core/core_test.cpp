#include "kcore/core/core.h"

#include "kcore/messages/message_system.h"
#include "kcore/ufs/file_system.h"
#include "tests/support/child_run.h"
#include "tests/support/temporary_directory.h"

#include <gtest/gtest.h>

#include <clocale>
#include <csignal>
#include <sys/resource.h>
#include <unistd.h>

namespace kestrel {

TEST(core, starts_with_locale_console_and_file_system_and_flushes_at_the_end) {
    const child_run_t run = run_in_child([] {
        core_initialize();
        msg_info("locale %s", std::setlocale(LC_ALL, nullptr));
        msg_error("file system %s", file_system() ? "started" : "missing");
        core_shutdown();
        msg_error("after the end");
        if (file_system())
            _exit(1);
    });
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.output, "locale C.UTF-8\r\n");
    EXPECT_EQ(run.errors, "*** ERROR *** : file system started\r\n");
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

TEST(base_directory, is_the_programs_path_before_its_last_bin) {
    const std::string tail = "/bin/kim2kmg", fits(255 - tail.size(), 'd');
    const std::string longest = fits + tail, too_long = "d" + longest;
    const struct {
        const char *program;
        const char *expected; // null: none
    } cases[] = {{"D:/tools/bin/win_x64/kim2kmg.exe", "D:/tools"},
                 {"D:\\tools\\bin\\win_x64\\kim2kmg.exe", "D:/tools"},
                 {"/bin/kim2kmg", ""},
                 {"/a/bin/b/bin/linux_x64/kim2kmg", "/a/bin/b"},
                 {"/a/bins/kim2kmg", nullptr},
                 {"/a/bin", nullptr},
                 {"", nullptr},
                 {longest.c_str(), fits.c_str()},
                 {too_long.c_str(), nullptr}};
    for (const auto &c : cases) {
        name_t directory("unchanged");
        EXPECT_EQ(get_base_directory_of(c.program, directory), c.expected != nullptr) << c.program;
        EXPECT_EQ(directory.view(), c.expected ? c.expected : "unchanged") << c.program;
    }
    string_local_t<4> small;
    EXPECT_FALSE(get_base_directory_of("/long/bin/kim2kmg", small));
}

} // namespace kestrel
