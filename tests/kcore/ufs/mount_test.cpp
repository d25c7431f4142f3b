#include "kcore/messages/console_message_handler.h"
#include "tests/support/captured_messages.h"
#include "tests/support/child_run.h"
#include "tests/support/fake_platform.h"

#include <gtest/gtest.h>

#include <csignal>
#include <thread>

namespace kestrel {

namespace {

// A device that knows nothing but its name.
class named_device_t final : public fs_device_t {
  public:
    explicit named_device_t(std::string_view name) : fs_device_t(fs_device_kind_t::sysfs, name) {}
};

class mount : public testing::Test {
  protected:
    fake_platform_t &platform() { return system_.platform(); }
    ufs_mount_tracker_t &mounts() { return file_system()->mounts; }
    union_device_t &all() { return file_system()->union_device; }

    captured_messages_t messages_;
    fake_file_system_t system_;
};

std::string text_of(const std::unique_ptr<file_t> &file) {
    if (!file)
        return "(none)";
    std::string text(file->get_size(), '?');
    return file->read(std::as_writable_bytes(std::span(text))) ? text : "(unread)";
}

} // namespace

TEST_F(mount, numbers_come_in_order_and_a_device_gets_its_mount_fields) {
    named_device_t a("a"), b("b");
    EXPECT_EQ(mounts().register_device(a, 0), 0);
    EXPECT_EQ(mounts().register_device(b, 0), 1);
    EXPECT_EQ(mounts().register_device(a, 0), 0);
    EXPECT_EQ(b.mount_id(), 1);
    EXPECT_EQ(b.mount_point().view(), "");
    EXPECT_EQ(b.owner(), union_device_t::number);
    EXPECT_EQ(mounts().find(1), &b);
    EXPECT_EQ(mounts().find(2), nullptr);

    mounts().unregister_device(b);
    EXPECT_EQ(b.mount_id(), fs_device_t::not_mounted);
    EXPECT_EQ(mounts().find(1), nullptr);
    // A number is not used again before the counter has come round.
    EXPECT_EQ(mounts().register_device(b, 0), 2);
    EXPECT_EQ(messages_.text(), "I: [fs] device a mounted.\nI: [fs] device b mounted.\n"
                                "I: [fs] device b mounted.\n");
}

TEST_F(mount, the_message_leaves_out_leading_steps_upwards) {
    const struct {
        const char *name, *message;
    } cases[] = {{"../../base", "I: [fs] device base mounted.\n"},
                 {"../", ""},
                 {"", ""},
                 {"base/../x", "I: [fs] device base/../x mounted.\n"}};
    for (const auto &c : cases) {
        named_device_t device(c.name);
        messages_.clear();
        mounts().register_device(device, 0);
        EXPECT_EQ(messages_.text(), c.message) << c.name;
        mounts().unregister_device(device);
    }
}

TEST_F(mount, a_device_that_is_not_mounted_cannot_be_unmounted) {
    named_device_t device(""), other("");
    mounts().register_device(other, 0);
    mounts().unregister_device(device);
    EXPECT_EQ(messages_.text(), "E: [ufs] Error unmounting device: device not found!\n");
    EXPECT_EQ(mounts().size(), 1u);
}

TEST_F(mount, numbers_wrap_around_and_skip_those_in_use) {
    named_device_t kept[3] = {named_device_t(""), named_device_t(""), named_device_t("")};
    for (named_device_t &device : kept)
        mounts().register_device(device, 0); // 0, 1, 2
    mounts().unregister_device(kept[1]);
    named_device_t passing("");
    for (uint32_t expected = 3; expected <= 65535; ++expected) {
        ASSERT_EQ(mounts().register_device(passing, 0), expected);
        mounts().unregister_device(passing);
    }
    EXPECT_EQ(mounts().register_device(passing, 0), 1); // 0 is in use
    EXPECT_EQ(mounts().register_device(kept[1], 0), 3); // so is 2
    EXPECT_EQ(mounts().find(0), &kept[0]);
    EXPECT_EQ(mounts().find(1), &passing);
    EXPECT_EQ(mounts().find(2), &kept[2]);
    EXPECT_EQ(mounts().find(3), &kept[1]);
}

TEST_F(mount, holds_8000_devices) {
    std::vector<std::unique_ptr<named_device_t>> devices;
    for (size_t i = 0; i < ufs_mount_tracker_t::max_devices; ++i) {
        devices.push_back(std::make_unique<named_device_t>(""));
        ASSERT_EQ(mounts().register_device(*devices.back(), static_cast<uint32_t>(i % 7)), i);
    }
    for (size_t i = 0; i < devices.size(); ++i)
        ASSERT_EQ(mounts().find(static_cast<uint16_t>(i)), devices[i].get());
    for (const auto &device : devices)
        mounts().unregister_device(*device);
    EXPECT_EQ(mounts().size(), 0u);
    EXPECT_EQ(messages_.text(), "");
}

TEST(mount_table, that_is_full_is_fatal) {
    const child_run_t run = run_in_child([] {
        message_system_t::start();
        const console_message_handler_t console(false);
        fake_file_system_t system;
        std::vector<std::unique_ptr<named_device_t>> devices;
        for (size_t i = 0; i < ufs_mount_tracker_t::max_devices; ++i) {
            devices.push_back(std::make_unique<named_device_t>(""));
            file_system()->mounts.register_device(*devices.back(), 0);
        }
        named_device_t one_more("");
        file_system()->mounts.register_device(one_more, 0);
    });
    EXPECT_EQ(run.status, 128 + SIGABRT);
    EXPECT_TRUE(run.errors.starts_with("*** ERROR *** : kcore/ufs/fs_mount_tracker(")) << run.errors;
    EXPECT_TRUE(run.errors.ends_with("): kestrel::ufs_mount_tracker_t::register_device: [ufs] The table of "
                                     "UFS mounted devices is full.\r\n"))
        << run.errors;
}

TEST_F(mount, a_path_belongs_to_the_device_of_highest_priority_that_has_it) {
    platform().add_file("/low/both", "low");
    platform().add_file("/low/only", "only low");
    platform().add_file("/high/both", "high");
    platform().add_file("/same/both", "same");
    platform().add_file("/same/third", "third");
    const auto low = system_.make_device("/low"), high = system_.make_device("/high"),
               same = system_.make_device("/same"), missing = system_.make_device("/missing");
    mounts().register_device(*low, 1);
    mounts().register_device(*high, 3);
    mounts().register_device(*same, 3);
    mounts().register_device(*missing, 9);
    platform().take_calls();
    const auto read = [&](const char *path) {
        return text_of(fs_device_open(path, fs_open_mode_t::read, fs_device_type_t::ufs));
    };
    EXPECT_EQ(read("/both"), "high");
    EXPECT_EQ(read("/only"), "only low");
    EXPECT_EQ(read("/third"), "third");
    EXPECT_EQ(read("/none"), "(none)");
    for (const std::string &call : platform().take_calls())
        EXPECT_EQ(call.find("/missing"), std::string::npos) << "an unavailable device was asked: " << call;
    fs_stat_t found;
    EXPECT_TRUE(all().stat("/both", found));
    EXPECT_EQ(found.device, high.get());
    EXPECT_TRUE(all().is_file("/only"));

    const auto listing = all().list("/");
    ASSERT_TRUE(listing);
    std::string names;
    for (const fs_listing_entry_t &entry : *listing)
        names += std::string(entry.name.view()) + " ";
    EXPECT_EQ(names, "both only third ");
    EXPECT_FALSE(all().list("/none"));

    mounts().unregister_device(*high);
    EXPECT_EQ(read("/both"), "same");
    EXPECT_TRUE(all().remove_file("/both"));
    EXPECT_EQ(read("/both"), "low");
    EXPECT_FALSE(all().remove_file("/none"));
}

TEST_F(mount, what_is_written_is_what_is_read_back) {
    platform().add_file("/low/old", "old");
    platform().add_directory("/high");
    const auto low = system_.make_device("/low"), high = system_.make_device("/high");
    mounts().register_device(*low, 0);
    mounts().register_device(*high, 1);
    const auto write = [](const char *path, fs_open_mode_t mode) {
        const auto file = fs_device_open(path, mode, fs_device_type_t::ufs);
        return file && file->printf("new") && (mode != fs_open_mode_t::atomic || file->commit());
    };
    EXPECT_TRUE(write("/old", fs_open_mode_t::create_truncate));
    EXPECT_EQ(platform().content("/low/old"), "new");
    EXPECT_FALSE(write("/old", fs_open_mode_t::create));
    EXPECT_TRUE(write("/d/fresh", fs_open_mode_t::create));
    EXPECT_EQ(platform().content("/high/d/fresh"), "new");
    EXPECT_TRUE(write("/atomic", fs_open_mode_t::atomic));
    EXPECT_EQ(platform().content("/high/atomic"), "new");
}

TEST_F(mount, looking_up_and_mounting_from_several_threads) {
    platform().add_file("/base/file", "base");
    const auto base = system_.make_device("/base");
    mounts().register_device(*base, 1);
    std::vector<std::thread> threads;
    for (int t = 0; t < 2; ++t)
        threads.emplace_back([&] {
            for (int i = 0; i < 300; ++i) {
                named_device_t device("");
                mounts().register_device(device, static_cast<uint32_t>(i % 3));
                mounts().unregister_device(device);
            }
        });
    for (int t = 0; t < 2; ++t)
        threads.emplace_back([] {
            for (int i = 0; i < 300; ++i)
                ASSERT_EQ(text_of(fs_device_open("/file", fs_open_mode_t::read, fs_device_type_t::ufs)),
                          "base");
        });
    for (std::thread &thread : threads)
        thread.join();
    EXPECT_EQ(mounts().size(), 1u);
}

TEST_F(mount, device_open_reports_what_fails) {
    const struct {
        const char *path;
        fs_open_mode_t mode;
        uint32_t type;
        const char *message;
    } cases[] = {
        {"relative", fs_open_mode_t::read, 1,
         "E: [fs] fs_device_open() called with invalid path 'relative' (expected absolute path, starting "
         "with "
         "slash).\n"},
        {"/none", fs_open_mode_t::read, 1, "E: [fs] Failed to open file '/none' in the read mode.\n"},
        {"/d/none", fs_open_mode_t::create, 1, "E: [fs] Failed to open file '/d/none' in the create mode.\n"},
        {"none", fs_open_mode_t::read, 2, "E: [fs] Failed to open file 'none' in the read mode.\n"},
        {"/file/x", fs_open_mode_t::create_truncate, 2,
         "E: [fs] Failed to open file '/file/x' in the create_truncate mode.\n"},
        {"/file/x", fs_open_mode_t::create_or_read_write, 2,
         "E: [fs] Failed to open file '/file/x' in the create_or_read_write mode.\n"},
        {"/file/x", fs_open_mode_t::atomic, 2, "E: [fs] Failed to open file '/file/x' in the atomic mode.\n"},
        {"/a", fs_open_mode_t::read, 0,
         "E: [fs] Unable to retrieve device pointer of specified type (0) for '/a'.\n"},
        {"/a", fs_open_mode_t::read, 3,
         "E: [fs] Unable to retrieve device pointer of specified type (3) for '/a'.\n"},
    };
    platform().add_file("/file", "");
    for (const auto &c : cases) {
        EXPECT_EQ(fs_device_open(c.path, c.mode, static_cast<fs_device_type_t>(c.type)), nullptr);
        EXPECT_EQ(messages_.text(), c.message);
        messages_.clear();
    }
}

TEST_F(mount, device_open_sets_the_path_kind) {
    platform().add_file("/w/relative", "");
    const auto device = system_.make_device("/w");
    mounts().register_device(*device, 0);
    const auto by_union = fs_device_open("/relative", fs_open_mode_t::read, fs_device_type_t::ufs);
    ASSERT_TRUE(by_union);
    EXPECT_EQ(by_union->path_kind(), fs_path_kind_t::ufs);
    EXPECT_EQ(display_name_of(by_union.get()).view(), "</w | >/relative");
    string_dyn_t path;
    EXPECT_TRUE(by_union->get_mount_path(path));
    EXPECT_EQ(path.view(), "/relative");
    EXPECT_EQ(by_union->get_mount_id(), 0);
    const auto by_system = fs_device_open("/w/relative", fs_open_mode_t::atomic, fs_device_type_t::sysfs);
    EXPECT_EQ(display_name_of(by_system.get()).view(), "<atomic><SYSFS>/w/relative");
    EXPECT_TRUE(by_system->cancel());
}

TEST(device_open, without_a_file_system_finds_no_device) {
    captured_messages_t messages;
    EXPECT_EQ(fs_device_open("/a", fs_open_mode_t::read, fs_device_type_t::sysfs), nullptr);
    EXPECT_EQ(messages.text(), "E: [fs] Unable to retrieve device pointer of specified type (2) for '/a'.\n");
}

} // namespace kestrel
