#pragma once

// Transfers that go on while their asker does something else: requests, and the pump that makes them.
//
// The pump starts transfers in the order in which they were asked for, at most 8 at a time; the system's
// layer makes them, on threads that are started when they are needed. Who waits at once needs none of this:
// file_t reads and writes block in the calling thread. Safe from several threads.

#include "kcore/collections/array.h"
#include "kcore/ufs/platform/platform.h"

#include <condition_variable>
#include <memory>
#include <mutex>

namespace kestrel {

class fs_io_pump_t;

// What is called when a transfer has ended, on a thread of its maker, before anyone who waits for it goes on.
// Callbacks of different requests run at the same time. A callback must not wait for a request, nor close a
// file, nor throw.
struct fs_callback_t {
    void (*function)(bool success, void *context) = nullptr;
    void *context = nullptr;

    void call(bool success) const {
        if (function)
            function(success, context);
    }
};

// One transfer, from the asking to the end. Destroying it waits for that end: what is read into or written
// from must live as long. A request that could not be made is empty. Ends before its file system.
class fs_request_t {
  public:
    fs_request_t() = default;
    // One that is done already, as those of memory files are.
    explicit fs_request_t(bool success) : made_(true), success_(success) {}
    fs_request_t(fs_request_t &&other) noexcept { swap(other); }
    fs_request_t &operator=(fs_request_t &&other) noexcept {
        wait();
        swap(other);
        return *this;
    }
    ~fs_request_t() { wait(); }

    explicit operator bool() const { return made_; }
    // Polls.
    bool finished() const;
    // Returns when the transfer has ended; gives whether its whole byte count was moved. False when empty.
    bool wait();

  private:
    friend class fs_io_pump_t;
    struct transfer_t;

    fs_request_t(fs_io_pump_t &pump, transfer_t *transfer) : pump_(&pump), transfer_(transfer), made_(true) {}
    void swap(fs_request_t &other) noexcept;

    fs_io_pump_t *pump_ = nullptr;
    transfer_t *transfer_ = nullptr; // owned; null once its end has been seen
    bool made_ = false;
    bool success_ = false;
};

class fs_io_pump_t final : private fs_transfer_listener_t {
  public:
    static constexpr size_t max_in_flight = fs_transfer_t::most_at_once;

    explicit fs_io_pump_t(fs_platform_t &platform) : platform_(platform) {}
    ~fs_io_pump_t() { stop(); }
    fs_io_pump_t(const fs_io_pump_t &) = delete;
    fs_io_pump_t &operator=(const fs_io_pump_t &) = delete;
    // By this handle, whatever stands in the transfer.
    fs_request_t ask(fs_handle_t handle, const fs_transfer_t &asked, const fs_callback_t &callback);

    // Returns when no transfer of the handle is queued or under way.
    void settle(fs_handle_t handle);

    // Ends what is queued without success and waits for what is under way. From then on every request fails.
    void stop();

  private:
    friend class fs_request_t;
    using transfer_t = fs_request_t::transfer_t;

    void ended(fs_transfer_t &transfer, bool success) override;

    // Under the lock, which is given back for as long as a callback runs.
    void start_queued(std::unique_lock<std::mutex> &lock);
    void fail(transfer_t &transfer, std::unique_lock<std::mutex> &lock);
    // Under the lock.
    transfer_t &take_first();
    bool is_active(fs_handle_t handle) const;
    void end(transfer_t &transfer, bool success);

    fs_platform_t &platform_;
    std::mutex mutex_;
    std::condition_variable ended_;
    transfer_t *first_ = nullptr; // the queue
    transfer_t *last_ = nullptr;
    bool stopping_ = false;
    array_local_t<const transfer_t *, max_in_flight> in_flight_;
    std::unique_ptr<fs_transfer_maker_t> maker_;
};

} // namespace kestrel
