#include "kcore/ufs/io_pump.h"

#include <algorithm>
#include <system_error>

namespace kestrel {

struct fs_request_t::transfer_t {
    bool reads;
    fs_handle_t handle;
    std::span<std::byte> into;       // of a read
    std::span<const std::byte> from; // of a write
    uint64_t position;
    fs_callback_t callback;

    bool done = false;
    bool success = false;
    transfer_t *next = nullptr; // in the queue
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

fs_request_t fs_io_pump_t::read(fs_handle_t handle, std::span<std::byte> buffer, uint64_t position,
                                const fs_callback_t &callback) {
    return ask(std::unique_ptr<transfer_t>(new transfer_t{true, handle, buffer, {}, position, callback}));
}

fs_request_t fs_io_pump_t::write(fs_handle_t handle, std::span<const std::byte> bytes, uint64_t position,
                                 const fs_callback_t &callback) {
    return ask(std::unique_ptr<transfer_t>(new transfer_t{false, handle, {}, bytes, position, callback}));
}

fs_request_t fs_io_pump_t::ask(std::unique_ptr<transfer_t> transfer) {
    {
        const std::scoped_lock guard(mutex_);
        if (!stopping_ && idle_threads_ <= queued_)
            start_thread();
        if (!stopping_ && !threads_.empty()) {
            (first_ ? last_->next : first_) = transfer.get();
            last_ = transfer.get();
            ++queued_;
            work_.notify_one();
            return fs_request_t(*this, transfer.release());
        }
    }
    transfer->callback.call(false);
    return fs_request_t(false);
}

void fs_io_pump_t::start_thread() {
    if (threads_.size() == max_in_flight)
        return;
    try {
        threads_.emplace_back([this] { serve(); });
    } catch (const std::system_error &) {
        // The system has no thread left; the threads there are go on serving the queue.
    }
}

void fs_io_pump_t::serve() {
    std::unique_lock lock(mutex_);
    for (;;) {
        ++idle_threads_;
        work_.wait(lock, [this] { return stopping_ || first_; });
        --idle_threads_;
        if (stopping_)
            return;
        transfer_t &transfer = *first_;
        first_ = transfer.next;
        --queued_;
        in_flight_.push_back(&transfer);
        lock.unlock();
        const bool success = make(transfer);
        lock.lock();
        in_flight_.erase_unordered(static_cast<size_t>(
            std::find(in_flight_.begin(), in_flight_.end(), &transfer) - in_flight_.begin()));
        end(transfer, success);
    }
}

bool fs_io_pump_t::make(const transfer_t &transfer) {
    const fs_reason_t reason = transfer.reads
                                   ? platform_.read_all(transfer.handle, transfer.into, transfer.position)
                                   : platform_.write_all(transfer.handle, transfer.from, transfer.position);
    transfer.callback.call(reason == fs_reason_t::none);
    return reason == fs_reason_t::none;
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
    {
        std::unique_lock lock(mutex_);
        stopping_ = true;
        queued_ = 0;
        while (transfer_t *const transfer = first_) {
            first_ = transfer->next;
            lock.unlock();
            transfer->callback.call(false);
            lock.lock();
            end(*transfer, false);
        }
    }
    work_.notify_all();
    for (std::thread &thread : threads_)
        thread.join();
    threads_.clear();
}

} // namespace kestrel
