#include "kcore/ufs/io_pump.h"

#include <algorithm>

namespace kestrel {

struct fs_request_t::transfer_t final : fs_transfer_t {
    transfer_t(const fs_transfer_t &transfer, const fs_callback_t &called)
        : fs_transfer_t(transfer), callback(called) {}

    transfer_t *next = nullptr; // in the queue
    fs_callback_t callback;
    bool done = false;
    bool success = false;
};

bool fs_request_t::finished() const {
    if (!transfer_)
        return made_;
    const std::scoped_lock guard(pump_->mutex_);
    return transfer_->done;
}

bool fs_request_t::wait() {
    if (!transfer_)
        return success_;
    {
        std::unique_lock lock(pump_->mutex_);
        pump_->ended_.wait(lock, [&] { return transfer_->done; });
    }
    success_ = transfer_->success;
    delete std::exchange(transfer_, nullptr);
    return success_;
}

void fs_request_t::swap(fs_request_t &other) noexcept {
    std::swap(pump_, other.pump_);
    std::swap(transfer_, other.transfer_);
    std::swap(made_, other.made_);
    std::swap(success_, other.success_);
}

fs_request_t fs_io_pump_t::ask(fs_handle_t handle, const fs_transfer_t &asked,
                               const fs_callback_t &callback) {
    auto transfer = std::make_unique<transfer_t>(asked, callback);
    transfer->handle = handle;
    std::unique_lock lock(mutex_);
    if (stopping_) {
        lock.unlock();
        transfer->callback.call(false);
        return fs_request_t(false);
    }
    if (!maker_)
        maker_ = platform_.make_transfers(*this);
    if (first_)
        last_->next = transfer.get();
    else
        first_ = transfer.get();
    last_ = transfer.get();
    fs_request_t request(*this, transfer.release());
    start_queued(lock);
    return request;
}

fs_io_pump_t::transfer_t &fs_io_pump_t::take_first() {
    transfer_t &transfer = *first_;
    first_ = transfer.next;
    return transfer;
}

void fs_io_pump_t::start_queued(std::unique_lock<std::mutex> &lock) {
    while (!stopping_ && first_ && in_flight_.size() < max_in_flight) {
        transfer_t &transfer = take_first();
        if (maker_->start(transfer))
            in_flight_.push_back(&transfer);
        else
            fail(transfer, lock);
    }
}

void fs_io_pump_t::fail(transfer_t &transfer, std::unique_lock<std::mutex> &lock) {
    lock.unlock();
    transfer.callback.call(false);
    lock.lock();
    end(transfer, false);
}

void fs_io_pump_t::ended(fs_transfer_t &ended, bool success) {
    auto &transfer = static_cast<transfer_t &>(ended);
    transfer.callback.call(success);
    std::unique_lock lock(mutex_);
    in_flight_.erase_unordered(
        static_cast<size_t>(std::find(in_flight_.begin(), in_flight_.end(), &transfer) - in_flight_.begin()));
    end(transfer, success);
    start_queued(lock);
}

// The asker may take the record away as soon as the lock is free.
void fs_io_pump_t::end(transfer_t &transfer, bool success) {
    transfer.success = success;
    transfer.done = true;
    ended_.notify_all();
}

bool fs_io_pump_t::is_active(fs_handle_t handle) const {
    for (const transfer_t *queued = first_; queued; queued = queued->next)
        if (queued->handle == handle)
            return true;
    return std::any_of(in_flight_.begin(), in_flight_.end(),
                       [&](const transfer_t *each) { return each->handle == handle; });
}

void fs_io_pump_t::settle(fs_handle_t handle) {
    std::unique_lock lock(mutex_);
    ended_.wait(lock, [&] { return !is_active(handle); });
}

void fs_io_pump_t::stop() {
    std::unique_lock lock(mutex_);
    stopping_ = true;
    while (first_)
        fail(take_first(), lock);
    ended_.wait(lock, [this] { return in_flight_.empty(); });
    const auto maker = std::move(maker_);
    lock.unlock(); // a thread of the maker may still be about to leave ended()
}

} // namespace kestrel
