#pragma once

// A layer over another platform that counts operations and spoils some of them.
//
// Operations are numbered from 1 in the order in which they begin, open and stat and delete like transfers. A
// spoilt operation never reaches the platform beneath, but for a short transfer, of which half does.

#include "kcore/ufs/platform/platform.h"

#include <functional>
#include <string>

namespace kestrel {

enum class fault_t {
    none,
    fails,         // the operation fails
    all_fail,      // so do all after it
    moves_less,    // a transfer moves half of what it was asked to, at least a byte; others are not spoilt
    is_interrupted // a transfer moves nothing and says so; others are not spoilt
};

class faulty_platform_t final : public fs_platform_t {
  public:
    explicit faulty_platform_t(fs_platform_t &beneath) : beneath_(beneath) {}

    // Counts anew.
    void spoil(size_t operation, fault_t fault);
    size_t operations() const { return count_; }
    // The spoilt operation, such as "write /w/a"; empty when none was.
    const std::string &spoilt() const { return spoilt_; }
    // Called after every operation.
    void watch(std::function<void()> after_each) { after_each_ = std::move(after_each); }

    fs_handle_t open(const char *path, fs_open_mode_t mode) override;
    bool close(fs_handle_t handle) override;
    fs_transfer_result_t read(fs_handle_t handle, std::span<std::byte> buffer, uint64_t position) override;
    fs_transfer_result_t write(fs_handle_t handle, std::span<const std::byte> bytes,
                               uint64_t position) override;
    bool set_end_of_file(fs_handle_t handle, uint64_t size) override;
    bool flush_file(fs_handle_t handle) override;
    bool flush_directory(const char *path) override;
    bool stat_file(fs_handle_t handle, fs_stat_t &out) override;
    bool stat_path(const char *path, fs_stat_t &out) override;
    bool delete_file(const char *path) override;
    bool create_directory(const char *path) override;
    bool remove_directory(const char *path) override;
    bool copy_file(const char *from, const char *to, bool overwrite) override;
    bool move_file(const char *from, const char *to, bool replace) override;
    std::optional<fs_listing_t> list(const char *path) override;

  private:
    // Counts the operation and tells what happens to it.
    fault_t begin(const char *name, const char *path, bool transfers = false);
    // Makes the operation, or gives what it gives when it fails.
    template <class F, class R>
    R unless_spoilt(const char *name, const char *path, R failure, F operation);
    template <class bytes_t, class F>
    fs_transfer_result_t transfer(const char *name, bytes_t bytes, F operation);
    void end() const {
        if (after_each_)
            after_each_();
    }

    fs_platform_t &beneath_;
    std::function<void()> after_each_;
    size_t count_ = 0;
    size_t spoilt_operation_ = 0;
    fault_t fault_ = fault_t::none;
    std::string spoilt_;
};

} // namespace kestrel
