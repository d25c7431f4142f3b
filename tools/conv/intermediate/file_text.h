#pragma once

// The bytes of one text file in memory, followed by the zero bytes that the scanner wants.

#include "kcore/collections/large_block.h"
#include "kcore/ufs/file.h"

namespace kestrel {

class file_text_t {
  public:
    // Reads the whole file; false after a message when that fails.
    bool read(file_t &file);

    std::string_view view() const { return {reinterpret_cast<const char *>(block_.data()), length_}; }

  private:
    large_block_t block_;
    size_t length_ = 0;
};

} // namespace kestrel
