#include "kcore/ufs/rcfs_device.h"

#include "kcore/ufs/io_pump.h"
#include "tests/support/captured_messages.h"
#include "tests/support/fake_platform.h"

#include <gtest/gtest.h>

namespace kestrel {

namespace {

constexpr const char *warning =
    "W: Expected rcfs_device_t::perform_conversion() to be true, but it is not.\n";

class rcfs_device : public testing::Test {
  protected:
    rcfs_device() {
        platform().add_directory("/w/project");
        platform().add_directory("/w/base");
    }
    fake_platform_t &platform() { return system_.platform(); }

    captured_messages_t messages_;
    fake_file_system_t system_;
};

} // namespace

TEST_F(rcfs_device, construction_creates_the_output_directories_and_six_stores) {
    rcfs_device_t device(*file_system(), "/w", "project");
    EXPECT_EQ(device.name().view(), "project");
    EXPECT_EQ(device.kind(), fs_device_kind_t::rcfs);
    EXPECT_EQ(device.primary_store().name().view(), "/w/project");
    EXPECT_EQ(device.cache_store().name().view(), "/w/rsrc/project/@cache");
    EXPECT_EQ(device.dependency_store().name().view(), "/w/rsrc/project/@dep");
    EXPECT_TRUE(device.cache_store().available());
    EXPECT_TRUE(device.dependency_store().available());
    ASSERT_EQ(device.fallback_stores().size(), 3u);
    const char *const names[] = {"/w/base", "/w/base_vehicle", "/w/base_share"};
    for (size_t i = 0; i < 3; ++i)
        EXPECT_EQ(device.fallback_stores()[i]->name().view(), names[i]);
    EXPECT_TRUE(device.fallback_stores()[0]->available());
    EXPECT_FALSE(device.fallback_stores()[1]->available());
    EXPECT_EQ(messages_.text(), "");
}

TEST_F(rcfs_device, serves_the_cache_store) {
    platform().add_file("/w/project/only_source", "");
    rcfs_device_t device(*file_system(), "/w", "project");
    EXPECT_EQ(device.open("/only_source", fs_open_mode_t::read), nullptr);
    EXPECT_TRUE(device.open("/model/a.kmg", fs_open_mode_t::create_truncate));
    EXPECT_TRUE(platform().has_file("/w/rsrc/project/@cache/model/a.kmg"));
    EXPECT_TRUE(device.is_file("/model/a.kmg"));
    EXPECT_TRUE(device.is_directory("/model"));
    EXPECT_TRUE(device.create_parent_directories("/top"));
    EXPECT_EQ(device.list("/model")->size(), 1u);
    device.set_mount("/m", 3, 1);
    EXPECT_EQ(device.mount_id(), 3);
    EXPECT_EQ(device.cache_store().mount_id(), 3);
    EXPECT_EQ(device.cache_store().mount_point().view(), "/m");
    EXPECT_EQ(device.primary_store().mount_id(), fs_device_t::not_mounted);

    EXPECT_FALSE(device.create_directories("/d"));
    EXPECT_FALSE(device.remove_directory("/model"));
    EXPECT_FALSE(device.copy_file("/model/a.kmg", "/b", true));
    EXPECT_FALSE(device.move_file("/model/a.kmg", "/b", true));
}

TEST_F(rcfs_device, removing_takes_output_and_record_and_always_succeeds) {
    rcfs_device_t device(*file_system(), "/w", "project");
    platform().add_file("/w/rsrc/project/@cache/a.kmg", "");
    platform().add_file("/w/rsrc/project/@dep/a.kmg", "");
    EXPECT_TRUE(device.remove_file("/a.kmg"));
    EXPECT_FALSE(platform().has_file("/w/rsrc/project/@cache/a.kmg"));
    EXPECT_FALSE(platform().has_file("/w/rsrc/project/@dep/a.kmg"));
    EXPECT_EQ(messages_.text(), warning);
    EXPECT_TRUE(device.remove_file("/a.kmg"));
    EXPECT_EQ(messages_.text(), std::string(warning) + warning);
}

} // namespace kestrel
