#pragma once

// How much has been read by direct reads: the process's totals, and the same since the profiler last took
// them.

#include <atomic>
#include <cstdint>

namespace kestrel {

struct fs_read_statistics_t {
    std::atomic<uint64_t> total_operations = 0;
    std::atomic<uint64_t> recent_operations = 0;
    std::atomic<uint64_t> total_bytes = 0;
    std::atomic<uint64_t> recent_bytes = 0;

    void add_read(uint64_t bytes) {
        total_operations.fetch_add(1, std::memory_order_relaxed);
        recent_operations.fetch_add(1, std::memory_order_relaxed);
        total_bytes.fetch_add(bytes, std::memory_order_relaxed);
        recent_bytes.fetch_add(bytes, std::memory_order_relaxed);
    }
};

inline fs_read_statistics_t fs_read_statistics;

} // namespace kestrel
