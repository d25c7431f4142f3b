#include "kcore/mounts/union_device.h"

#include "kcore/messages/message_system.h"
#include "kcore/ufs/file_system.h"
#include "tests/support/captured_messages.h"
#include "tests/support/child_run.h"
#include "tests/support/fake_platform.h"

#include <gtest/gtest.h>

#include <thread>

namespace kestrel {

namespace {

// A device that knows nothing but its name and, if there is one, a device that it forwards to.
class named_device_t final : public fs_device_t {
  public:
    explicit named_device_t(std::string_view name, fs_device_t *inner = nullptr)
        : fs_device_t(fs_device_kind_t::sysfs, name), inner_(inner) {}

    void set_mount(std::string_view mount_point, uint16_t mount_id, uint32_t owner) override {
        fs_device_t::set_mount(mount_point, mount_id, owner);
        if (inner_)
            inner_->set_mount(mount_point, mount_id, owner);
    }

  private:
    fs_device_t *inner_;
};

class mount : public testing::Test {
  protected:
    ~mount() override { file_system()->union_device.reset(); }
    fake_platform_t &platform() { return system_.platform(); }
    // A folder as a device, mounted.
    fs_device_t &mount_folder(std::string_view root, uint32_t priority) {
        devices_.push_back(system_.make_device(root));
        mounts().register_device(*devices_.back(), priority);
        return *devices_.back();
    }
    static std::string read(const char *path) {
        const auto file = fs_device_open(path, fs_open_mode_t::read, fs_device_type_t::ufs);
        if (!file)
            return "(none)";
        std::string text(file->get_size(), '?');
        return file->read(std::as_writable_bytes(std::span(text))) ? text : "(unread)";
    }

    captured_messages_t messages_;
    fake_file_system_t system_;
    std::vector<std::unique_ptr<fs_device_t>> devices_;
};

} // namespace

TEST_F(mount, a_device_gets_its_number_and_is_announced_without_leading_steps_upwards) {
    const struct {
        const char *name, *message;
    } cases[] = {{"../../base", "I: [fs] device base mounted.\n"},
                 {"../", ""},
                 {"", ""},
                 {"base/../x", "I: [fs] device base/../x mounted.\n"}};
    uint16_t number = 0;
    for (const auto &c : cases) {
        named_device_t device(c.name);
        messages_.clear();
        EXPECT_EQ(mounts().register_device(device, 0), number);
        EXPECT_EQ(mounts().register_device(device, 1), number); // again
        EXPECT_EQ(device.mount_id(), number);
        EXPECT_EQ(device.owner(), union_device_t::number);
        EXPECT_EQ(mounts().find(number), &device);
        EXPECT_EQ(messages_.text(), c.message) << c.name;
        mounts().unregister_device(device);
        EXPECT_EQ(device.mount_id(), fs_device_t::not_mounted);
        EXPECT_EQ(mounts().find(number++), nullptr);
    }
    messages_.clear();
    named_device_t device("never mounted");
    mounts().unregister_device(device);
    EXPECT_EQ(messages_.text(), "E: [ufs] Error unmounting device: device not found!\n");
}

TEST_F(mount, devices_are_told_apart_by_identity_whatever_number_a_forwarding_one_gives) {
    platform().add_file("/store/file", "");
    auto store = system_.make_device("/store");
    named_device_t forwarding("", store.get());
    mounts().register_device(*store, 0);
    mounts().register_device(forwarding, 0); // the store has its number now
    mounts().unregister_device(*store);
    mounts().unregister_device(forwarding);
    store.reset();
    EXPECT_EQ(mounts().size(), 0u);
    EXPECT_EQ(mounts().find(0), nullptr);
    EXPECT_EQ(read("/file"), "(none)");
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
    file_system()->union_device.reset();
    EXPECT_EQ(passing.mount_id(), fs_device_t::not_mounted);
}

TEST(mount_table, holds_8000_devices_one_more_is_fatal) {
    const child_run_t run = run_in_child([] {
        message_system_t::start();
        const console_message_handler_t console(false);
        fake_file_system_t system;
        std::vector<std::unique_ptr<named_device_t>> devices;
        for (size_t i = 0; i <= union_device_t::max_devices; ++i) {
            devices.push_back(std::make_unique<named_device_t>(""));
            if (mounts().register_device(*devices.back(), static_cast<uint32_t>(i % 7)) != i)
                _exit(1);
        }
    });
    EXPECT_EQ(run.status, abnormal_end_status);
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
    mount_folder("/low", 1);
    fs_device_t &high = mount_folder("/high", 3);
    mount_folder("/same", 3);
    mount_folder("/missing", 9);
    platform().take_calls();
    EXPECT_EQ(read("/both"), "high");
    EXPECT_EQ(read("/only"), "only low");
    EXPECT_EQ(read("/third"), "third");
    EXPECT_EQ(read("/none"), "(none)");
    for (const std::string &call : platform().take_calls())
        EXPECT_EQ(call.find("/missing"), std::string::npos) << "an unavailable device was asked: " << call;
    fs_stat_t found;
    EXPECT_TRUE(mounts().stat("/both", found));
    EXPECT_EQ(found.device, &high);

    std::string names;
    const auto listing = mounts().list("/");
    ASSERT_TRUE(listing);
    for (const fs_listing_entry_t &entry : *listing)
        names += std::string(entry.name.view()) + " ";
    EXPECT_EQ(names, "both only third ");
    EXPECT_FALSE(mounts().list("/none"));

    mounts().unregister_device(high);
    EXPECT_TRUE(mounts().remove_file("/both"));
    EXPECT_EQ(read("/both"), "low");
    EXPECT_FALSE(mounts().remove_file("/none"));
}

TEST_F(mount, a_device_for_which_a_path_is_too_long_is_passed_over_in_silence) {
    const std::string deep = "/" + std::string(250, 'd');
    platform().add_directory(deep);
    platform().add_file("/low/file", "low");
    mount_folder("/low", 0);
    mount_folder(deep, 1);
    messages_.clear();
    EXPECT_EQ(read("/file"), "low");
    EXPECT_TRUE(mounts().is_file("/file"));
    EXPECT_TRUE(fs_device_open("/fresh", fs_open_mode_t::create, fs_device_type_t::ufs));
    EXPECT_EQ(messages_.text(), "");
}

TEST_F(mount, what_is_written_is_what_is_read_back) {
    platform().add_file("/low/old", "old");
    platform().add_directory("/high");
    mount_folder("/low", 0);
    mount_folder("/high", 1);
    const auto write = [](const char *path, fs_open_mode_t mode) {
        const auto file = fs_device_open(path, mode, fs_device_type_t::ufs);
        return file && file->printf("new") && (mode != fs_open_mode_t::atomic || file->commit());
    };
    EXPECT_TRUE(write("/old", fs_open_mode_t::create_truncate));
    EXPECT_EQ(platform().content("/low/old"), "new");
    EXPECT_FALSE(write("/old", fs_open_mode_t::create));
    EXPECT_TRUE(write("/d/fresh", fs_open_mode_t::atomic));
    EXPECT_EQ(platform().content("/high/d/fresh"), "new");
}

TEST_F(mount, looking_up_and_mounting_from_several_threads) {
    platform().add_file("/base/file", "base");
    mount_folder("/base", 1);
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([] {
            for (uint32_t i = 0; i < 200; ++i) {
                named_device_t device("");
                mounts().register_device(device, i % 3);
                ASSERT_EQ(read("/file"), "base");
                mounts().unregister_device(device);
            }
        });
    for (std::thread &thread : threads)
        thread.join();
    EXPECT_EQ(mounts().size(), 1u);
}

TEST_F(mount, opening_by_device_type_sets_the_path_kind_and_reports_what_fails) {
    platform().add_file("/w/relative", "");
    mount_folder("/w", 0);
    messages_.clear();
    const auto open = [](const char *path, uint32_t type) {
        return fs_device_open(path, fs_open_mode_t::read, static_cast<fs_device_type_t>(type));
    };
    EXPECT_EQ(display_name_of(open("/relative", 1).get()).view(), "</w | >/relative");
    EXPECT_EQ(display_name_of(open("/w/relative", 2).get()).view(), "<SYSFS>/w/relative");
    EXPECT_FALSE(open("relative", 1));
    EXPECT_FALSE(open("/none", 1));
    EXPECT_FALSE(open("none", 2));
    EXPECT_FALSE(fs_device_open("/w/relative", fs_open_mode_t::create, fs_device_type_t::sysfs));
    EXPECT_FALSE(open("/a", 3));
    file_system()->union_device.reset();
    EXPECT_FALSE(open("/a", 1));
    EXPECT_EQ(
        messages_.text(),
        "E: [fs] fs_device_open() called with invalid path 'relative' (expected absolute path, starting "
        "with slash).\n"
        "E: [fs] Failed to open file '/none' in the read mode.\n"
        "E: [fs] Failed to open file 'none' in the read mode.\n"
        "E: [fs] Failed to open file '/w/relative' in the create mode.\n"
        "E: [fs] Unable to retrieve device pointer of specified type (3) for '/a'.\n"
        "E: [fs] Unable to retrieve device pointer of specified type (1) for '/a'.\n");
}

} // namespace kestrel
