#include "kcore/core/core.h"

#include "kcore/messages/message_system.h"
#include "kcore/ufs/file_system.h"
#include "tests/support/child_run.h"

#include <gtest/gtest.h>

namespace kestrel {

TEST(core, starts_with_console_and_file_system_and_flushes_at_the_end) {
    const child_run_t run = run_in_child([] {
        core_initialize();
        msg_info("information");
        msg_error("file system %s", file_system() ? "started" : "missing");
        core_shutdown();
        msg_error("after the end");
        if (file_system())
            std::_Exit(1);
    });
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.output, "information\r\n");
    EXPECT_EQ(run.errors, "*** ERROR *** : file system started\r\n");
}

TEST(core, a_process_that_exits_without_stopping_it_ends_normally) {
    const child_run_t run = run_in_child([] {
        core_initialize();
        msg_info("last");
        std::exit(3);
    });
    EXPECT_EQ(run.status, 3);
    EXPECT_EQ(run.output, "last\r\n");
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
