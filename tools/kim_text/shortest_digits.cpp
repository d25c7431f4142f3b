#include "tools/kim_text/shortest_digits.h"

#include <array>
#include <bit>
#include <cstddef>

namespace kestrel {

namespace {

// Of the powers of ten that singles are scaled by.
constexpr int least_power = -31, largest_power = 45;

// 256 bits, the lowest word first.
struct wide_t {
    std::array<uint32_t, 8> words{};

    constexpr void multiply_by_ten() {
        uint64_t carry = 0;
        for (uint32_t &word : words) {
            carry += uint64_t{word} * 10;
            word = static_cast<uint32_t>(carry);
            carry >>= 32;
        }
    }
    constexpr void divide_by_ten() {
        uint64_t rest = 0;
        for (std::size_t i = words.size(); i-- > 0;) {
            rest = rest << 32 | words[i];
            words[i] = static_cast<uint32_t>(rest / 10);
            rest %= 10;
        }
    }
    // 64 bits from the top one on, rounded up.
    constexpr uint64_t top_64() const {
        std::size_t top = words.size() - 1;
        while (words[top] == 0)
            --top;
        const auto word = [&](std::size_t below) { return below <= top ? words[top - below] : 0; };
        const int free = std::countl_zero(words[top]);
        const uint64_t two = uint64_t{word(0)} << 32 | word(1);
        const uint64_t third = uint64_t{word(2)} << free;
        bool more = static_cast<uint32_t>(third) != 0;
        for (std::size_t below = 3; below <= top; ++below)
            more = more || word(below) != 0;
        return (two << free | third >> 32) + more;
    }
};

// The first 64 bits of each power of ten, rounded up.
constexpr auto powers_of_ten = [] {
    std::array<uint64_t, largest_power - least_power + 1> powers{};
    wide_t up, down;
    up.words[0] = 1;
    down.words[7] = 0x80000000;
    for (int power = 0; power <= largest_power; ++power, up.multiply_by_ten())
        powers[static_cast<std::size_t>(power - least_power)] = up.top_64();
    for (int power = -1; power >= least_power; --power) {
        down.divide_by_ten();
        powers[static_cast<std::size_t>(power - least_power)] = down.top_64();
    }
    return powers;
}();

// The top 32 bits of the 96 that the product has; its last bit is set when anything below is.
uint32_t product_rounded_to_odd(uint64_t power, uint32_t factor) {
    const uint64_t low = (power & 0xFFFFFFFF) * factor;
    const uint64_t high = (power >> 32) * factor + (low >> 32);
    return static_cast<uint32_t>(high >> 32) | static_cast<uint32_t>(static_cast<uint32_t>(high) > 1);
}

} // namespace

decimal_t shortest_digits(float value) {
    const uint32_t pattern = std::bit_cast<uint32_t>(value);
    const uint32_t fraction = pattern & 0x7FFFFF;
    const int biased = static_cast<int>(pattern >> 23 & 0xFF);
    // value = significand x 2^exponent
    const uint32_t significand = biased == 0 ? fraction : fraction | 0x800000;
    const int exponent = (biased == 0 ? 1 : biased) - 150;
    const bool near_below = fraction == 0 && biased > 1; // the neighbour below is half as far away
    const uint32_t borders_outside = significand & 1;    // halfway, an even significand wins

    // floor(log10(2^exponent)), of three quarters of it near below; floor(log2(10^-power)).
    const int power = (exponent * 1262611 - (near_below ? 524031 : 0)) >> 22;
    const int shift = exponent + ((-power * 1741647) >> 19) + 1;
    const uint64_t scale = powers_of_ten[static_cast<std::size_t>(-power - least_power)];
    const uint32_t lower =
        product_rounded_to_odd(scale, (4 * significand - 2 + near_below) << shift) + borders_outside;
    const uint32_t middle = product_rounded_to_odd(scale, (4 * significand) << shift);
    const uint32_t upper = product_rounded_to_odd(scale, (4 * significand + 2) << shift) - borders_outside;

    const uint32_t digits = middle / 4;
    if (digits >= 10) {
        const uint32_t fewer = digits / 10;
        const bool below_inside = lower <= 40 * fewer, above_inside = 40 * fewer + 40 <= upper;
        if (below_inside != above_inside)
            return {fewer + above_inside, power + 1};
    }
    const bool below_inside = lower <= 4 * digits, above_inside = 4 * digits + 4 <= upper;
    if (below_inside != above_inside)
        return {digits + above_inside, power};
    const uint32_t halfway = 4 * digits + 2;
    return {digits + (middle > halfway || (middle == halfway && (digits & 1) != 0)), power};
}

} // namespace kestrel
