#pragma once

// One directory of the operating system's file system as a device.
//
// The root is a directory in '/' form without a trailing '/'; the empty root adds no prefix, so that the
// device takes operating-system paths as they are. A path whose system location has more than 255 bytes, or
// that holds a NUL, is refused with an error that names it. So is, below a root, one that is to be changed
// and whose ".." lead out of the device's tree; reading it is allowed, skeletons are named that way.
//
// Whatever fails for a reason that is a surprise (not: nothing is there, or something already is) says it in
// one line, "[fs] LOCATION: REASON".

#include "kcore/ufs/fs_device.h"
#include "kcore/ufs/platform/platform.h"

namespace kestrel {

class fs_io_pump_t;
class sysfs_file_t;

class sysfs_device_t final : public fs_device_t {
  public:
    // Platform and pump are shared by all devices and outlive them.
    sysfs_device_t(std::string_view root, fs_platform_t &platform, fs_io_pump_t &pump);

    // Every mode but read creates missing parent directories first. Mode create_truncate replaces a regular
    // file, or a link to one and not what it points to, and so does the commit of mode atomic; what else has
    // the name is left alone, and opening fails.
    std::unique_ptr<file_t> open(std::string_view path, fs_open_mode_t mode) override;
    bool can_name(std::string_view path) const override;
    bool remove_file(std::string_view path) override;
    bool stat(std::string_view path, fs_stat_t &out) override;
    bool create_directories(std::string_view path) override;
    bool remove_directory(std::string_view path) override;
    bool copy_file(std::string_view from, std::string_view to, bool overwrite) override;
    bool move_file(std::string_view from, std::string_view to, bool replace) override;
    std::optional<fs_listing_t> list(std::string_view path) override;

    // Opens in any mode but atomic.
    std::unique_ptr<sysfs_file_t> open_plain(std::string_view path, fs_open_mode_t mode);
    // Whether a new file may take the name: nothing has it, or a regular file or a link to one. Says when
    // not.
    bool may_replace(std::string_view path);
    // Removes what a new file may take the name of; true when nothing has the name any more.
    bool remove_old(std::string_view path);
    bool get_system_location(std::string_view path, mstring_t &location) const;

    fs_platform_t &platform() const { return platform_; }
    fs_io_pump_t &pump() const { return pump_; }

  private:
    bool locate_for_change(std::string_view path, fs_path_t &location) const;
    bool check_replaceable(const fs_path_t &location, bool &there);
    bool remove_old_at(const fs_path_t &location);
    bool create_anew(sysfs_file_t &file, const fs_path_t &location);
    bool create_directory(const fs_path_t &location);
    std::unique_ptr<sysfs_file_t> open_at(const fs_path_t &location, std::string_view path,
                                          fs_open_mode_t mode);

    fs_platform_t &platform_;
    fs_io_pump_t &pump_;
};

} // namespace kestrel
