#include "kcore/strings/string_dyn.h"

#include <algorithm>
#include <cstdlib>
#include <limits>
#include <new>

namespace kestrel {

void string_dyn_t::point_to_empty() {
    // Shared by all empty strings and never written: the capacity 0 keeps every writer away.
    static const char empty[1] = {'\0'};
    data_ = const_cast<char *>(empty);
    length_ = 0;
    capacity_ = 0;
}

uint32_t string_dyn_t::reserve(uint64_t wanted) {
    if (wanted <= capacity_)
        return capacity_;
    const uint64_t grown = std::max((wanted + 15) & ~uint64_t{15}, uint64_t{capacity_} * 2);
    if (grown > std::numeric_limits<uint32_t>::max())
        throw std::bad_alloc();
    char *storage = static_cast<char *>(std::realloc(capacity_ ? data_ : nullptr, grown));
    if (!storage)
        throw std::bad_alloc();
    if (capacity_ == 0)
        storage[0] = '\0';
    data_ = storage;
    capacity_ = static_cast<uint32_t>(grown);
    return capacity_;
}

void string_dyn_t::release_storage() {
    if (capacity_ != 0)
        std::free(data_);
    point_to_empty();
}

} // namespace kestrel
