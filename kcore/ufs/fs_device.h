#pragma once

// A device answers for one tree of files.
//
// Contract: paths are UTF-8 with '/' as the separator; '\', which some users write, separates folders as well
// where folders are made. A virtual path begins with '/'. Open gives a file that the caller owns and that
// must not outlive the device, or null. Other operations give false when they fail. What a device does not
// support fails without a message: that is what the base class does.

#include "kcore/ufs/file.h"
#include "kcore/ufs/fs_types.h"

#include <memory>
#include <optional>
#include <string_view>

namespace kestrel {

enum class fs_device_kind_t : uint32_t { sysfs = 1, rcfs = 2, union_of_devices = 5 };

// What a loading service would know of a file. There is none, so nobody defines it.
struct fs_meta_t;

class fs_device_t {
  public:
    static constexpr uint16_t not_mounted = 0xFFFF;

    virtual ~fs_device_t() = default;
    fs_device_t(const fs_device_t &) = delete;
    fs_device_t &operator=(const fs_device_t &) = delete;

    virtual std::unique_ptr<file_t> open(std::string_view, fs_open_mode_t) { return nullptr; }
    virtual bool remove_file(std::string_view) { return false; }
    virtual bool stat(std::string_view, fs_stat_t &) { return false; }
    bool is_file(std::string_view path);
    bool is_directory(std::string_view path);
    // False for a path that this device cannot have, being too long below its root. Says nothing.
    virtual bool can_name(std::string_view) const { return true; }

    // What devices ask of a loading service: what it knows of a file, and reads of parts of files that it
    // carries out. No device of this library has one, so the first gives false and the second is empty.
    virtual bool get_meta(std::string_view, fs_meta_t &) { return false; }
    virtual fs_request_t read_chunk(std::string_view path, std::span<std::byte> buffer, uint64_t position);
    virtual bool chunk_finished(const fs_request_t &) { return false; }
    virtual bool release_chunk(fs_request_t &) { return false; }

    virtual bool create_directories(std::string_view) { return false; }
    // Those above the last separator of the path; a path without one, or with only a leading one, needs none.
    bool create_parent_directories(std::string_view path);
    virtual bool remove_directory(std::string_view) { return false; }
    // From, to, and whether a file that has the second name is replaced.
    virtual bool copy_file(std::string_view, std::string_view, bool) { return false; }
    virtual bool move_file(std::string_view, std::string_view, bool) { return false; }
    virtual std::optional<fs_listing_t> list(std::string_view) { return std::nullopt; }
    virtual void set_mount(std::string_view mount_point, uint16_t mount_id, uint32_t owner);

    const string_dyn_t &name() const { return name_; }
    const string_dyn_t &mount_point() const { return mount_point_; }
    uint16_t mount_id() const { return mount_id_; }
    // The number of the union device that mounted this one.
    uint32_t owner() const { return owner_; }
    fs_device_kind_t kind() const { return kind_; }
    // False when the tree was not there at construction. Such a device stays in place; a union skips it.
    bool available() const { return available_; }

  protected:
    fs_device_t(fs_device_kind_t kind, std::string_view name) : kind_(kind), name_(name) {}
    void set_available(bool available) { available_ = available; }

  private:
    fs_device_kind_t kind_;
    string_dyn_t name_;
    string_dyn_t mount_point_;
    uint16_t mount_id_ = not_mounted;
    uint32_t owner_ = 0;
    bool available_ = true;
};

} // namespace kestrel
