#pragma once

// The numbers of the text formats: one grammar for tokens and for runs of items.
//
//     integer   [-] digits  |  0x hexdigits
//     real      [-] digits . [digits] [exponent] [f]  |  [-] . digits [exponent] [f]
//               [-] digits exponent [f]  |  & or $ and eight hexdigits
//     exponent  e [+ or -] digits
//
// Letters count in either case. Both functions read the longest such text that begins at `text` and give the
// byte after it, or null when there is none; they look up to 16 bytes beyond its end.

#include <bit>
#include <cstdint>
#include <cstring>
#include <optional>

namespace kestrel {

// "0x" makes an integer hexadecimal, another leading "0" octal up to the first digit that is not. Saturates
// as a signed number after "-", else as an unsigned one; the value is its 32 bits.
const char *scan_integer(const char *text, uint32_t &value);

// Decimals are read as doubles rounded to nearest and then rounded to floats, whatever the locale; too large
// becomes infinite, too small zero. After "&" stand the float's bits as a number, after "$" its four bytes in
// memory order; null for those of an infinity or NaN.
const char *scan_real(const char *text, float &value);

// Eight characters in one machine word, the first in the lowest byte.
inline uint64_t load_word(const char *text) {
    uint64_t word;
    std::memcpy(&word, text, sizeof word);
    if constexpr (std::endian::native == std::endian::big)
        word = __builtin_bswap64(word);
    return word;
}

// Eight hexadecimal digits as the number they write; none when one is not a digit.
[[gnu::always_inline]] inline std::optional<uint32_t> decode_hex_digits(const char *text) {
    constexpr uint64_t ones = 0x0101010101010101;
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

// What follows serves the two functions: the common spellings are decoded where they stand. Without this,
// models of bit patterns, whose triangles are integers, are parsed at 0.87 times the speed, models of
// decimals at 0.61 times.
namespace number_text {

const char *scan_any_integer(const char *text, uint32_t &value);
const char *scan_any_decimal(const char *text, float &value);

// As doubles, which hold these exactly.
inline constexpr double powers_of_ten[] = {1e0, 1e1, 1e2,  1e3,  1e4,  1e5,  1e6,  1e7,
                                           1e8, 1e9, 1e10, 1e11, 1e12, 1e13, 1e14, 1e15};

// The number of digits that a word begins with.
inline unsigned count_digits(uint64_t word) {
    constexpr uint64_t ones = 0x0101010101010101;
    const uint64_t shifted = word ^ '0' * ones; // digits become 0 to 9
    const uint64_t others = ((shifted + (0x80 - 10) * ones) | shifted) & 0x80 * ones;
    return others ? static_cast<unsigned>(std::countr_zero(others)) / 8 : 8;
}

// The number that the first `count` characters, all of them digits, write; 1 to 8 of them.
inline uint32_t digits_value(uint64_t word, unsigned count) {
    word <<= 64 - 8 * count; // the missing digits become leading zeros
    word = (word & 0x0F0F0F0F0F0F0F0F) * 2561 >> 8;
    word = (word & 0x00FF00FF00FF00FF) * 6553601 >> 16;
    return static_cast<uint32_t>((word & 0x0000FFFF0000FFFF) * 42949672960001 >> 32);
}

[[gnu::always_inline]] inline const char *scan_bit_pattern(const char *text, float &value) {
    constexpr uint32_t infinite_exponent = 0x7F800000; // all exponent bits set: infinity or NaN
    const auto digits = decode_hex_digits(text + 1);
    if (!digits)
        return nullptr;
    const uint32_t bits = *text == '&' ? *digits : __builtin_bswap32(*digits);
    value = std::bit_cast<float>(bits);
    return (bits & infinite_exponent) == infinite_exponent ? nullptr : text + 9;
}

// Decimals of one to eight digits after the point, at most seven before it and nothing else in place.
[[gnu::always_inline]] inline const char *scan_decimal(const char *text, float &value) {
    const uint32_t negative = *text == '-';
    const char *p = text + negative;
    const char *const first = p;
    uint64_t mantissa = 0;
    for (unsigned digit; (digit = static_cast<unsigned>(*p - '0')) <= 9; ++p)
        mantissa = mantissa * 10 + digit;
    const uint64_t word = load_word(p + 1);
    const unsigned fraction = count_digits(word);
    const char *const end = p + 1 + fraction;
    if (*p != '.' || fraction == 0 || p - first > 7 || *end > ')') [[unlikely]]
        return scan_any_decimal(text, value);
    const double scale = powers_of_ten[fraction];
    mantissa = mantissa * static_cast<uint64_t>(scale) + digits_value(word, fraction);
    // Both operands are exact, so the division rounds once.
    const auto magnitude = static_cast<float>(static_cast<double>(static_cast<int64_t>(mantissa)) / scale);
    value = std::bit_cast<float>(std::bit_cast<uint32_t>(magnitude) | negative << 31);
    return end;
}

} // namespace number_text

[[gnu::always_inline]] inline const char *scan_integer(const char *text, uint32_t &value) {
    const uint64_t word = load_word(text);
    const unsigned digits = number_text::count_digits(word);
    if (digits - 1 >= 7 || (*text == '0' && text[1] > '.')) [[unlikely]] // may be octal or hexadecimal
        return number_text::scan_any_integer(text, value);
    value = number_text::digits_value(word, digits);
    return text + digits;
}

[[gnu::always_inline]] inline const char *scan_real(const char *text, float &value) {
    return *text == '&' || *text == '$' ? number_text::scan_bit_pattern(text, value)
                                        : number_text::scan_decimal(text, value);
}

} // namespace kestrel
