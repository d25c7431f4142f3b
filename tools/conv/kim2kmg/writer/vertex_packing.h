#pragma once

// Vertex colours and factors as bytes. All arithmetic is in single precision; NaN gives 0.

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>

namespace kestrel {

// 0 to 1 as 0 to 255, cut outside of that. From 0.5 up the byte is at least 128, below it at most 127.
inline uint8_t pack_unit(float value) {
    constexpr uint8_t upper_half = 128;
    const float scaled = std::floor(value * 255.0f + 0.5f);
    const auto byte = static_cast<uint8_t>(!(scaled > 0)     ? 0
                                           : scaled > 255.0f ? 255
                                                             : static_cast<int>(scaled));
    return value >= 0.5f ? std::max(byte, upper_half) : std::min<uint8_t>(byte, upper_half - 1);
}

// Red, green and blue run from 0 to 2, so that 1 is the middle; alpha from 0 to 1.
inline std::array<uint8_t, 4> pack_colour(const std::array<float, 4> &rgba) {
    return {pack_unit(rgba[0] * 0.5f), pack_unit(rgba[1] * 0.5f), pack_unit(rgba[2] * 0.5f),
            pack_unit(rgba[3])};
}

// The low byte of the value as a 32-bit integer, cut towards zero; 0 when it is not one.
inline uint8_t pack_factor(float value) {
    constexpr float limit = 2147483648.0f;
    return value >= -limit && value < limit ? static_cast<uint8_t>(static_cast<int32_t>(value)) : uint8_t{0};
}

inline std::array<uint8_t, 4> pack_factors(const std::array<float, 4> &values) {
    return {pack_factor(values[0]), pack_factor(values[1]), pack_factor(values[2]), pack_factor(values[3])};
}

} // namespace kestrel
