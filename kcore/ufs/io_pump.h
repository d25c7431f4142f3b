#pragma once

// Makes transfers, at most 8 at a time, starting them in the order in which they were asked for.
//
// A transfer whose asker waits for it is made in the calling thread when nothing is queued before it: the
// converter never starts a thread. All others are queued for the pump's own threads, which are started when
// the first of them is needed. A transfer succeeds when its whole byte count was moved: short and interrupted
// ones are continued, the end of the file inside the asked range fails.
//
// Safe from several threads. After stop, which ends what is queued without success, every transfer fails.

#include "kcore/collections/array.h"
#include "kcore/ufs/request_pool.h"

#include <condition_variable>
#include <mutex>
#include <thread>

namespace kestrel {

class fs_io_pump_t {
  public:
    static constexpr size_t max_in_flight = 8;

    explicit fs_io_pump_t(fs_platform_t &platform) : platform_(platform) {}
    // Stops. Requests must have been released.
    ~fs_io_pump_t() { stop(); }
    fs_io_pump_t(const fs_io_pump_t &) = delete;
    fs_io_pump_t &operator=(const fs_io_pump_t &) = delete;

    // Null when there is no memory for a record.
    fs_request_t *read(fs_handle_t handle, std::span<std::byte> buffer, uint64_t position,
                       const fs_request_options_t &options);
    fs_request_t *write(fs_handle_t handle, std::span<const std::byte> bytes, uint64_t position,
                        const fs_request_options_t &options);

    static bool finished(const fs_request_t &request);
    // Waits, gives the success and releases the request.
    bool complete(fs_request_t &request);

    void stop();

  private:
    enum class place_t { here, queue, nowhere };

    fs_request_t *ask(const fs_transfer_t &transfer, const fs_request_options_t &options);
    void submit(fs_request_t &request);
    void make_transfer(fs_request_t &request);
    bool move_all_bytes(const fs_transfer_t &transfer);
    static void finish(fs_request_t &request, bool success);
    void serve();

    // Under the lock.
    place_t place(fs_request_t &request);
    void start(fs_request_t &request);
    void start_thread();
    void append(fs_request_t &request);
    fs_request_t &take_first();

    fs_platform_t &platform_;
    fs_request_pool_t pool_;

    std::mutex mutex_;
    std::condition_variable work_;
    fs_request_t *first_ = nullptr;
    fs_request_t *last_ = nullptr;
    size_t queued_ = 0;
    size_t in_flight_ = 0;
    size_t idle_threads_ = 0;
    bool stopping_ = false;
    array_local_t<std::thread, max_in_flight> threads_;
};

} // namespace kestrel
