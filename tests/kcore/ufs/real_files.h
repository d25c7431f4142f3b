#pragma once

// The system's own layer, on a real disk, mostly through the system device.

#include "kcore/ufs/file_system.h"
#include "kcore/ufs/sysfs_file.h"
#include "tests/support/captured_messages.h"
#include "tests/support/temporary_directory.h"

#include <gtest/gtest.h>

namespace kestrel {

class real_files : public testing::Test {
  protected:
    ~real_files() override { file_system_stop(); }

    std::unique_ptr<sysfs_file_t> open(const std::string &name, fs_open_mode_t mode) {
        return device_.open_plain(directory_ / name, mode);
    }
    void make_folder(const std::string &name) {
        ASSERT_TRUE(std::filesystem::create_directory(directory_ / name));
    }
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

} // namespace kestrel
