#include "kcore/ufs/sysfs_atomic_file.h"

#include "kcore/ufs/file_system.h"
#include "tests/support/captured_messages.h"
#include "tests/support/fake_platform.h"
#include "tests/support/temporary_directory.h"

#include <gtest/gtest.h>

namespace kestrel {

namespace {

using calls_t = std::vector<std::string>;

class atomic_file : public testing::Test {
  protected:
    atomic_file() {
        platform().add_file("/w/target", "old");
        device_ = system_.make_device("/w");
        platform().take_calls();
    }
    fake_platform_t &platform() { return system_.platform(); }
    // With "new" written to it.
    std::unique_ptr<file_t> open_and_write(const char *path = "/target") {
        auto file = device_->open(path, fs_open_mode_t::atomic);
        EXPECT_TRUE(file && file->printf("new"));
        return file;
    }

    captured_messages_t messages_;
    fake_file_system_t system_;
    std::unique_ptr<sysfs_device_t> device_;
};

} // namespace

TEST_F(atomic_file, commit_makes_the_bytes_durable_before_the_name_and_the_name_before_it_returns) {
    const auto file = open_and_write();
    EXPECT_EQ(platform().content("/w/target"), "old");
    fs_stat_t found;
    EXPECT_TRUE(file->stat(found));
    EXPECT_EQ(found.size, 3u);
    EXPECT_FALSE(file->set_size(1));
    platform().take_calls();
    EXPECT_TRUE(file->commit());
    EXPECT_EQ(platform().take_calls(), (calls_t{"flush /w/target.atomic", "close /w/target.atomic",
                                                "move /w/target.atomic /w/target", "flush_directory /w"}));
    EXPECT_EQ(platform().content("/w/target"), "new");
    EXPECT_FALSE(platform().has_file("/w/target.atomic"));
    EXPECT_FALSE(file->stat(found));
    EXPECT_TRUE(file->close());
    EXPECT_EQ(messages_.text(), "");
}

TEST_F(atomic_file, commit_creates_a_target_that_was_not_there_with_its_directories) {
    const auto file = open_and_write("/a/b/fresh");
    EXPECT_FALSE(platform().has_file("/w/a/b/fresh"));
    EXPECT_TRUE(file->commit());
    EXPECT_EQ(platform().content("/w/a/b/fresh"), "new");
}

TEST_F(atomic_file, cancel_leaves_the_target_and_removes_the_buffer) {
    const auto file = open_and_write();
    EXPECT_TRUE(file->cancel());
    EXPECT_EQ(platform().content("/w/target"), "old");
    EXPECT_FALSE(platform().has_file("/w/target.atomic"));
    EXPECT_EQ(messages_.text(), "");
}

TEST_F(atomic_file, forgetting_both_is_reported_and_cancels) {
    open_and_write();
    EXPECT_EQ(platform().content("/w/target"), "old");
    EXPECT_FALSE(platform().has_file("/w/target.atomic"));
    EXPECT_EQ(messages_.text(), "E: [sysfs_atomic_file_t] Atomic file close without explicit commit or "
                                "cancel. <atomic><UNKNOWNFS>/target\n");
}

TEST_F(atomic_file, operations_after_the_end_are_refused) {
    for (const bool committed : {true, false}) {
        const auto file = open_and_write();
        EXPECT_TRUE(committed ? file->commit() : file->cancel());
        EXPECT_FALSE(file->commit());
        EXPECT_FALSE(file->cancel());
        EXPECT_FALSE(file->printf("more"));
        EXPECT_EQ(messages_.text(),
                  "E: [sysfs_atomic_file_t] Cannot commit, buffer file is already closed.\n"
                  "E: [sysfs_atomic_file_t] Cannot cancel, buffer file is already closed.\n"
                  "E: [sysfs_atomic_file_t] Cannot write, buffer file is already closed.\n");
        messages_.clear();
    }
}

TEST_F(atomic_file, reading_is_refused) {
    const auto file = open_and_write();
    file->set_offset(0);
    std::byte byte;
    EXPECT_FALSE(file->read({&byte, 1}));
    EXPECT_EQ(messages_.text(), "E: [sysfs_atomic_file_t] Atomic file does not support read operation.\n"
                                "E: [fs] cached read - buffer update failed (<atomic><UNKNOWNFS>/target)\n");
    EXPECT_TRUE(file->cancel());
}

TEST_F(atomic_file, a_commit_that_fails_keeps_the_old_target_and_removes_the_buffer) {
    const std::string no_space = ": no space left on device\n";
    const struct {
        const char *fault;
        std::string message;
    } cases[] = {
        {"flush ", "E: [fs] <SYSFS>/w/target.atomic" + no_space +
                       "E: [sysfs_atomic_file_t] Cannot write the buffer file to the disk.\n"},
        {"close",
         "E: [fs] <SYSFS>/w/target.atomic" + no_space +
             "E: [fs] closing reported an error, written data may be lost (<SYSFS>/w/target.atomic)\n"
             "E: [sysfs_atomic_file_t] Cannot write the buffer file to the disk.\n"},
        {"move", "E: [fs] /w/target" + no_space + "E: [sysfs_atomic_file_t] Cannot rename buffer file.\n"}};
    for (const auto &c : cases) {
        const auto file = open_and_write();
        platform().fail(c.fault, fs_reason_t::no_space);
        EXPECT_FALSE(file->commit()) << c.fault;
        EXPECT_EQ(platform().content("/w/target"), "old");
        EXPECT_FALSE(platform().has_file("/w/target.atomic"));
        EXPECT_EQ(messages_.text(), c.message);
        platform().fail_no_more();
        messages_.clear();
    }
}

TEST_F(atomic_file, a_directory_that_cannot_be_flushed_is_a_warning_since_the_target_is_replaced) {
    const auto file = open_and_write();
    platform().fail("flush_directory");
    EXPECT_TRUE(file->commit());
    EXPECT_EQ(platform().content("/w/target"), "new");
    EXPECT_EQ(messages_.text(),
              "W: [sysfs_atomic_file_t] Cannot write the directory of the renamed file to the disk.\n");
}

TEST_F(atomic_file, the_directory_that_is_flushed_holds_the_target) {
    const struct {
        const char *path, *call;
    } cases[] = {{"/top", "flush_directory /"}, {"here", "flush_directory ."}};
    for (const auto &c : cases) {
        const auto file = system_.system_device().open(c.path, fs_open_mode_t::atomic);
        ASSERT_TRUE(file);
        EXPECT_TRUE(file->commit());
        EXPECT_EQ(platform().take_calls().back(), c.call);
    }
}

TEST_F(atomic_file, a_stale_buffer_is_replaced) {
    platform().add_file("/w/target.atomic", "left by a crash, and longer");
    EXPECT_TRUE(open_and_write()->commit());
    EXPECT_EQ(platform().content("/w/target"), "new");
}

TEST_F(atomic_file, opening_fails_when_the_buffer_cannot_be_opened_or_named) {
    platform().fail("open create /w/target.atomic", fs_reason_t::refused);
    EXPECT_EQ(device_->open("/target", fs_open_mode_t::atomic), nullptr);
    EXPECT_EQ(messages_.text(), "E: [fs] /w/target.atomic: access denied\n");
    messages_.clear();
    const std::string name = "/" + std::string(248, 'n');
    EXPECT_EQ(device_->open(name, fs_open_mode_t::atomic), nullptr);
    EXPECT_EQ(messages_.text(),
              "E: [fs] path is longer than 255 bytes: '" + name + ".atomic' (below '/w')\n");
    messages_.clear();
    EXPECT_EQ(device_->open(std::string_view("/a\0b", 4), fs_open_mode_t::atomic), nullptr);
    EXPECT_EQ(messages_.text(), "E: [fs] path holds a NUL byte after '/w/a'\n");
}

TEST_F(atomic_file, display_names_and_paths_by_path_kind) {
    const auto file = open_and_write();
    device_->set_mount("/m", 5, 1);
    const struct {
        fs_path_kind_t kind;
        const char *display_name;
        bool known;
        const char *mount_path;
    } cases[] = {{fs_path_kind_t::unknown, "<atomic><UNKNOWNFS>/target", true, nullptr},
                 {fs_path_kind_t::ufs, "<atomic></w | /m>/target", true, "/m/target"},
                 {fs_path_kind_t::sysfs, "<atomic><SYSFS>/target", true, nullptr},
                 {static_cast<fs_path_kind_t>(9), "<BADFS>/target", false, nullptr}};
    for (const auto &c : cases) {
        file->set_path_kind(c.kind);
        string_dyn_t text, path("old");
        EXPECT_EQ(file->get_display_name(text), c.known);
        EXPECT_EQ(text.view(), c.display_name);
        EXPECT_EQ(file->get_mount_path(path), c.mount_path != nullptr);
        EXPECT_EQ(path.view(), c.mount_path ? c.mount_path : "old");
    }
    string_dyn_t location;
    EXPECT_TRUE(file->get_system_path(location));
    EXPECT_EQ(location.view(), "/w/target");
    EXPECT_EQ(file->get_mount_id(), 5);
    EXPECT_TRUE(file->cancel());
}

TEST(atomic_file_on_disk, commit_replaces_and_leaves_nothing_beside) {
    captured_messages_t messages;
    const temporary_directory_t directory;
    directory.write("target", "old");
    file_system_start();
    {
        const auto file =
            fs_device_open(directory / "target", fs_open_mode_t::atomic, fs_device_type_t::sysfs);
        ASSERT_TRUE(file && file->printf("new"));
        EXPECT_EQ(directory.read("target"), "old");
        EXPECT_TRUE(file->commit());
    }
    file_system_stop();
    EXPECT_EQ(directory.read("target"), "new");
    EXPECT_FALSE(directory.has("target.atomic"));
    EXPECT_EQ(messages.text(), "");
}

} // namespace kestrel
