#pragma once

// Reading text by characters, and eight at a time in one machine word: the first in the lowest byte. The text
// must go on for eight bytes more.

#include <bit>
#include <cstdint>
#include <cstring>

namespace kestrel {

inline bool is_blank(char c) {
    constexpr uint64_t blanks =
        uint64_t{1} << ' ' | uint64_t{1} << '\t' | uint64_t{1} << '\r' | uint64_t{1} << '\n';
    return static_cast<uint8_t>(c) <= ' ' && (blanks >> static_cast<uint8_t>(c) & 1);
}

inline const char *skip_blanks(const char *text) {
    while (is_blank(*text))
        ++text;
    return text;
}

inline constexpr uint64_t word_of_ones = 0x0101010101010101;

inline uint64_t load_word(const char *text) {
    uint64_t word;
    std::memcpy(&word, text, sizeof word);
    if constexpr (std::endian::native == std::endian::big)
        word = __builtin_bswap64(word);
    return word;
}

// The bytes of a word below the given one; all for 8.
inline uint64_t bytes_below(unsigned count) {
    return count == 8 ? ~uint64_t{0} : (uint64_t{1} << 8 * count) - 1;
}

// Which characters have a property is told by the top bits of their bytes. Those of all others are clear, and
// so are the other bits.

// The characters that are not digits.
inline uint64_t marks_of_non_digits(uint64_t word) {
    const uint64_t shifted = word ^ '0' * word_of_ones; // digits become 0 to 9
    return ((shifted + (0x80 - 10) * word_of_ones) | shifted) & 0x80 * word_of_ones;
}

// The number of the first marked character; 8 when none is.
inline unsigned first_marked(uint64_t marks) {
    return marks ? static_cast<unsigned>(std::countr_zero(marks)) / 8 : 8;
}

// The number that the first `count` characters, all of them digits, write; 1 to 8 of them.
inline uint32_t digits_value(uint64_t word, unsigned count) {
    word <<= 64 - 8 * count; // the missing digits become leading zeros
    word = (word & 0x0F0F0F0F0F0F0F0F) * 2561 >> 8;
    word = (word & 0x00FF00FF00FF00FF) * 6553601 >> 16;
    return static_cast<uint32_t>((word & 0x0000FFFF0000FFFF) * 42949672960001 >> 32);
}

} // namespace kestrel
