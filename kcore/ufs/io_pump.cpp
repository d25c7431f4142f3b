#include "kcore/ufs/io_pump.h"

#include <system_error>

namespace kestrel {

fs_request_t *fs_io_pump_t::read(fs_handle_t handle, std::span<std::byte> buffer, uint64_t position,
                                 const fs_request_options_t &options) {
    return ask({.kind = fs_request_kind_t::read, .handle = handle, .into = buffer, .position = position},
               options);
}

fs_request_t *fs_io_pump_t::write(fs_handle_t handle, std::span<const std::byte> bytes, uint64_t position,
                                  const fs_request_options_t &options) {
    return ask({.kind = fs_request_kind_t::write, .handle = handle, .from = bytes, .position = position},
               options);
}

fs_request_t *fs_io_pump_t::ask(const fs_transfer_t &transfer, const fs_request_options_t &options) {
    fs_request_t *const request = pool_.take();
    if (!request)
        return nullptr;
    request->transfer = transfer;
    request->options = options;
    submit(*request);
    return request;
}

bool fs_io_pump_t::finished(const fs_request_t &request) {
    return request.state.load(std::memory_order_acquire) == fs_request_state_t::done;
}

bool fs_io_pump_t::complete(fs_request_t &request) {
    request.event.wait(false, std::memory_order_acquire);
    const bool success = request.success;
    pool_.give_back(request);
    return success;
}

void fs_io_pump_t::submit(fs_request_t &request) {
    switch (place(request)) {
    case place_t::here:
        make_transfer(request);
        break;
    case place_t::queue:
        work_.notify_one();
        break;
    case place_t::nowhere:
        finish(request, false);
        break;
    }
}

fs_io_pump_t::place_t fs_io_pump_t::place(fs_request_t &request) {
    const std::scoped_lock guard(mutex_);
    if (stopping_)
        return place_t::nowhere;
    if (request.options.caller_waits && !first_ && in_flight_ < max_in_flight) {
        start(request);
        return place_t::here;
    }
    if (idle_threads_ <= queued_)
        start_thread();
    if (threads_.empty())
        return place_t::nowhere;
    append(request);
    return place_t::queue;
}

void fs_io_pump_t::start(fs_request_t &request) {
    ++in_flight_;
    request.state.store(fs_request_state_t::in_flight, std::memory_order_relaxed);
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
        work_.wait(lock, [this] { return stopping_ || (first_ && in_flight_ < max_in_flight); });
        --idle_threads_;
        if (stopping_)
            return;
        fs_request_t &request = take_first();
        start(request);
        lock.unlock();
        make_transfer(request);
        lock.lock();
    }
}

void fs_io_pump_t::make_transfer(fs_request_t &request) {
    const bool success = move_all_bytes(request.transfer);
    {
        const std::scoped_lock guard(mutex_);
        --in_flight_;
        if (first_)
            work_.notify_one();
    }
    finish(request, success);
}

bool fs_io_pump_t::move_all_bytes(const fs_transfer_t &transfer) {
    const bool reads = transfer.kind == fs_request_kind_t::read;
    const size_t wanted = reads ? transfer.into.size() : transfer.from.size();
    size_t moved = 0;
    while (moved < wanted) {
        const uint64_t position = transfer.position + moved;
        const fs_transfer_result_t result =
            reads ? platform_.read(transfer.handle, transfer.into.subspan(moved), position)
                  : platform_.write(transfer.handle, transfer.from.subspan(moved), position);
        if (result.outcome == fs_transfer_result_t::outcome_t::interrupted)
            continue;
        if (result.outcome == fs_transfer_result_t::outcome_t::failed || result.count == 0)
            return false;
        moved += result.count;
    }
    return true;
}

// Once the event is set the asker may release the record, and another may use it again.
void fs_io_pump_t::finish(fs_request_t &request, bool success) {
    request.success = success;
    request.state.store(fs_request_state_t::done, std::memory_order_release);
    if (request.options.callback)
        request.options.callback(request, request.options.context);
    request.event.store(true, std::memory_order_release);
    request.event.notify_all();
}

void fs_io_pump_t::append(fs_request_t &request) {
    (first_ ? last_->next : first_) = &request;
    last_ = &request;
    ++queued_;
}

fs_request_t &fs_io_pump_t::take_first() {
    fs_request_t &request = *first_;
    first_ = request.next;
    request.next = nullptr;
    --queued_;
    return request;
}

void fs_io_pump_t::stop() {
    fs_request_t *queued = nullptr;
    {
        const std::scoped_lock guard(mutex_);
        stopping_ = true;
        queued = first_;
        first_ = nullptr;
        queued_ = 0;
    }
    work_.notify_all();
    while (queued) {
        fs_request_t &request = *queued;
        queued = request.next;
        request.next = nullptr;
        finish(request, false);
    }
    for (std::thread &thread : threads_)
        thread.join();
    threads_.clear();
}

} // namespace kestrel
