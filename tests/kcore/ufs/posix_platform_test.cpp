#include "kcore/ufs/platform/posix_platform.h"

#include "kcore/messages/console_message_handler.h"
#include "tests/support/captured_messages.h"
#include "tests/support/child_run.h"
#include "tests/support/temporary_directory.h"

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

namespace kestrel {

namespace {

class posix_platform : public testing::Test {
  protected:
    // Opens, closes and says whether it opened.
    bool opens(const std::string &name, fs_open_mode_t mode) {
        const fs_handle_t handle = platform_.open((directory_ / name).c_str(), mode);
        return handle != fs_handle_t::invalid && platform_.close(handle);
    }
    void write_whole(const std::string &name, fs_open_mode_t mode, std::string_view content) {
        const fs_handle_t handle = platform_.open((directory_ / name).c_str(), mode);
        ASSERT_NE(handle, fs_handle_t::invalid);
        platform_.write(handle, std::as_bytes(std::span(content)), 0);
        platform_.close(handle);
    }

    temporary_directory_t directory_;
    posix_platform_t platform_;
};

} // namespace

TEST_F(posix_platform, open_modes) {
    directory_.write("old", "content");
    EXPECT_FALSE(opens("missing", fs_open_mode_t::read));
    EXPECT_TRUE(opens("old", fs_open_mode_t::read));
    EXPECT_FALSE(opens("old", fs_open_mode_t::create));
    EXPECT_TRUE(opens("new", fs_open_mode_t::create));
    EXPECT_TRUE(opens("old", fs_open_mode_t::create_or_read_write));
    EXPECT_EQ(directory_.read("old"), "content");
    EXPECT_TRUE(opens("newer", fs_open_mode_t::create_or_read_write));
    EXPECT_TRUE(opens("old", fs_open_mode_t::create_truncate));
    EXPECT_EQ(directory_.read("old"), "");
    EXPECT_TRUE(opens("newest", fs_open_mode_t::create_truncate));
    EXPECT_FALSE(opens("newest", fs_open_mode_t::atomic));
    EXPECT_FALSE(opens("newest", static_cast<fs_open_mode_t>(5)));
    EXPECT_FALSE(opens("none/new", fs_open_mode_t::create_truncate));
}

TEST_F(posix_platform, only_regular_files_are_opened_and_no_pipe_is_waited_for) {
    ASSERT_EQ(mkfifo((directory_ / "pipe").c_str(), 0600), 0);
    ASSERT_EQ(mkdir((directory_ / "folder").c_str(), 0700), 0);
    for (const auto mode : {fs_open_mode_t::read, fs_open_mode_t::create_or_read_write}) {
        EXPECT_FALSE(opens("pipe", mode));
        EXPECT_FALSE(opens("folder", mode));
        EXPECT_EQ(platform_.open("/dev/null", mode), fs_handle_t::invalid);
    }
    EXPECT_FALSE(opens("folder", fs_open_mode_t::create_truncate));
    fs_stat_t found;
    EXPECT_TRUE(platform_.stat_path((directory_ / "pipe").c_str(), found));
    EXPECT_EQ(found.kind, fs_kind_t::neither);
}

TEST_F(posix_platform, a_link_is_replaced_and_not_written_through) {
    directory_.write("precious", "content");
    ASSERT_EQ(symlink("precious", (directory_ / "link").c_str()), 0);
    write_whole("link", fs_open_mode_t::create_truncate, "new");
    EXPECT_EQ(directory_.read("precious"), "content");
    EXPECT_EQ(directory_.read("link"), "new");
    EXPECT_FALSE(std::filesystem::is_symlink(directory_ / "link"));
}

TEST_F(posix_platform, a_truncated_file_leaves_readers_of_the_old_one_alone) {
    directory_.write("file", "old");
    const fs_handle_t reader = platform_.open((directory_ / "file").c_str(), fs_open_mode_t::read);
    write_whole("file", fs_open_mode_t::create_truncate, "new");
    std::string text(3, '?');
    EXPECT_EQ(platform_.read(reader, std::as_writable_bytes(std::span(text)), 0).count, 3u);
    EXPECT_EQ(text, "old");
    EXPECT_TRUE(platform_.close(reader));
    EXPECT_FALSE(platform_.close(reader));
}

TEST_F(posix_platform, transfers_stat_and_size) {
    const std::string path = directory_ / "file";
    const fs_handle_t handle = platform_.open(path.c_str(), fs_open_mode_t::create);
    const std::string_view text = "0123456789";
    EXPECT_EQ(platform_.write(handle, std::as_bytes(std::span(text)), 5).count, 10u);
    std::string back(20, '?');
    EXPECT_EQ(platform_.read(handle, std::as_writable_bytes(std::span(back)), 3).count, 12u);
    EXPECT_EQ(back.substr(0, 12), std::string("\0\0", 2) + "0123456789");
    EXPECT_EQ(platform_.read(handle, std::as_writable_bytes(std::span(back)), 15).count, 0u);
    EXPECT_TRUE(platform_.set_end_of_file(handle, 7));
    EXPECT_TRUE(platform_.flush_file(handle));
    EXPECT_TRUE(platform_.flush_directory((directory_ / "").c_str()));
    EXPECT_FALSE(platform_.flush_directory(path.c_str()));
    fs_stat_t found;
    EXPECT_TRUE(platform_.stat_file(handle, found));
    EXPECT_EQ(found.kind, fs_kind_t::file);
    EXPECT_EQ(found.size, 7u);
    EXPECT_GT(found.modification_time, 1'600'000'000u);
    platform_.close(handle);
    EXPECT_FALSE(platform_.stat_file(handle, found));
    EXPECT_EQ(platform_.read(handle, std::as_writable_bytes(std::span(back)), 0).outcome,
              fs_transfer_result_t::outcome_t::failed);
    EXPECT_TRUE(platform_.stat_path((directory_ / "").c_str(), found));
    EXPECT_EQ(found.kind, fs_kind_t::directory);
    EXPECT_FALSE(platform_.stat_path((directory_ / "missing").c_str(), found));
}

TEST_F(posix_platform, backslashes_separate_directories) {
    EXPECT_TRUE(platform_.create_directory((directory_ / "a").c_str()));
    EXPECT_TRUE(platform_.create_directory((directory_ / "a\\b").c_str()));
    EXPECT_TRUE(opens("a\\b\\c", fs_open_mode_t::create));
    EXPECT_TRUE(directory_.has("a/b/c"));
}

TEST_F(posix_platform, creating_a_directory) {
    captured_messages_t messages;
    directory_.write("file", "");
    EXPECT_TRUE(platform_.create_directory("D:"));
    EXPECT_TRUE(platform_.create_directory((directory_ / "d").c_str()));
    EXPECT_TRUE(platform_.create_directory((directory_ / "d").c_str()));
    EXPECT_FALSE(platform_.create_directory((directory_ / "file").c_str()));
    EXPECT_FALSE(platform_.create_directory((directory_ / "none/d").c_str()));
    EXPECT_EQ(messages.text(), "");
}

TEST_F(posix_platform, a_refused_directory_is_reported_unless_it_is_there) {
    const std::string there = directory_ / "there", refused = directory_ / "there/refused";
    platform_.create_directory(there.c_str());
    chmod(there.c_str(), 0500);
    chmod((directory_ / "").c_str(), 0555);
    const child_run_t run = run_in_child([&] {
        constexpr uid_t nobody = 65534;
        if (geteuid() == 0 && setuid(nobody) != 0)
            _exit(1);
        message_system_t::start();
        const console_message_handler_t console(false);
        if (!platform_.create_directory(there.c_str()) || platform_.create_directory(refused.c_str()))
            _exit(2);
    });
    chmod((directory_ / "").c_str(), 0755);
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.errors, "*** ERROR *** : Create folder failed. Access denied. (" + refused + ")\r\n");
}

TEST_F(posix_platform, removing_copying_and_moving) {
    directory_.write("a", std::string(200000, 'a'));
    directory_.write("b", "b");
    const std::string a = directory_ / "a", b = directory_ / "b", c = directory_ / "c";
    EXPECT_FALSE(platform_.copy_file(a.c_str(), b.c_str(), false));
    EXPECT_EQ(directory_.read("b"), "b");
    EXPECT_TRUE(platform_.copy_file(a.c_str(), c.c_str(), false));
    EXPECT_EQ(directory_.read("c"), std::string(200000, 'a'));
    EXPECT_TRUE(platform_.copy_file(b.c_str(), c.c_str(), true));
    EXPECT_EQ(directory_.read("c"), "b");
    EXPECT_FALSE(platform_.copy_file((directory_ / "missing").c_str(), c.c_str(), true));
    EXPECT_EQ(directory_.read("c"), "b");

    EXPECT_FALSE(platform_.move_file(a.c_str(), b.c_str(), false));
    EXPECT_TRUE(platform_.move_file(a.c_str(), b.c_str(), true));
    EXPECT_FALSE(directory_.has("a"));
    EXPECT_TRUE(platform_.move_file(b.c_str(), a.c_str(), false));
    EXPECT_EQ(directory_.read("a").size(), 200000u);

    EXPECT_TRUE(platform_.create_directory((directory_ / "d").c_str()));
    EXPECT_FALSE(platform_.delete_file((directory_ / "d").c_str()));
    EXPECT_TRUE(platform_.delete_file(a.c_str()));
    EXPECT_FALSE(platform_.delete_file(a.c_str()));
    EXPECT_TRUE(platform_.remove_directory((directory_ / "d").c_str()));
    EXPECT_FALSE(platform_.remove_directory((directory_ / "d").c_str()));
}

TEST_F(posix_platform, a_listing_is_in_byte_order_with_kinds) {
    for (const char *name : {"b", "B", "a", "\xC3\xA9"})
        directory_.write(name, "");
    platform_.create_directory((directory_ / "folder").c_str());
    ASSERT_EQ(symlink("nowhere", (directory_ / "dangling").c_str()), 0);
    const auto listing = platform_.list((directory_ / "").c_str());
    ASSERT_TRUE(listing);
    std::string text;
    for (const fs_listing_entry_t &entry : *listing)
        text += std::string(entry.name.view()) + " " + std::to_string(static_cast<int>(entry.kind)) + "|";
    EXPECT_EQ(text, "B 1|a 1|b 1|dangling 0|folder 2|\xC3\xA9 1|");
    EXPECT_FALSE(platform_.list((directory_ / "a").c_str()));
}

TEST_F(posix_platform, paths_of_256_bytes_are_refused_by_every_operation) {
    const std::string path(256, 'p');
    fs_stat_t found;
    EXPECT_EQ(platform_.open(path.c_str(), fs_open_mode_t::create), fs_handle_t::invalid);
    EXPECT_FALSE(platform_.stat_path(path.c_str(), found));
    EXPECT_FALSE(platform_.delete_file(path.c_str()));
    EXPECT_FALSE(platform_.create_directory(path.c_str()));
    EXPECT_FALSE(platform_.remove_directory(path.c_str()));
    EXPECT_FALSE(platform_.copy_file(path.c_str(), "x", true));
    EXPECT_FALSE(platform_.move_file(path.c_str(), "x", true));
    EXPECT_FALSE(platform_.flush_directory(path.c_str()));
    EXPECT_FALSE(platform_.list(path.c_str()));
}

} // namespace kestrel
