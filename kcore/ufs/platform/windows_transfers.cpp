// Queued transfers: overlapped calls whose ends one thread takes from the completion port. The same thread
// starts them, in the order in which they come to the port.

#include "kcore/ufs/platform/windows_files.h"

#include <algorithm>
#include <optional>
#include <system_error>
#include <thread>

namespace kestrel {

BOOL start_moving(const fs_transfer_t &transfer, OVERLAPPED &overlapped) {
    overlapped.Offset = static_cast<DWORD>(transfer.position);
    overlapped.OffsetHigh = static_cast<DWORD>(transfer.position >> 32);
    const HANDLE file = handle_of(transfer.handle);
    const size_t count = transfer.reads ? transfer.into.size() : transfer.from.size();
    const auto asked = static_cast<DWORD>(std::min(count, most_moved_at_once));
    return transfer.reads ? ReadFile(file, transfer.into.data(), asked, nullptr, &overlapped)
                          : WriteFile(file, transfer.from.data(), asked, nullptr, &overlapped);
}

namespace {

// What comes through the port: a transfer to be started, an end of one, or the wish to stop.
enum packet_t : ULONG_PTR { transfer_ends, transfer_comes, stop };

struct flight_t : OVERLAPPED {
    fs_transfer_t *transfer = nullptr; // null: free
    fs_transfer_t left{};              // what has still to be moved
};

class port_transfers_t final : public fs_transfer_maker_t {
  public:
    port_transfers_t(HANDLE port, fs_transfer_listener_t &listener) : port_(port), listener_(listener) {}
    ~port_transfers_t() override;

    // Called by one thread at a time, as the pump does.
    bool start(fs_transfer_t &transfer) override;

  private:
    void serve();
    void begin(fs_transfer_t &transfer);
    void move_on(flight_t &flight);
    void end(flight_t &flight, bool success);

    const HANDLE port_;
    fs_transfer_listener_t &listener_;
    std::optional<std::thread> thread_;
    flight_t flights_[fs_transfer_t::most_at_once];
};

port_transfers_t::~port_transfers_t() {
    if (!thread_)
        return;
    PostQueuedCompletionStatus(port_, 0, stop, nullptr);
    thread_->join();
}

bool port_transfers_t::start(fs_transfer_t &transfer) {
    try {
        if (!thread_)
            thread_.emplace([this] { serve(); });
    } catch (const std::system_error &) {
        return false;
    }
    return PostQueuedCompletionStatus(port_, 0, transfer_comes, reinterpret_cast<OVERLAPPED *>(&transfer)) !=
           0;
}

void port_transfers_t::serve() {
    for (;;) {
        DWORD moved = 0;
        ULONG_PTR packet = stop;
        OVERLAPPED *about = nullptr;
        const bool succeeded = GetQueuedCompletionStatus(port_, &moved, &packet, &about, INFINITE) != 0;
        if (!about)
            return;
        if (packet == transfer_comes) {
            begin(*reinterpret_cast<fs_transfer_t *>(about));
            continue;
        }
        auto &flight = *static_cast<flight_t *>(about);
        flight.left.into = flight.left.into.subspan(flight.left.reads ? moved : 0);
        flight.left.from = flight.left.from.subspan(flight.left.reads ? 0 : moved);
        flight.left.position += moved;
        if (!succeeded || moved == 0)
            end(flight, false);
        else
            move_on(flight);
    }
}

void port_transfers_t::begin(fs_transfer_t &transfer) {
    flight_t &flight = *std::find_if(std::begin(flights_), std::end(flights_),
                                     [](flight_t &each) { return !each.transfer; });
    flight.transfer = &transfer;
    flight.left = transfer;
    move_on(flight);
}

// A transfer that is done at once comes through the port, too.
void port_transfers_t::move_on(flight_t &flight) {
    if (flight.left.into.empty() && flight.left.from.empty())
        return end(flight, true);
    static_cast<OVERLAPPED &>(flight) = {};
    if (!start_moving(flight.left, flight) && GetLastError() != ERROR_IO_PENDING)
        end(flight, false);
}

void port_transfers_t::end(flight_t &flight, bool success) {
    listener_.ended(*std::exchange(flight.transfer, nullptr), success);
}

} // namespace

std::unique_ptr<fs_transfer_maker_t> make_port_transfers(HANDLE port, fs_transfer_listener_t &listener) {
    return std::make_unique<port_transfers_t>(port, listener);
}

} // namespace kestrel
