#pragma once

// The scanner's automaton: states over byte classes, made at compile time from the patterns and the keyword
// list.
//
// Matching takes the longest text that a pattern matches. No two patterns that begin with the same byte match
// the same text with different tokens, so one accepting pattern a state is enough.

#include <array>
#include <cstddef>
#include <cstdint>

namespace kestrel {

// What a state accepts. Values from `token` on are token codes (tokens.h) plus `token`.
enum class pattern_t : uint16_t {
    none,
    blanks,
    line_feed,
    comment,       // "#"; the rest of the line is the scanner's
    other,         // a byte that begins no token
    integer,       // decimal, octal or hexadecimal
    decimal_float, // 1.0 .5 1e3 -2.f
    bits_float,    // &3f800000: the bit pattern as a number
    memory_float,  // $0000803f: the four bytes in memory order
    quoted_string, // the opening quote
    long_string,   // the three opening quotes
    token,
};

struct scanner_tables_t {
    static constexpr size_t max_states = 1024;
    static constexpr size_t max_classes = 64;
    static constexpr uint16_t dead = 0;
    static constexpr uint16_t start = 1;

    std::array<uint8_t, 256> class_of_byte{};
    std::array<std::array<uint16_t, max_classes>, max_states> next{};
    std::array<pattern_t, max_states> accepts{};
};

extern const scanner_tables_t scanner_tables;

} // namespace kestrel
