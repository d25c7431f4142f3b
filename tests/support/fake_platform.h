#pragma once

// A file system in memory behind the seam to the operating system, for tests of what stands on that seam.
//
// It notes every call as one line, the name of the operation and its arguments:
//
//   open create /w/a     close /w/a            stat /w/a        stat_file /w/a
//   read /w/a 0+10       write /w/a 4096+8     resize /w/a 5    flush /w/a     flush_directory /w
//   delete /w/a   mkdir /w/d   rmdir /w/d   move /w/a /w/b   list /w
//
// Calls can be made to fail by the start of such a line or by their number, and watched. Transfers can be cut
// short, and held until the test lets them go. Safe from several threads.

#include "kcore/ufs/file_system.h"

#include <condition_variable>
#include <functional>
#include <map>
#include <mutex>
#include <set>
#include <string>
#include <vector>

namespace kestrel {

// What happens to a call that is spoilt by its number.
enum class fault_t {
    none,
    fails,
    all_fail,   // this one and every later one
    moves_less, // a transfer moves half of its bytes
};

class fake_platform_t final : public fs_platform_t {
    mutable std::recursive_mutex mutex_;

    template <class F>
    auto locked(F f) const {
        const std::scoped_lock guard(mutex_);
        return f();
    }

  public:
    void add_directory(const std::string &path);
    // With the directories above it.
    void add_file(const std::string &path, std::string_view content);
    void remove(const std::string &path) {
        locked([&] { files_.erase(path); });
    }
    // Something that is no regular file: a device, a pipe.
    void add_device(const std::string &path);
    bool has_file(const std::string &path) const {
        return locked([&] { return files_.contains(path); });
    }
    bool has_directory(const std::string &path) const {
        return locked([&] { return directories_.contains(path); });
    }
    std::string content(const std::string &path) const {
        return locked([&] { return *files_.at(path); });
    }
    // Every file with its content.
    std::map<std::string, std::string> files() const;
    size_t open_file_count() const {
        return locked([&] { return open_files_.size(); });
    }

    // What has been asked since the last time.
    std::vector<std::string> take_calls() {
        return locked([&] { return std::exchange(calls_, {}); });
    }

    // From now on calls whose line begins so fail without effect (a close closes).
    void fail(const std::string &call, fs_reason_t reason = fs_reason_t::other) {
        locked([&] { faults_.emplace_back(call, reason); });
    }
    void fail_no_more() {
        locked([&] { faults_.clear(); });
    }
    // Counts calls from 1 on, and spoils that one.
    void spoil(size_t call, fault_t fault, fs_reason_t reason);
    size_t call_count() const {
        return locked([&] { return call_count_; });
    }
    // The line of the first call that was spoilt by its number; empty when none was.
    std::string spoilt() const {
        return locked([&] { return spoilt_; });
    }
    // Called after every operation.
    void watch(std::function<void()> after_each) { after_each_ = std::move(after_each); }

    // One transfer moves at most so many bytes.
    void limit_transfers(size_t most) {
        locked([&] { most_bytes_ = most; });
    }
    // Transfers wait from now on, until they are let go.
    void hold_transfers() {
        locked([&] { holding_ = true; });
    }
    void let_transfers_go();
    // Returns when so many wait.
    void wait_for_held_transfers(size_t count);
    size_t most_transfers_at_once() const {
        return locked([&] { return most_held_; });
    }

    fs_reason_t open(const char *path, fs_open_mode_t mode, fs_handle_t &handle) override;
    fs_reason_t close(fs_handle_t handle) override;
    fs_reason_t read(fs_handle_t handle, std::span<std::byte> buffer, uint64_t position,
                     size_t &moved) override;
    fs_reason_t write(fs_handle_t handle, std::span<const std::byte> bytes, uint64_t position,
                      size_t &moved) override;
    fs_reason_t set_end_of_file(fs_handle_t handle, uint64_t size) override;
    fs_reason_t flush_file(fs_handle_t handle) override;
    fs_reason_t flush_directory(const char *path) override;
    fs_reason_t stat_file(fs_handle_t handle, fs_stat_t &out) override;
    fs_reason_t stat_path(const char *path, fs_stat_t &out) override;
    fs_reason_t delete_file(const char *path) override;
    fs_reason_t create_directory(const char *path) override;
    fs_reason_t remove_directory(const char *path) override;
    fs_reason_t move_file(const char *from, const char *to, bool replace) override;
    fs_reason_t list(const char *path, fs_listing_t &entries) override;

  private:
    using content_t = std::shared_ptr<std::string>;
    using lock_t = std::unique_lock<std::recursive_mutex>;

    struct open_file_t {
        std::string path;
        content_t content;
    };

    // Makes one operation under the lock, unless it is spoilt.
    template <class F>
    fs_reason_t perform(const std::string &call, F operation);
    // The same for a transfer; the operation gets the number of bytes that it may move.
    template <class F>
    fs_reason_t transfer(const std::string &call, size_t wanted, F operation);
    // Under the lock: notes the call and says how it is to fail.
    fs_reason_t note(const std::string &call);
    void end_operation() const {
        if (after_each_)
            after_each_();
    }
    bool has_parent(const std::string &path) const;
    bool anything_below(const std::string &path) const;
    open_file_t &file_of(fs_handle_t handle);
    std::string path_of(fs_handle_t handle) {
        return locked([&] { return file_of(handle).path; });
    }

    std::map<std::string, content_t> files_;
    std::set<std::string> directories_;
    std::set<std::string> devices_;
    std::map<intptr_t, open_file_t> open_files_;
    intptr_t next_handle_ = 100;

    std::vector<std::string> calls_;
    std::vector<std::pair<std::string, fs_reason_t>> faults_;
    size_t call_count_ = 0;
    size_t spoilt_call_ = 0;
    fault_t fault_ = fault_t::none;
    fs_reason_t spoilt_reason_ = fs_reason_t::other;
    std::string spoilt_;
    std::function<void()> after_each_;

    std::condition_variable_any held_changed_;
    bool holding_ = false;
    size_t held_ = 0;
    size_t most_held_ = 0;
    size_t most_bytes_ = SIZE_MAX;
};

// The process's file system on a fake platform, while it lives.
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
