#pragma once

// Numbers as text, decoded exactly: decimals are read as doubles rounded to nearest and then rounded to
// floats, whatever the locale; too large becomes infinite, too small zero.

#include "tools/conv/intermediate/text_words.h"

#include <optional>
#include <string_view>

namespace kestrel {

// The text of a decimal float: [-] digits with at most one point, an optional exponent, an optional "f".
float decode_decimal(std::string_view text);

// The text of an integer: "0x" makes it hexadecimal, another leading "0" octal up to the first digit that is
// not. Saturates as a signed number after "-", else as an unsigned one; the result is its 32 bits.
uint32_t decode_integer(std::string_view text);

// Recognises a decimal float with a point at `text` and decodes it; gives the byte after it, or none when
// there is something else. Reads up to eight bytes beyond the end of the number.
const char *scan_plain_decimal(const char *text, float &value);

// Recognises up to seven digits, without the leading zero that would make them octal, and decodes them; gives
// the byte after them, or none for anything else.
[[gnu::always_inline]] inline const char *scan_plain_integer(const char *text, uint32_t &value) {
    const uint64_t word = load_word(text);
    const unsigned digits = first_marked(marks_of_non_digits(word));
    if (digits - 1 >= 7 || (*text == '0' && digits > 1))
        return nullptr;
    value = digits_value(word, digits);
    return text + digits;
}

// As doubles, which hold these exactly.
inline constexpr double exact_powers_of_ten[] = {1e0,  1e1,  1e2,  1e3,  1e4,  1e5,  1e6,  1e7,
                                                 1e8,  1e9,  1e10, 1e11, 1e12, 1e13, 1e14, 1e15,
                                                 1e16, 1e17, 1e18, 1e19, 1e20, 1e21, 1e22};
inline constexpr uint64_t powers_of_ten[] = {1, 10, 100, 1000, 10000, 100000, 1000000, 10000000, 100000000};

inline constexpr uint32_t infinite_exponent = 0x7F800000; // all exponent bits set: infinity or NaN

// Eight hexadecimal digits as the number they write, eight at a time; none when one is not a digit.
[[gnu::always_inline]] inline std::optional<uint32_t> decode_hex_digits(const char *text) {
    constexpr uint64_t ones = word_of_ones;
    constexpr uint64_t top_bits = 0x80 * ones;
    const uint64_t bytes = load_word(text);
    const uint64_t lower = bytes | 0x20 * ones;
    // Adding 0x80 - c to a byte below 0x80 sets its top bit exactly when the byte is at least c.
    const uint64_t digit = (bytes + (0x80 - '0') * ones) & ~(bytes + (0x80 - '9' - 1) * ones);
    const uint64_t letter = (lower + (0x80 - 'a') * ones) & ~(lower + (0x80 - 'f' - 1) * ones);
    if (((digit | letter) & ~bytes & top_bits) != top_bits)
        return std::nullopt;
    uint64_t nibbles = (bytes & 0x0F * ones) + 9 * (letter >> 7 & ones);
    nibbles = (nibbles << 4 | nibbles >> 8) & 0x00FF00FF00FF00FF;
    nibbles = (nibbles | nibbles >> 8) & 0x0000FFFF0000FFFF;
    return __builtin_bswap32(static_cast<uint32_t>(nibbles | nibbles >> 16));
}

} // namespace kestrel
