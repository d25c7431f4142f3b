#include "tests/support/faulty_platform.h"

#include <algorithm>

namespace kestrel {

using outcome_t = fs_transfer_result_t::outcome_t;

void faulty_platform_t::spoil(size_t operation, fault_t fault) {
    count_ = 0;
    spoilt_operation_ = operation;
    fault_ = fault;
    spoilt_.clear();
}

fault_t faulty_platform_t::begin(const char *name, const char *path, bool transfers) {
    ++count_;
    const bool reached =
        fault_ == fault_t::all_fail ? count_ >= spoilt_operation_ : count_ == spoilt_operation_;
    const bool for_transfers = fault_ == fault_t::moves_less || fault_ == fault_t::is_interrupted;
    if (!reached || fault_ == fault_t::none || (for_transfers && !transfers))
        return fault_t::none;
    if (spoilt_.empty())
        spoilt_ = std::string(name) + " " + path;
    return fault_;
}

template <class F, class R>
R faulty_platform_t::unless_spoilt(const char *name, const char *path, R failure, F operation) {
    R result = begin(name, path) == fault_t::none ? operation() : std::move(failure);
    end();
    return result;
}

template <class bytes_t, class F>
fs_transfer_result_t faulty_platform_t::transfer(const char *name, bytes_t bytes, F operation) {
    fs_transfer_result_t result{outcome_t::failed, 0};
    switch (begin(name, "", true)) {
    case fault_t::none:
        result = operation(bytes);
        break;
    case fault_t::moves_less:
        result = operation(bytes.first(std::max<size_t>(bytes.size() / 2, 1)));
        break;
    case fault_t::is_interrupted:
        result.outcome = outcome_t::interrupted;
        break;
    case fault_t::fails:
    case fault_t::all_fail:
        break;
    }
    end();
    return result;
}

fs_handle_t faulty_platform_t::open(const char *path, fs_open_mode_t mode) {
    return unless_spoilt("open", path, fs_handle_t::invalid, [&] { return beneath_.open(path, mode); });
}

// The handle goes in any case.
bool faulty_platform_t::close(fs_handle_t handle) {
    const bool spoilt = begin("close", "") != fault_t::none;
    const bool closed = beneath_.close(handle);
    end();
    return closed && !spoilt;
}

fs_transfer_result_t faulty_platform_t::read(fs_handle_t handle, std::span<std::byte> buffer,
                                             uint64_t position) {
    return transfer("read", buffer,
                    [&](std::span<std::byte> part) { return beneath_.read(handle, part, position); });
}

fs_transfer_result_t faulty_platform_t::write(fs_handle_t handle, std::span<const std::byte> bytes,
                                              uint64_t position) {
    return transfer("write", bytes,
                    [&](std::span<const std::byte> part) { return beneath_.write(handle, part, position); });
}

bool faulty_platform_t::set_end_of_file(fs_handle_t handle, uint64_t size) {
    return unless_spoilt("resize", "", false, [&] { return beneath_.set_end_of_file(handle, size); });
}

bool faulty_platform_t::flush_file(fs_handle_t handle) {
    return unless_spoilt("flush", "", false, [&] { return beneath_.flush_file(handle); });
}

bool faulty_platform_t::flush_directory(const char *path) {
    return unless_spoilt("flush_directory", path, false, [&] { return beneath_.flush_directory(path); });
}

bool faulty_platform_t::stat_file(fs_handle_t handle, fs_stat_t &out) {
    return unless_spoilt("stat_file", "", false, [&] { return beneath_.stat_file(handle, out); });
}

bool faulty_platform_t::stat_path(const char *path, fs_stat_t &out) {
    return unless_spoilt("stat", path, false, [&] { return beneath_.stat_path(path, out); });
}

bool faulty_platform_t::delete_file(const char *path) {
    return unless_spoilt("delete", path, false, [&] { return beneath_.delete_file(path); });
}

bool faulty_platform_t::create_directory(const char *path) {
    return unless_spoilt("mkdir", path, false, [&] { return beneath_.create_directory(path); });
}

bool faulty_platform_t::remove_directory(const char *path) {
    return unless_spoilt("rmdir", path, false, [&] { return beneath_.remove_directory(path); });
}

bool faulty_platform_t::copy_file(const char *from, const char *to, bool overwrite) {
    return unless_spoilt("copy", from, false, [&] { return beneath_.copy_file(from, to, overwrite); });
}

bool faulty_platform_t::move_file(const char *from, const char *to, bool replace) {
    return unless_spoilt("move", from, false, [&] { return beneath_.move_file(from, to, replace); });
}

std::optional<fs_listing_t> faulty_platform_t::list(const char *path) {
    return unless_spoilt("list", path, std::optional<fs_listing_t>(), [&] { return beneath_.list(path); });
}

} // namespace kestrel
