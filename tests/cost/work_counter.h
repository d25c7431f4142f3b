#pragma once

// Counts the work of the code between its construction and its end, in units that are the same on every
// machine: blocks of code entered, allocations made, bytes held.
//
// The program under test is compiled to report its blocks; malloc and its kin are this program's own. One
// counter at a time, on one thread.

#include <cstddef>
#include <cstdint>

namespace kestrel {

struct work_t {
    uint64_t blocks;      // of code that ran
    uint64_t allocations; // asked for
    uint64_t peak_bytes;  // held at once, beyond what was held before
};

class work_counter_t {
  public:
    work_counter_t();
    ~work_counter_t();
    work_counter_t(const work_counter_t &) = delete;
    work_counter_t &operator=(const work_counter_t &) = delete;

    work_t work() const;
    // The n-th allocation from here on, and no other, fails; 0 for none.
    void fail_allocation(uint64_t n);
};

} // namespace kestrel
