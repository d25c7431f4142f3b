#pragma once

// Text from its parts: concat("vertex ", 7, " of ", 1.5f) is "vertex 7 of 1.5". Reals are written with the
// fewest digits that give the same real again.

#include <charconv>
#include <concepts>
#include <cstdint>
#include <string>
#include <string_view>

namespace kestrel {

inline void append(std::string &text, std::string_view part) {
    text += part;
}
inline void append(std::string &text, char character) {
    text += character;
}
template <class T>
concept number_t = std::integral<T> || std::floating_point<T>;
template <number_t N>
void append(std::string &text, N number) {
    char digits[32];
    const auto end = std::to_chars(digits, digits + sizeof digits, number).ptr;
    text.append(digits, end);
}
// A real with a fixed number of digits behind the point.
struct fixed_t {
    double value;
    int digits;
};
inline void append(std::string &text, fixed_t number) {
    char digits[400]; // the largest double has 309 before the point
    const auto end =
        std::to_chars(digits, digits + sizeof digits, number.value, std::chars_format::fixed, number.digits)
            .ptr;
    text.append(digits, end);
}
// A real with a number of digits in all, for people.
struct rounded_t {
    double value;
    int digits = 6;
};
inline void append(std::string &text, rounded_t number) {
    char digits[64];
    const auto end =
        std::to_chars(digits, digits + sizeof digits, number.value, std::chars_format::general, number.digits)
            .ptr;
    text.append(digits, end);
}
// A number in hexadecimal, with "0x" and all its digits.
template <std::unsigned_integral N>
struct hex_t {
    N value;
};
template <class N>
hex_t(N) -> hex_t<N>; // clang 14 does not find this by itself
template <class N>
void append(std::string &text, hex_t<N> number) {
    text += "0x";
    for (size_t shift = 8 * sizeof(N); shift > 0;)
        text += "0123456789ABCDEF"[number.value >> (shift -= 4) & 0xF];
}

// "1 error", "2 errors".
struct counted_t {
    uint64_t count;
    std::string_view noun;
    std::string_view plural = {}; // of a noun that takes more than an "s"
};
inline void append(std::string &text, const counted_t &number) {
    append(text, number.count);
    text += ' ';
    text += number.count == 1 || number.plural.empty() ? number.noun : number.plural;
    if (number.count != 1 && number.plural.empty())
        text += 's';
}

template <class... A>
std::string concat(const A &...parts) {
    std::string text;
    (append(text, parts), ...);
    return text;
}

} // namespace kestrel
