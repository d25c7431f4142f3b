#include "kcore/collections/array.h"
#include "kcore/ufs/platform/platform.h"

#include <condition_variable>
#include <mutex>
#include <system_error>
#include <thread>

namespace kestrel {

namespace {

class blocking_transfers_t final : public fs_transfer_maker_t {
  public:
    blocking_transfers_t(fs_platform_t &platform, fs_transfer_listener_t &listener)
        : platform_(platform), listener_(listener) {}
    ~blocking_transfers_t() override;

    bool start(fs_transfer_t &transfer) override;

  private:
    void serve();
    bool make(const fs_transfer_t &transfer);
    void start_thread();

    fs_platform_t &platform_;
    fs_transfer_listener_t &listener_;
    std::mutex mutex_;
    std::condition_variable work_;
    array_local_t<fs_transfer_t *, fs_transfer_t::most_at_once> queue_;
    size_t idle_threads_ = 0;
    bool stopping_ = false;
    array_local_t<std::thread, fs_transfer_t::most_at_once> threads_;
};

blocking_transfers_t::~blocking_transfers_t() {
    {
        const std::scoped_lock guard(mutex_);
        stopping_ = true;
    }
    work_.notify_all();
    for (std::thread &thread : threads_)
        thread.join();
}

bool blocking_transfers_t::start(fs_transfer_t &transfer) {
    const std::scoped_lock guard(mutex_);
    if (idle_threads_ <= queue_.size())
        start_thread();
    if (threads_.empty())
        return false;
    queue_.push_back(&transfer);
    work_.notify_one();
    return true;
}

void blocking_transfers_t::start_thread() {
    if (threads_.size() == fs_transfer_t::most_at_once)
        return;
    try {
        threads_.emplace_back([this] { serve(); });
    } catch (const std::system_error &) {
        // The system has no thread left; the threads there are go on serving the queue.
    }
}

void blocking_transfers_t::serve() {
    std::unique_lock lock(mutex_);
    for (;;) {
        ++idle_threads_;
        work_.wait(lock, [this] { return stopping_ || !queue_.empty(); });
        --idle_threads_;
        if (stopping_)
            return;
        fs_transfer_t &transfer = *queue_[0];
        queue_.erase(0);
        lock.unlock();
        listener_.ended(transfer, make(transfer));
        lock.lock();
    }
}

bool blocking_transfers_t::make(const fs_transfer_t &transfer) {
    const fs_reason_t reason = transfer.reads
                                   ? platform_.read_all(transfer.handle, transfer.into, transfer.position)
                                   : platform_.write_all(transfer.handle, transfer.from, transfer.position);
    return reason == fs_reason_t::none;
}

} // namespace

std::unique_ptr<fs_transfer_maker_t> make_blocking_transfers(fs_platform_t &platform,
                                                             fs_transfer_listener_t &listener) {
    return std::make_unique<blocking_transfers_t>(platform, listener);
}

} // namespace kestrel
