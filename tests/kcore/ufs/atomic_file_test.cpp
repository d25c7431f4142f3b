#include "kcore/ufs/sysfs_atomic_file.h"

#include "kcore/ufs/file_system.h"
#include "tests/support/captured_messages.h"
#include "tests/support/fake_platform.h"

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

} // namespace kestrel
