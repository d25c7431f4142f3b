#include "tools/kim_text/text_writer.h"

#include "tools/kim_text/shortest_digits.h"

#include <algorithm>
#include <array>
#include <bit>
#include <charconv>
#include <cmath>
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

decimal_t digits_of(float value) {
    // Of all singles one, 7.038531e-26, becomes another when its digits are read as a double and then
    // rounded.
    constexpr uint32_t twice_rounded = 0x15ae43fd;
    if (std::bit_cast<uint32_t>(value) == twice_rounded)
        return {70385307, -33};
    decimal_t decimal = shortest_digits(value);
    for (; decimal.digits % 10 == 0; ++decimal.exponent)
        decimal.digits /= 10;
    return decimal;
}

// A number without point and exponent would be an integer. Digits are copied sixteen at a time, of which
// those that count are kept: there is room, and lengths known to the compiler take a third off the time.
char *put_shortest(char *out, float value) {
    constexpr int least_point = -4, largest_point = 9; // outside, an exponent is shorter
    constexpr size_t block = 16;
    *out = '-';
    out += std::signbit(value);
    if (value == 0) {
        std::memcpy(out, "0.0", 3);
        return out + 3;
    }
    const decimal_t decimal = digits_of(std::abs(value));
    char digits[2 * block];
    std::memset(digits, '0', sizeof digits);
    char *const end = std::to_chars(digits, digits + block, decimal.digits).ptr;
    const int count = static_cast<int>(end - digits);
    const int point = count + decimal.exponent; // so many digits before it
    if (point < least_point || point > largest_point) {
        std::memcpy(out + 1, digits, block);
        out[0] = digits[0];
        out[1] = '.';
        out += count > 1 ? count + 1 : 1;
        *out++ = 'e';
        return std::to_chars(out, out + block, point - 1).ptr;
    }
    if (point <= 0) {
        std::memcpy(out, "0.0000", 6);
        out += 2 - point;
        std::memcpy(out, digits, block);
        return out + count;
    }
    std::memcpy(out, digits, block);
    out += point;
    *out++ = '.';
    std::memcpy(out, digits + point, block);
    return out + std::max(count - point, 1);
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
