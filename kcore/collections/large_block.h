#pragma once

// Memory for one large thing: the text of a file, the pages of a memory file.
//
// Blocks of at least one large page (2 MiB) lie on such pages where the system offers them: it then hands out
// the memory with one page fault instead of 512, which for a large file is as much as the parse costs.
// Smaller ones are plain allocations. The bytes are unset.

#include <cstddef>
#include <cstdlib>
#include <memory>
#include <span>

namespace kestrel {

class large_block_t {
  public:
    static constexpr size_t large_page_size = size_t{2} << 20;

    // Empty when the memory cannot be had.
    static large_block_t allocate(size_t size);

    explicit operator bool() const { return bytes_ != nullptr; }
    std::byte *data() const { return bytes_.get(); }
    size_t size() const { return size_; }

  private:
    struct free_t {
        void operator()(std::byte *bytes) const { std::free(bytes); }
    };

    std::unique_ptr<std::byte, free_t> bytes_;
    size_t size_ = 0;
};

} // namespace kestrel
