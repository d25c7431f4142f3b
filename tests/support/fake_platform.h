#pragma once

// A file system in memory behind the seam to the operating system, for tests of what stands on that seam.
//
// It notes every call as one line, the name of the operation and its arguments:
//
//   open create_truncate /w/a     close /w/a            stat /w/a        stat_file /w/a
//   read /w/a 0+10                write /w/a 4096+8     resize /w/a 5    flush /w/a     flush_directory /w
//   delete /w/a   mkdir /w/d   rmdir /w/d   copy /w/a /w/b   move /w/a /w/b   list /w
//
// Faults are asked for by the start of such a line. Transfers can be cut short, interrupted, and held until
// the test lets them go. Safe from several threads.

#include "kcore/ufs/platform/platform.h"

#include <condition_variable>
#include <map>
#include <mutex>
#include <set>
#include <string>
#include <vector>

namespace kestrel {

class fake_platform_t : public fs_platform_t {
  public:
    void add_directory(const std::string &path);
    // With the directories above it.
    void add_file(const std::string &path, std::string_view content);
    bool has_file(const std::string &path) const;
    bool has_directory(const std::string &path) const;
    std::string content(const std::string &path) const;
    // Every file with its content.
    std::map<std::string, std::string> files() const;
    size_t open_file_count() const;

    // What has been asked since the last time.
    std::vector<std::string> take_calls();

    // From now on calls whose line begins so fail without effect.
    void fail(const std::string &call);
    void fail_no_more();
    // One transfer moves at most so many bytes.
    void limit_transfers(size_t most);
    // The next transfers move nothing and say so.
    void interrupt_transfers(size_t count);

    // Transfers wait from now on, until they are let go.
    void hold_transfers();
    void let_transfers_go();
    // Returns when so many wait.
    void wait_for_held_transfers(size_t count);
    size_t most_transfers_at_once() const;

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
    using content_t = std::shared_ptr<std::string>;

    struct open_file_t {
        std::string path;
        content_t content;
    };

    // Under the lock. False when the call is to fail.
    bool note(const std::string &call);
    bool has_parent(const std::string &path) const;
    bool anything_below(const std::string &path) const;
    open_file_t &file_of(fs_handle_t handle);

    // Waits while transfers are held; then says how many bytes this one may move, or that it may not.
    fs_transfer_result_t begin_transfer(std::unique_lock<std::mutex> &lock, const std::string &call,
                                        size_t wanted);

    mutable std::mutex mutex_;
    std::map<std::string, content_t> files_;
    std::set<std::string> directories_;
    std::map<intptr_t, open_file_t> open_files_;
    intptr_t next_handle_ = 100;
    std::vector<std::string> calls_;
    std::vector<std::string> faults_;

    std::condition_variable held_changed_;
    bool holding_ = false;
    size_t held_ = 0;
    size_t at_once_ = 0;
    size_t most_at_once_ = 0;
    size_t most_bytes_ = SIZE_MAX;
    size_t interruptions_ = 0;
};

} // namespace kestrel
