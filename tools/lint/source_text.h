#pragma once

// The text of a source, read again where a finding needs it: once forwards up to the last finding, block by
// block.

#include "kcore/ufs/file.h"
#include "tools/lint/lint_findings.h"

#include <memory>

namespace kestrel {

class source_text_t {
  public:
    explicit source_text_t(file_t &file);

    uint64_t size() const { return size_; }
    // As many bytes as there are of those asked for.
    std::string bytes(uint64_t offset, size_t length);
    // The items of a list from the first one at the offset on.
    uint64_t count_items(uint64_t first);
    // Fills in the positions. A line ends with a line feed, or a carriage return without one behind it.
    void locate(std::span<lint_finding_t> findings);

  private:
    // Gives the byte, or -1 behind the end.
    int at(uint64_t offset) {
        if (offset - block_start_ < block_length_)
            return static_cast<uint8_t>(block_[offset - block_start_]);
        return load(offset) ? static_cast<uint8_t>(block_[0]) : -1;
    }
    bool load(uint64_t offset);
    uint64_t skip_to_token(uint64_t offset);
    uint64_t skip_string(uint64_t offset);
    uint64_t skip_item(uint64_t offset);
    size_t count(uint64_t most, uint64_t offset, text_position_t &position);

    static constexpr size_t block_size = 1 << 16;

    file_t &file_;
    uint64_t size_;
    std::unique_ptr<char[]> block_;
    uint64_t block_start_ = 0;
    size_t block_length_ = 0;
};

} // namespace kestrel
