#pragma once

// What the two halves of the Windows layer share: the calls of windows_platform.cpp that wait in the calling
// thread, and the queued transfers of windows_transfers.cpp on one completion port.

#include "kcore/ufs/platform/transfers.h"

#include <windows.h>

namespace kestrel {

inline HANDLE handle_of(fs_handle_t handle) {
    return reinterpret_cast<HANDLE>(handle);
}

// The most that one call of the system is asked to move.
constexpr size_t most_moved_at_once = size_t{1} << 30;

// Starts moving some of the bytes of a transfer, from its position on. The result is the system's: true when
// it is done already; otherwise the last error says whether it is under way.
BOOL start_moving(const fs_transfer_t &transfer, OVERLAPPED &overlapped);

// Every file that is opened is attached to the port, which outlives the maker.
std::unique_ptr<fs_transfer_maker_t> make_port_transfers(HANDLE port, fs_transfer_listener_t &listener);

} // namespace kestrel
