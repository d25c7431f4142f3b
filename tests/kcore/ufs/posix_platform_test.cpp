// The system's own layer, on a real disk, mostly through the system device.

#include "kcore/messages/message_system.h"
#include "kcore/ufs/file_system.h"
#include "kcore/ufs/sysfs_file.h"
#include "tests/support/captured_messages.h"
#include "tests/support/child_run.h"
#include "tests/support/temporary_directory.h"

#include <gtest/gtest.h>

#include <csignal>
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace kestrel {

namespace {

class real_files : public testing::Test {
  protected:
    ~real_files() override { file_system_stop(); }

    std::unique_ptr<sysfs_file_t> open(const std::string &name, fs_open_mode_t mode) {
        return device_.open_plain(directory_ / name, mode);
    }
    void make_folder(const std::string &name) { ASSERT_EQ(mkdir((directory_ / name).c_str(), 0700), 0); }
    void write_whole(const std::string &name, fs_open_mode_t mode, std::string_view content) {
        const auto file = device_.open(directory_ / name, mode);
        ASSERT_TRUE(file && file->write(std::as_bytes(std::span(content))));
        EXPECT_TRUE(mode == fs_open_mode_t::atomic ? file->commit() : file->close());
    }
    static std::string read(file_t &file, size_t size) {
        std::string text(size, '?');
        return file.read(std::as_writable_bytes(std::span(text))) ? text : "failed";
    }

    captured_messages_t messages_;
    temporary_directory_t directory_;
    sysfs_device_t &device_ = (file_system_start(), file_system()->system_device);
    fs_platform_t &platform_ = *file_system()->platform;
};

} // namespace

TEST_F(real_files, open_modes) {
    directory_.write("old", "content");
    EXPECT_FALSE(open("missing", fs_open_mode_t::read));
    EXPECT_TRUE(open("old", fs_open_mode_t::read));
    EXPECT_FALSE(open("old", fs_open_mode_t::create));
    EXPECT_TRUE(open("new", fs_open_mode_t::create));
    EXPECT_TRUE(open("old", fs_open_mode_t::create_or_read_write));
    EXPECT_EQ(directory_.read("old"), "content");
    EXPECT_TRUE(open("newer", fs_open_mode_t::create_or_read_write));
    EXPECT_TRUE(open("old", fs_open_mode_t::create_truncate));
    EXPECT_EQ(directory_.read("old"), "");
    EXPECT_TRUE(open("newest", fs_open_mode_t::create_truncate));
    EXPECT_EQ(messages_.text(), "");
    EXPECT_FALSE(open("old/new", fs_open_mode_t::create_truncate));
    fs_handle_t handle;
    const std::string path = directory_ / "other";
    EXPECT_EQ(platform_.open(path.c_str(), fs_open_mode_t::create_truncate, handle),
              fs_reason_t::unsupported);
}

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

TEST_F(real_files, transfers_stat_and_size) {
    const std::string path = directory_ / "file";
    const auto file = open("file", fs_open_mode_t::create);
    EXPECT_TRUE(file->write_at(std::as_bytes(std::span("0123456789", 10)), 5));
    EXPECT_EQ(read(*file, 15), std::string("\0\0\0\0\0", 5) + "0123456789");
    EXPECT_EQ(read(*file, 1), "failed");
    EXPECT_TRUE(file->set_size(7));
    EXPECT_TRUE(file->flush());
    EXPECT_EQ(platform_.flush_directory((directory_ / "").c_str()), fs_reason_t::none);
    EXPECT_EQ(platform_.flush_directory(path.c_str()), fs_reason_t::not_found);
    fs_stat_t found;
    EXPECT_TRUE(file->stat(found));
    EXPECT_EQ(found.kind, fs_kind_t::file);
    EXPECT_EQ(found.size, 7u);
    EXPECT_GT(found.modification_time, 1'600'000'000u);
    EXPECT_TRUE(device_.stat(directory_ / "", found));
    EXPECT_EQ(found.kind, fs_kind_t::directory);
    EXPECT_FALSE(device_.stat(directory_ / "missing", found));
}

TEST_F(real_files, the_reason_of_a_failure_is_known) {
    directory_.write("file", "");
    make_folder("folder");
    const std::string file = directory_ / "file", folder = directory_ / "folder",
                      missing = directory_ / "missing";
    EXPECT_EQ(platform_.delete_file(missing.c_str()), fs_reason_t::not_found);
    EXPECT_EQ(platform_.delete_file((file + "/below").c_str()), fs_reason_t::not_found);
    EXPECT_EQ(platform_.create_directory(folder.c_str()), fs_reason_t::exists);
    EXPECT_EQ(platform_.create_directory((missing + "/d").c_str()), fs_reason_t::not_found);
    EXPECT_EQ(platform_.move_file(file.c_str(), folder.c_str(), false), fs_reason_t::exists);
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

TEST_F(real_files, removing_copying_and_moving) {
    directory_.write("a", std::string(200000, 'a'));
    directory_.write("b", "b");
    const std::string a = directory_ / "a", b = directory_ / "b", c = directory_ / "c", d = directory_ / "d";
    EXPECT_FALSE(device_.copy_file(a, b, false));
    EXPECT_EQ(directory_.read("b"), "b");
    EXPECT_TRUE(device_.copy_file(a, c, false));
    EXPECT_EQ(directory_.read("c"), std::string(200000, 'a'));
    EXPECT_TRUE(device_.copy_file(b, c, true));
    EXPECT_EQ(directory_.read("c"), "b");
    EXPECT_FALSE(device_.copy_file(directory_ / "missing", c, true));
    EXPECT_EQ(directory_.read("c"), "b");
    EXPECT_FALSE(device_.copy_file(a, directory_ / "none/c", true));

    EXPECT_FALSE(device_.move_file(a, b, false));
    EXPECT_TRUE(device_.move_file(a, b, true));
    EXPECT_FALSE(directory_.has("a"));
    EXPECT_TRUE(device_.move_file(b, a, false));
    EXPECT_EQ(directory_.read("a").size(), 200000u);

    EXPECT_TRUE(device_.create_directories(d));
    EXPECT_FALSE(device_.remove_file(d));
    EXPECT_TRUE(device_.remove_file(a));
    EXPECT_FALSE(device_.remove_file(a));
    EXPECT_TRUE(device_.remove_directory(d));
    EXPECT_FALSE(device_.remove_directory(d));
}

TEST_F(real_files, a_listing_is_in_byte_order_with_kinds) {
    for (const char *name : {"b", "B", "a", "\xC3\xA9"})
        directory_.write(name, "");
    make_folder("folder");
    ASSERT_EQ(symlink("nowhere", (directory_ / "dangling").c_str()), 0);
    const auto listing = device_.list(directory_ / "");
    ASSERT_TRUE(listing);
    std::string text;
    for (const fs_listing_entry_t &entry : *listing)
        text += std::string(entry.name.view()) + " " + std::to_string(static_cast<int>(entry.kind)) + "|";
    EXPECT_EQ(text, "B 1|a 1|b 1|dangling 0|folder 2|\xC3\xA9 1|");
    EXPECT_FALSE(device_.list(directory_ / "a"));
}

} // namespace kestrel
