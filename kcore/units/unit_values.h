#pragma once

// Plain values of attributes: what is copied bit for bit and needs no destruction.

#include "kcore/strings/token.h"

#include <array>
#include <cstdint>

namespace kestrel::values {

using float2_t = std::array<float, 2>;
using float3_t = std::array<float, 3>;
using float4_t = std::array<float, 4>;
using int2_t = std::array<int32_t, 2>;
using uint2_t = std::array<uint32_t, 2>;

// A multiple of 2^-8.
struct fixed_t {
    int32_t raw;
};
using fixed2_t = std::array<fixed_t, 2>;
using fixed3_t = std::array<fixed_t, 3>;
using fixed4_t = std::array<fixed_t, 4>;

struct float4x4_t {
    float4_t rows[4];
};
struct quaternion_t {
    float w, x, y, z;
};
struct placement_t {
    float3_t position;
    quaternion_t rotation;
};
struct uniform_placement_t {
    float3_t position;
    quaternion_t rotation;
    float scale;
};
struct scaled_placement_t {
    float3_t position;
    quaternion_t rotation;
    float3_t scale;
};
struct plane_t {
    float3_t normal;
    float distance;
};
struct sphere_t {
    float3_t centre;
    float radius;
};
struct box_t {
    float3_t least;
    float3_t most;
};

// A scalar of which only the width is known; the code tells them apart.
template <uint32_t code>
struct word_t {
    uint32_t bits;
};

} // namespace kestrel::values

// The codes of single plain values with their types. An array of them has the next code.
#define KESTREL_PLAIN_UNIT_VALUES(VALUE)                                                                     \
    VALUE(3, token_t)                                                                                        \
    VALUE(5, float)                                                                                          \
    VALUE(7, values::float2_t)                                                                               \
    VALUE(9, values::float3_t)                                                                               \
    VALUE(11, values::float4_t)                                                                              \
    VALUE(13, values::fixed_t)                                                                               \
    VALUE(15, values::fixed2_t)                                                                              \
    VALUE(17, values::fixed3_t)                                                                              \
    VALUE(19, values::fixed4_t)                                                                              \
    VALUE(21, values::float4x4_t)                                                                            \
    VALUE(23, values::quaternion_t)                                                                          \
    VALUE(25, values::placement_t)                                                                           \
    VALUE(27, values::uniform_placement_t)                                                                   \
    VALUE(29, values::scaled_placement_t)                                                                    \
    VALUE(31, values::plane_t)                                                                               \
    VALUE(33, values::sphere_t)                                                                              \
    VALUE(35, values::box_t)                                                                                 \
    VALUE(37, values::word_t<37>)                                                                            \
    VALUE(39, values::word_t<39>)                                                                            \
    VALUE(41, int16_t)                                                                                       \
    VALUE(43, uint16_t)                                                                                      \
    VALUE(45, int32_t)                                                                                       \
    VALUE(47, uint32_t)                                                                                      \
    VALUE(49, int64_t)                                                                                       \
    VALUE(51, uint64_t)                                                                                      \
    VALUE(53, values::int2_t)                                                                                \
    VALUE(55, values::uint2_t)                                                                               \
    VALUE(57, bool)                                                                                          \
    VALUE(59, values::word_t<59>)
