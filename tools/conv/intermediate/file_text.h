#pragma once

// The bytes of one text file in memory, followed by the zero bytes that the scanner wants.

#include "kcore/ufs/file.h"

#include <cstdlib>
#include <memory>

namespace kestrel {

class file_text_t {
  public:
    // Reads the whole file; false after a message when that fails.
    bool read(file_t &file);

    std::string_view view() const { return {bytes_.get(), length_}; }

  private:
    struct free_t {
        void operator()(char *bytes) const { std::free(bytes); }
    };

    std::unique_ptr<char, free_t> bytes_;
    size_t length_ = 0;
};

} // namespace kestrel
