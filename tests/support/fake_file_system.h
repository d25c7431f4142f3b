#pragma once

// The process's file system, while it lives, on a fake platform.

#include "kcore/ufs/file_system.h"
#include "tests/support/fake_platform.h"

namespace kestrel {

class fake_file_system_t {
  public:
    fake_file_system_t() {
        auto made = std::make_unique<fake_platform_t>();
        platform_ = made.get();
        file_system_start(std::move(made));
    }
    ~fake_file_system_t() { file_system_stop(); }
    fake_file_system_t(const fake_file_system_t &) = delete;
    fake_file_system_t &operator=(const fake_file_system_t &) = delete;

    fake_platform_t &platform() { return *platform_; }
    sysfs_device_t &system_device() { return file_system()->system_device; }
    // A device of its own over a directory.
    std::unique_ptr<sysfs_device_t> make_device(std::string_view root) {
        return std::make_unique<sysfs_device_t>(root, *platform_, file_system()->pump);
    }

  private:
    fake_platform_t *platform_;
};

} // namespace kestrel
