#pragma once

// Text as the scanner wants it: followed by zero bytes.

#include "tools/conv/intermediate/scanner.h"

#include <string>

namespace kestrel {

class padded_text_t {
  public:
    explicit padded_text_t(std::string_view text) : bytes_(text), length_(text.size()) {
        bytes_.append(scanner_t::text_padding, '\0');
    }
    std::string_view view() const { return {bytes_.data(), length_}; }

  private:
    std::string bytes_;
    size_t length_;
};

} // namespace kestrel
