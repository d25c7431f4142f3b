#pragma once

// Whether three corners span an area worth drawing.

#include "tools/conv/intermediate/kix_stream.h"

#include <bit>
#include <cmath>

namespace kestrel {

inline float distance(const float3_t &from, const float3_t &to) {
    const float x = to.x - from.x;
    const float y = to.y - from.y;
    const float z = to.z - from.z;
    return std::sqrt(x * x + y * y + z * z);
}

// Half the circumference exceeds every side by more than an absolute tolerance; where it does not, corners
// coincide or lie on one line. A triangle with a NaN coordinate has no area: no comparison with NaN holds.
inline bool has_area(const float3_t &a, const float3_t &b, const float3_t &c) {
    constexpr float tolerance = std::bit_cast<float>(0x3727C5ACu); // 1e-5
    const float ab = distance(a, b);
    const float bc = distance(b, c);
    const float ca = distance(c, a);
    const float half = ((bc + ab) + ca) * 0.5f;
    return std::fabs(half - ab) >= tolerance && std::fabs(half - bc) >= tolerance &&
           std::fabs(half - ca) >= tolerance;
}

} // namespace kestrel
