#pragma once

// One transfer between a file and memory, from the asking to the end.
//
// queued -> in flight -> done; then the callback is called and the event signalled. The record belongs to the
// request pool and goes back there when its file completes or releases it, which every asker does exactly
// once.

#include "kcore/ufs/platform/platform.h"

#include <atomic>

namespace kestrel {

enum class fs_request_kind_t : uint32_t { read = 1, write = 2 };
enum class fs_request_state_t : uint32_t { queued = 1, in_flight = 2, done = 4 };

struct fs_request_t;

// Runs on the thread that made the transfer, before anyone who waits goes on. Must not wait for a request.
using fs_request_callback_t = void (*)(fs_request_t &request, void *context);

struct fs_request_options_t {
    // The caller is going to wait at once, so the transfer may be made in the calling thread.
    bool caller_waits = false;
    fs_request_callback_t callback = nullptr;
    void *context = nullptr;
};

// What is to be moved.
struct fs_transfer_t {
    fs_request_kind_t kind = fs_request_kind_t::read;
    fs_handle_t handle = fs_handle_t::invalid;
    std::span<std::byte> into{};       // of a read
    std::span<const std::byte> from{}; // of a write
    uint64_t position = 0;
};

struct fs_request_t {
    fs_transfer_t transfer;
    fs_request_options_t options;

    std::atomic<fs_request_state_t> state = fs_request_state_t::queued;
    bool success = false;
    std::atomic<bool> event = false;

    fs_request_t *next = nullptr; // in the pool's free list or the pump's queue
};

} // namespace kestrel
