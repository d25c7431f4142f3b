#include "kcore/mounts/union_device.h"

#include "kcore/ufs/file_system.h"
#include "tests/support/captured_messages.h"
#include "tests/support/fake_platform.h"

#include <gtest/gtest.h>

namespace kestrel {

namespace {

// A device that knows nothing but its name.
class named_device_t final : public fs_device_t {
  public:
    explicit named_device_t(std::string_view name) : fs_device_t(fs_device_kind_t::sysfs, name) {}
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
        EXPECT_EQ(messages_.text(), c.message) << c.name;
        mounts().unregister_device(device);
        EXPECT_EQ(device.mount_id(), fs_device_t::not_mounted);
        ++number;
    }
    messages_.clear();
    named_device_t device("never mounted");
    mounts().unregister_device(device);
    EXPECT_EQ(messages_.text(), "E: [ufs] Error unmounting device: device not found!\n");
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
