#pragma once

// Numbers and texts appended to one growing buffer, fast; goes to a file whenever there is a megabyte of it.

#include <bit>
#include <charconv>
#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>

namespace kestrel {

class text_writer_t {
  public:
    // Without a file everything stays in memory.
    explicit text_writer_t(std::FILE *file = nullptr) : file_(file) {}

    void text(std::string_view text) {
        buffer_ += text;
        if (file_ && buffer_.size() >= flush_size)
            flush();
    }
    void integer(uint64_t value, size_t least_width = 0) {
        char digits[20];
        const std::string_view written(digits, std::to_chars(digits, digits + sizeof digits, value).ptr);
        text(written);
        for (size_t width = written.size(); width < least_width; ++width)
            text(" ");
    }
    // "&" and the bit pattern.
    void bits(float value) {
        const uint32_t pattern = std::bit_cast<uint32_t>(value);
        char digits[9] = {'&'};
        for (int i = 0; i < 8; ++i)
            digits[1 + i] = "0123456789abcdef"[pattern >> (28 - 4 * i) & 15];
        text({digits, sizeof digits});
    }
    // With six digits after the point.
    void decimal(float value) {
        char digits[64];
        const auto end =
            std::to_chars(digits, digits + sizeof digits, double{value}, std::chars_format::fixed, 6).ptr;
        text({digits, end});
    }

    // False when something could not be written, then or before.
    bool flush() {
        if (file_) {
            good_ = std::fwrite(buffer_.data(), 1, buffer_.size(), file_) == buffer_.size() && good_;
            buffer_.clear();
        }
        return good_;
    }
    const std::string &buffer() const { return buffer_; }

  private:
    static constexpr size_t flush_size = size_t{1} << 20;

    std::FILE *file_;
    std::string buffer_;
    bool good_ = true;
};

} // namespace kestrel
