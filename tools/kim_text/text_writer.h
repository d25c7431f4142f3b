#pragma once

// Numbers and texts appended to one buffer, fast, the same on every machine: no locale is asked.
//
// With a sink the buffer goes there whenever there is a megabyte of it; without one everything stays in
// memory.

#include <algorithm>
#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string_view>

namespace kestrel {

enum class number_style_t {
    bit_patterns,      // "&" and the eight digits of the bit pattern
    shortest_decimals, // as few digits as give the same single again when read as a double and rounded
    six_decimals,      // six digits behind the point, whatever they lose
};

class text_writer_t {
  public:
    // False when the bytes cannot be written.
    using sink_t = std::function<bool(std::string_view bytes)>;

    explicit text_writer_t(sink_t sink = nullptr);

    void text(std::string_view text) {
        std::copy(text.begin(), text.end(), room(text.size()));
        size_ += text.size();
    }
    // Filled up with blanks to the width.
    void integer(uint64_t value, size_t least_width = 0);
    // Finite ones; two blanks between each two.
    void reals(std::span<const float> values, number_style_t style);
    // With six digits after the point.
    void decimal(float value) { reals(std::span(&value, 1), number_style_t::six_decimals); }

    // False when something could not be written, then or before.
    bool flush();
    // What has not gone to a sink.
    std::string_view buffer() const { return {buffer_.get(), size_}; }

  private:
    char *room(size_t bytes) {
        if (capacity_ - size_ < bytes)
            make_room(bytes);
        return buffer_.get() + size_;
    }
    void used_up_to(const char *end) { size_ = static_cast<size_t>(end - buffer_.get()); }
    void make_room(size_t bytes);

    sink_t sink_;
    std::unique_ptr<char[]> buffer_;
    size_t capacity_;
    size_t size_ = 0;
    bool good_ = true;
};

} // namespace kestrel
