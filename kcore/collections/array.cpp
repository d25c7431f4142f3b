#include "kcore/collections/array.h"

#include "kcore/messages/messages.h"

namespace kestrel {

void fail_index_check(size_t index, size_t count) {
    report_fatal({"kcore/collections/array", __LINE__, "kestrel::array_t::check"}, "%s: %Iu >= %Iu",
                 "Index outside array boundaries", index, count);
}

void fail_pointer_check(const void *pointer, const void *first, const void *end) {
    report_fatal({"kcore/collections/array", __LINE__, "kestrel::array_t::check"}, "%s: 0x%p <> [0x%p, 0x%p)",
                 "Iterator outside array boundaries", pointer, first, end);
}

size_t grown_capacity(size_t current, size_t wanted, size_t element_size) {
    const size_t most = static_cast<size_t>(std::numeric_limits<std::ptrdiff_t>::max()) / element_size;
    if (wanted > most)
        throw std::bad_alloc();
    size_t capacity = current == 0 ? wanted : current;
    while (capacity < wanted)
        capacity = capacity > most / 2 ? wanted : capacity * 2;
    return capacity;
}

} // namespace kestrel
