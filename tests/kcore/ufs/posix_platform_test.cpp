// What is so on POSIX systems alone: links, pipes, leases, limits, other users.

#include "tests/kcore/ufs/real_files.h"
#include "tests/support/child_run.h"

#include <csignal>
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace kestrel {

TEST_F(real_files, devices_pipes_and_what_a_link_leads_to_are_left_alone) {
    ASSERT_EQ(mkfifo((directory_ / "pipe").c_str(), 0600), 0);
    make_folder("folder");
    ASSERT_EQ(symlink("folder", (directory_ / "link").c_str()), 0);
    ASSERT_EQ(symlink("nowhere", (directory_ / "dangling").c_str()), 0);
    for (const std::string name : {"pipe", "folder", "link", "dangling"}) {
        for (const auto mode : {fs_open_mode_t::read, fs_open_mode_t::create, fs_open_mode_t::create_truncate,
                                fs_open_mode_t::atomic})
            EXPECT_FALSE(device_.open(directory_ / name, mode)) << name;
        EXPECT_FALSE(directory_.has(name + ".atomic"));
    }
    for (const auto mode : {fs_open_mode_t::read, fs_open_mode_t::create_or_read_write,
                            fs_open_mode_t::create_truncate, fs_open_mode_t::atomic})
        EXPECT_FALSE(device_.open("/dev/null", mode));
    fs_stat_t found;
    for (const std::string name : {"pipe", "dangling"}) {
        EXPECT_TRUE(device_.stat(directory_ / name, found));
        EXPECT_EQ(found.kind, fs_kind_t::neither);
    }
    EXPECT_TRUE(device_.is_directory(directory_ / "link"));
    EXPECT_TRUE(std::filesystem::is_symlink(directory_ / "link"));
}

TEST_F(real_files, a_link_to_a_file_is_replaced_and_not_written_through) {
    directory_.write("precious", "content");
    for (const auto mode : {fs_open_mode_t::create_truncate, fs_open_mode_t::atomic}) {
        std::filesystem::remove(directory_ / "link");
        ASSERT_EQ(symlink("precious", (directory_ / "link").c_str()), 0);
        write_whole("link", mode, "new");
        EXPECT_EQ(directory_.read("precious"), "content");
        EXPECT_EQ(directory_.read("link"), "new");
        EXPECT_FALSE(std::filesystem::is_symlink(directory_ / "link"));
    }
}

// As file servers hold them: the holder is told, and gives the file up after a while.
TEST_F(real_files, a_file_under_a_lease_is_waited_for) {
    directory_.write("file", "content");
    int ready[2];
    ASSERT_EQ(pipe(ready), 0);
    const pid_t holder = fork();
    if (holder == 0) {
        sigset_t told;
        sigemptyset(&told);
        sigaddset(&told, SIGIO);
        sigprocmask(SIG_BLOCK, &told, nullptr);
        const int fd = ::open((directory_ / "file").c_str(), O_RDWR);
        const char held = fcntl(fd, F_SETLEASE, F_WRLCK) == 0;
        (void)!write(ready[1], &held, 1);
        if (held) {
            int signal;
            sigwait(&told, &signal);
            usleep(50000);
            fcntl(fd, F_SETLEASE, F_UNLCK);
        }
        _exit(0);
    }
    char held = 0;
    ASSERT_EQ(::read(ready[0], &held, 1), 1);
    close(ready[0]);
    close(ready[1]);
    const auto file = open("file", fs_open_mode_t::read);
    waitpid(holder, nullptr, 0);
    if (!held)
        GTEST_SKIP() << "no leases on this file system";
    ASSERT_TRUE(file);
    EXPECT_EQ(read(*file, 7), "content");
}

TEST_F(real_files, a_limit_and_another_users_directory_are_known_reasons) {
    directory_.write("file", "");
    const std::string file = directory_ / "file", missing = directory_ / "missing";
    const child_run_t limited = run_in_child([&] {
        signal(SIGXFSZ, SIG_IGN);
        const rlimit none{0, 0};
        setrlimit(RLIMIT_FSIZE, &none);
        const auto full = device_.open(file, fs_open_mode_t::create_or_read_write);
        std::byte byte{};
        _exit(full->write({&byte, 1}) ? 1 : messages_.text().ends_with("no space left on device\n") ? 0 : 2);
    });
    EXPECT_EQ(limited.status, 0);
    chmod((directory_ / "").c_str(), 0555);
    const child_run_t other_user = run_in_child([&] {
        constexpr uid_t nobody = 65534;
        if (geteuid() == 0 && setuid(nobody) != 0)
            _exit(1);
        _exit(platform_.delete_file(file.c_str()) == fs_reason_t::refused &&
                      platform_.create_directory(missing.c_str()) == fs_reason_t::refused
                  ? 0
                  : 2);
    });
    chmod((directory_ / "").c_str(), 0755);
    EXPECT_EQ(other_user.status, 0);
}

} // namespace kestrel
