#include "kcore/ufs/sysfs_device.h"

#include "tests/support/captured_messages.h"
#include "tests/support/fake_platform.h"

#include <gtest/gtest.h>

namespace kestrel {

using calls_t = std::vector<std::string>;

TEST(sysfs_device, system_locations) {
    fake_file_system_t system;
    const struct {
        const char *root, *path, *expected;
    } cases[] = {{"", "/", "/"},
                 {"", "/a/b", "/a/b"},
                 {"", "a/b", "a/b"},
                 {"", "D:/w/a", "D:/w/a"},
                 {"/", "/", "/"},
                 {"/", "/a", "/a"},
                 {"/", "a", "/a"},
                 {"/", "", "/"},
                 {"D:/w", "/", "D:/w"},
                 {"D:/w", "", "D:/w"},
                 {"D:/w", "a/b", "D:/w/a/b"},
                 {"D:/w/base", "/model/a.kim", "D:/w/base/model/a.kim"},
                 {"", "", ""}};
    for (const auto &c : cases) {
        fs_path_t location("old");
        EXPECT_TRUE(system.make_device(c.root)->get_system_location(c.path, location));
        EXPECT_EQ(location.view(), c.expected) << c.root << " + " << c.path;
    }
}

TEST(sysfs_device, a_location_of_256_bytes_is_refused_with_its_name) {
    captured_messages_t messages;
    fake_file_system_t system;
    const auto device = system.make_device("/w");
    fs_path_t location("old");
    const std::string longest = "/" + std::string(252, 'n');
    EXPECT_TRUE(device->get_system_location(longest, location));
    EXPECT_EQ(location.length(), 255u);
    EXPECT_EQ(messages.text(), "");

    location.assign("old");
    EXPECT_FALSE(device->get_system_location(longest + "n", location));
    EXPECT_EQ(location.view(), "old");
    const std::string report = "E: [fs] path is longer than 255 bytes: '" + longest + "n' (below '/w')\n";
    EXPECT_EQ(messages.text(), report);

    // One message for each operation, and none of them reaches the disk.
    system.platform().take_calls();
    messages.clear();
    const std::string path = longest + "n";
    EXPECT_EQ(device->open(path, fs_open_mode_t::create_truncate), nullptr);
    EXPECT_FALSE(device->create_directories(path));
    EXPECT_FALSE(device->remove_file(path));
    EXPECT_FALSE(device->is_file(path));
    EXPECT_EQ(messages.text(), report + report + report + report);
    EXPECT_EQ(system.platform().take_calls(), calls_t{});
}

TEST(sysfs_device, opening_for_writing_creates_what_is_missing_above) {
    captured_messages_t messages;
    fake_file_system_t system;
    system.platform().add_directory("/w");
    const auto device = system.make_device("/w");
    EXPECT_EQ(device->open("/x/y/c.kmg", fs_open_mode_t::read), nullptr);
    EXPECT_FALSE(system.platform().has_directory("/w/x"));
    const auto file = device->open("/a/b/c.kmg", fs_open_mode_t::create_truncate);
    ASSERT_TRUE(file);
    EXPECT_TRUE(system.platform().has_directory("/w/a/b"));
    EXPECT_EQ(file->name().view(), "/a/b/c.kmg");
    EXPECT_EQ(file->path_kind(), fs_path_kind_t::sysfs);
    EXPECT_EQ(file->offset(), 0u);

    system.platform().fail("mkdir /w/d/e", fs_reason_t::no_space);
    EXPECT_EQ(device->open("/d/e/c.kmg", fs_open_mode_t::create), nullptr);
    EXPECT_EQ(messages.text(), "E: [fs] /w/d/e: no space left on device\n");
}

TEST(sysfs_device, what_is_no_regular_file_is_never_replaced) {
    captured_messages_t messages;
    fake_file_system_t system;
    system.platform().add_device("/w/null");
    system.platform().add_directory("/w/folder");
    const auto device = system.make_device("/w");
    for (const char *path : {"/null", "/folder"})
        for (const auto mode : {fs_open_mode_t::create_truncate, fs_open_mode_t::atomic}) {
            EXPECT_EQ(device->open(path, mode), nullptr);
            EXPECT_EQ(messages.text(),
                      "E: [fs] /w" + std::string(path) + ": not a regular file, left alone\n");
            messages.clear();
        }
    EXPECT_FALSE(device->remove_old("/null"));
    for (const std::string &call : system.platform().take_calls())
        EXPECT_FALSE(call.starts_with("delete ") || call.starts_with("open ")) << call;
}

TEST(sysfs_device, reasons_that_are_a_surprise_are_told_before_the_operation_fails) {
    captured_messages_t messages;
    fake_file_system_t system;
    system.platform().add_file("/w/file", "");
    const auto device = system.make_device("/w");
    const std::pair<fs_reason_t, const char *> cases[] = {
        {fs_reason_t::not_found, nullptr},
        {fs_reason_t::exists, nullptr},
        {fs_reason_t::refused, "access denied"},
        {fs_reason_t::no_space, "no space left on device"},
        {fs_reason_t::would_block, "in use by another process"},
        {fs_reason_t::unsupported, "not a regular file, or not supported by its file system"},
        {fs_reason_t::other, "input or output error"}};
    for (const auto &[reason, text] : cases) {
        system.platform().fail("open read", reason);
        system.platform().fail("delete", reason);
        EXPECT_EQ(device->open("/file", fs_open_mode_t::read), nullptr);
        EXPECT_FALSE(device->remove_file("/file"));
        const std::string line = text ? "E: [fs] /w/file: " + std::string(text) + "\n" : "";
        EXPECT_EQ(messages.text(), line + line);
        system.platform().fail_no_more();
        messages.clear();
    }
}

TEST(sysfs_device, nothing_is_changed_outside_of_its_tree) {
    captured_messages_t messages;
    fake_file_system_t system;
    system.platform().add_file("/w/other/file", "kept");
    system.platform().add_directory("/w/root");
    const auto device = system.make_device("/w/root");
    system.platform().take_calls();
    for (const char *path : {"/../other/file", "../other/file", "/a/../../other/file", "/..\\other/file"}) {
        EXPECT_EQ(device->open(path, fs_open_mode_t::create_truncate), nullptr) << path;
        EXPECT_EQ(device->open(path, fs_open_mode_t::atomic), nullptr) << path;
        EXPECT_FALSE(device->remove_file(path)) << path;
        EXPECT_FALSE(device->remove_old(path)) << path;
    }
    EXPECT_EQ(system.platform().take_calls(), calls_t{});
    EXPECT_EQ(messages.lines()[0], "E: [fs] /w/root/../other/file: leads out of its tree, left alone");
    EXPECT_TRUE(device->open("/a/../b", fs_open_mode_t::create));
    system.platform().add_file("/w/root/../other/file", ""); // as the fake platform sees it
    EXPECT_TRUE(device->open("/../other/file", fs_open_mode_t::read));
}

TEST(sysfs_device, creating_directories_goes_from_the_top_and_only_the_last_counts) {
    fake_file_system_t system;
    system.platform().add_directory("/w");
    const auto device = system.make_device("/w");
    system.platform().take_calls();
    EXPECT_TRUE(device->create_directories(""));
    EXPECT_EQ(system.platform().take_calls(), calls_t{});
    EXPECT_TRUE(device->create_directories("/a/b/c"));
    EXPECT_EQ(system.platform().take_calls(),
              (calls_t{"stat /w/a/b/c", "mkdir /w/a", "mkdir /w/a/b", "mkdir /w/a/b/c"}));
    EXPECT_TRUE(device->create_directories("/a/b/c"));

    // An intermediate refusal is not the end: the last one may be there for the making.
    system.platform().add_directory("/w/p");
    system.platform().fail("mkdir /w/p");
    EXPECT_FALSE(device->create_directories("/p/q"));
    system.platform().fail_no_more();
    EXPECT_TRUE(device->create_directories("/p/q"));
    EXPECT_TRUE(device->create_directories("r/s"));
    EXPECT_TRUE(system.platform().has_directory("/w/r/s"));
    // Either separator; the platform makes its own of it.
    system.platform().take_calls();
    EXPECT_TRUE(device->create_directories("x\\y"));
    EXPECT_EQ(system.platform().take_calls(), (calls_t{"stat /w/x\\y", "mkdir /w/x", "mkdir /w/x\\y"}));
}

} // namespace kestrel
