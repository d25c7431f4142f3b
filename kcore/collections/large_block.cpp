#include "kcore/collections/large_block.h"

#include <limits>
#ifdef __linux__
#include <sys/mman.h>
#endif

namespace kestrel {

static void ask_for_large_pages([[maybe_unused]] void *bytes, [[maybe_unused]] size_t size) {
#ifdef MADV_HUGEPAGE
    ::madvise(bytes, size, MADV_HUGEPAGE); // a wish; small pages serve as well
#endif
}

static void *allocate_bytes(size_t size) {
    if (size < large_block_t::large_page_size)
        return std::malloc(size);
    constexpr size_t mask = large_block_t::large_page_size - 1;
    if (size > std::numeric_limits<size_t>::max() - mask)
        return nullptr;
    const size_t whole_pages = (size + mask) & ~mask;
    void *const bytes = std::aligned_alloc(large_block_t::large_page_size, whole_pages);
    if (bytes)
        ask_for_large_pages(bytes, whole_pages);
    return bytes;
}

large_block_t large_block_t::allocate(size_t size) {
    large_block_t block;
    block.bytes_.reset(static_cast<std::byte *>(allocate_bytes(size)));
    block.size_ = block.bytes_ ? size : 0;
    return block;
}

} // namespace kestrel
