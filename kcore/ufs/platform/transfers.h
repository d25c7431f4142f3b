#pragma once

// Transfers that somebody else than their asker makes: what the pump of io_pump.h hands to the system's
// layer.

#include "kcore/ufs/fs_types.h"

#include <cstddef>
#include <memory>
#include <span>

namespace kestrel {

class fs_platform_t;

enum class fs_handle_t : intptr_t { invalid = -1 };

struct fs_transfer_t {
    static constexpr size_t most_at_once = 8;

    bool reads;
    fs_handle_t handle = fs_handle_t::invalid;
    std::span<std::byte> into{};       // of a read
    std::span<const std::byte> from{}; // of a write
    uint64_t position;
};

class fs_transfer_listener_t {
  public:
    // Called once for each transfer that was started, on a thread of its maker; then the maker has done with
    // it. Success: all of its bytes were moved.
    virtual void ended(fs_transfer_t &transfer, bool success) = 0;

  protected:
    ~fs_transfer_listener_t() = default;
};

// At most fs_transfer_t::most_at_once are given to it at a time; none when it is destroyed.
class fs_transfer_maker_t {
  public:
    virtual ~fs_transfer_maker_t() = default;
    // False when it cannot be started; then nothing is told of it.
    virtual bool start(fs_transfer_t &transfer) = 0;
};

// Makes them by the platform's blocking calls, on threads that it starts as they are needed.
std::unique_ptr<fs_transfer_maker_t> make_blocking_transfers(fs_platform_t &platform,
                                                             fs_transfer_listener_t &listener);

} // namespace kestrel
