#pragma once

// Fuzzer bytes as the scanner wants text: followed by zero bytes, in memory that ends right behind them.

#include "fuzz/target.h"
#include "tools/conv/intermediate/scanner.h"

#include <cstring>
#include <memory>

namespace kestrel {

class padded_input_t {
  public:
    explicit padded_input_t(std::string_view text)
        : bytes_(new char[text.size() + scanner_t::text_padding]), length_(text.size()) {
        std::memcpy(bytes_.get(), text.data(), length_);
        std::memset(bytes_.get() + length_, 0, scanner_t::text_padding);
    }
    explicit padded_input_t(fuzz_input_t input)
        : padded_input_t(std::string_view(reinterpret_cast<const char *>(input.data()), input.size())) {}

    std::string_view view() const { return {bytes_.get(), length_}; }

  private:
    std::unique_ptr<char[]> bytes_;
    size_t length_;
};

} // namespace kestrel
