#include "tests/cost/work_counter.h"

#include <algorithm>
#include <malloc.h>

extern "C" {
void *__libc_malloc(size_t size);
void *__libc_calloc(size_t count, size_t size);
void *__libc_realloc(void *old, size_t size);
void __libc_free(void *memory);
}

namespace {

bool counting = false;
uint64_t blocks = 0;
uint64_t allocations = 0;
uint64_t failing_allocation = 0;
int64_t held_bytes = 0;
int64_t peak_bytes = 0;

// False when this one is to fail.
bool begin_allocation() {
    return !counting || ++allocations != failing_allocation;
}

void *hold(void *memory) {
    if (counting && memory) {
        held_bytes += static_cast<int64_t>(malloc_usable_size(memory));
        peak_bytes = std::max(peak_bytes, held_bytes);
    }
    return memory;
}

void let_go(void *memory) {
    if (counting && memory)
        held_bytes -= static_cast<int64_t>(malloc_usable_size(memory));
}

} // namespace

extern "C" {

void __sanitizer_cov_trace_pc() {
    blocks += counting;
}

void *malloc(size_t size) {
    return begin_allocation() ? hold(__libc_malloc(size)) : nullptr;
}

void *calloc(size_t count, size_t size) {
    return begin_allocation() ? hold(__libc_calloc(count, size)) : nullptr;
}

void *realloc(void *old, size_t size) {
    if (!begin_allocation())
        return nullptr;
    // Counted as if old and new were there at once, which they may be.
    const int64_t before = old ? static_cast<int64_t>(malloc_usable_size(old)) : 0;
    void *const grown = hold(__libc_realloc(old, size));
    if (counting && grown)
        held_bytes -= before;
    return grown;
}

void free(void *memory) {
    let_go(memory);
    __libc_free(memory);
}

} // extern "C"

namespace kestrel {

work_counter_t::work_counter_t() {
    blocks = allocations = failing_allocation = 0;
    held_bytes = peak_bytes = 0;
    counting = true;
}

work_counter_t::~work_counter_t() {
    counting = false;
}

work_t work_counter_t::work() const {
    return {blocks, allocations, static_cast<uint64_t>(peak_bytes)};
}

void work_counter_t::fail_allocation(uint64_t n) {
    allocations = 0;
    failing_allocation = n;
}

} // namespace kestrel
