#include "tools/kim_text/text_writer.h"

#include <algorithm>
#include <array>
#include <bit>
#include <charconv>
#include <cstring>

namespace kestrel {

namespace {

constexpr size_t flush_size = size_t{1} << 20;
constexpr size_t longest_real = 64; // more than any single takes in any style

using digit_pairs_t = std::array<std::array<char, 2>, 256>;

constexpr digit_pairs_t hexadecimal_pairs = [] {
    digit_pairs_t pairs{};
    for (size_t i = 0; i < pairs.size(); ++i)
        pairs[i] = {"0123456789abcdef"[i >> 4], "0123456789abcdef"[i & 15]};
    return pairs;
}();

char *put_bits(char *out, float value) {
    const uint32_t pattern = std::bit_cast<uint32_t>(value);
    *out++ = '&';
    for (int shift = 24; shift >= 0; shift -= 8, out += 2)
        std::memcpy(out, hexadecimal_pairs[pattern >> shift & 255].data(), 2);
    return out;
}

// Of all singles one is another single when its shortest digits, 7.038531e-26, are read as a double and
// rounded.
constexpr uint32_t twice_rounded_pattern = 0x15ae43fd;

// A number without point and exponent would be an integer.
char *put_shortest(char *out, float value) {
    char *end = std::to_chars(out, out + longest_real, value).ptr;
    if ((std::bit_cast<uint32_t>(value) & 0x7fffffff) == twice_rounded_pattern)
        end = std::to_chars(out, out + longest_real, double{value}).ptr;
    if (std::any_of(out, end, [](char character) { return character == '.' || character == 'e'; }))
        return end;
    std::memcpy(end, ".0", 2);
    return end + 2;
}

char *put_six_decimals(char *out, float value) {
    return std::to_chars(out, out + longest_real, double{value}, std::chars_format::fixed, 6).ptr;
}

template <class put_t>
char *put_all(char *out, std::span<const float> values, put_t put) {
    for (size_t i = 0; i < values.size(); ++i) {
        if (i > 0) {
            std::memcpy(out, "  ", 2);
            out += 2;
        }
        out = put(out, values[i]);
    }
    return out;
}

} // namespace

text_writer_t::text_writer_t(sink_t sink)
    : sink_(std::move(sink)), buffer_(new char[flush_size]), capacity_(flush_size) {}

void text_writer_t::make_room(size_t bytes) {
    if (sink_)
        flush();
    if (capacity_ - size_ >= bytes)
        return;
    const size_t capacity = std::max(2 * capacity_, size_ + bytes);
    std::unique_ptr<char[]> larger(new char[capacity]);
    std::memcpy(larger.get(), buffer_.get(), size_);
    buffer_ = std::move(larger);
    capacity_ = capacity;
}

void text_writer_t::text(std::string_view text) {
    char *const out = room(text.size());
    std::copy(text.begin(), text.end(), out);
    used_up_to(out + text.size());
}

void text_writer_t::integer(uint64_t value, size_t least_width) {
    constexpr size_t most_digits = 20;
    char *const out = room(std::max(most_digits, least_width));
    char *end = std::to_chars(out, out + most_digits, value).ptr;
    while (static_cast<size_t>(end - out) < least_width)
        *end++ = ' ';
    used_up_to(end);
}

void text_writer_t::reals(std::span<const float> values, number_style_t style) {
    char *const out = room(values.size() * longest_real);
    switch (style) {
    case number_style_t::bit_patterns:
        return used_up_to(put_all(out, values, put_bits));
    case number_style_t::shortest_decimals:
        return used_up_to(put_all(out, values, put_shortest));
    case number_style_t::six_decimals:
        return used_up_to(put_all(out, values, put_six_decimals));
    }
}

bool text_writer_t::flush() {
    if (sink_) {
        good_ = good_ && sink_(buffer());
        size_ = 0;
    }
    return good_;
}

} // namespace kestrel
