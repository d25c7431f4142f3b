#pragma once

// Scaling without rounding.
//
// Products of three small numbers vanish and of three large ones overflow. Where only a direction matters, a
// power of two taken out beforehand avoids both and changes no bit of the result otherwise.

#include <algorithm>
#include <bit>
#include <cstdint>

namespace kestrel {

// The power of two that brings a positive number near 1: into [1, 2), as far as a normal number can.
inline float scale_to_one(float value) {
    constexpr int mantissa_bits = 23;
    constexpr int bias = 127;
    const int exponent = static_cast<int>(std::bit_cast<uint32_t>(value) >> mantissa_bits & 0xFF);
    const int opposite = std::clamp(2 * bias - exponent, 1, 2 * bias);
    return std::bit_cast<float>(static_cast<uint32_t>(opposite) << mantissa_bits);
}

} // namespace kestrel
