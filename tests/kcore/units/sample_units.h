#pragma once

// Classes of units for the tests.

#include "kcore/units/unit_description.h"

namespace kestrel {

#define LEAF_U_ATTRIBUTES(ATTRIBUTE) ATTRIBUTE(int32_t, number)

// Counts the instances there are.
class leaf_u : public unit_t {
    KESTREL_UNIT_CLASS(LEAF_U_ATTRIBUTES)

    leaf_u() { ++instances; }
    ~leaf_u() override { --instances; }

    static inline std::atomic<int> instances = 0;
};

// A class of a class, with a name that is known but kept nowhere.
#define SPECIAL_LEAF_U_ATTRIBUTES(ATTRIBUTE)                                                                 \
    ATTRIBUTE(no_storage_t<array_dyn_t<float>>, old_numbers)                                                 \
    ATTRIBUTE(string_dyn_t, label)

class special_leaf_u final : public leaf_u {
    KESTREL_UNIT_CLASS(SPECIAL_LEAF_U_ATTRIBUTES)
};

// One attribute of each kind and an array of each.
#define EVERY_KIND_U_ATTRIBUTES(ATTRIBUTE)                                                                   \
    ATTRIBUTE(string_dyn_t, text)                                                                            \
    ATTRIBUTE(array_dyn_t<string_dyn_t>, texts)                                                              \
    ATTRIBUTE(token_t, token)                                                                                \
    ATTRIBUTE(array_dyn_t<token_t>, tokens)                                                                  \
    ATTRIBUTE(float, real)                                                                                   \
    ATTRIBUTE(array_dyn_t<float>, reals)                                                                     \
    ATTRIBUTE(values::float2_t, real2)                                                                       \
    ATTRIBUTE(array_dyn_t<values::float2_t>, real2s)                                                         \
    ATTRIBUTE(values::float3_t, real3)                                                                       \
    ATTRIBUTE(array_dyn_t<values::float3_t>, real3s)                                                         \
    ATTRIBUTE(values::float4_t, real4)                                                                       \
    ATTRIBUTE(array_dyn_t<values::float4_t>, real4s)                                                         \
    ATTRIBUTE(values::fixed_t, fixed)                                                                        \
    ATTRIBUTE(array_dyn_t<values::fixed_t>, fixeds)                                                          \
    ATTRIBUTE(values::fixed2_t, fixed2)                                                                      \
    ATTRIBUTE(array_dyn_t<values::fixed2_t>, fixed2s)                                                        \
    ATTRIBUTE(values::fixed3_t, fixed3)                                                                      \
    ATTRIBUTE(array_dyn_t<values::fixed3_t>, fixed3s)                                                        \
    ATTRIBUTE(values::fixed4_t, fixed4)                                                                      \
    ATTRIBUTE(array_dyn_t<values::fixed4_t>, fixed4s)                                                        \
    ATTRIBUTE(values::float4x4_t, matrix)                                                                    \
    ATTRIBUTE(array_dyn_t<values::float4x4_t>, matrixs)                                                      \
    ATTRIBUTE(values::quaternion_t, rotation)                                                                \
    ATTRIBUTE(array_dyn_t<values::quaternion_t>, rotations)                                                  \
    ATTRIBUTE(values::placement_t, placement)                                                                \
    ATTRIBUTE(array_dyn_t<values::placement_t>, placements)                                                  \
    ATTRIBUTE(values::uniform_placement_t, uniform_placement)                                                \
    ATTRIBUTE(array_dyn_t<values::uniform_placement_t>, uniform_placements)                                  \
    ATTRIBUTE(values::scaled_placement_t, scaled_placement)                                                  \
    ATTRIBUTE(array_dyn_t<values::scaled_placement_t>, scaled_placements)                                    \
    ATTRIBUTE(values::plane_t, plane)                                                                        \
    ATTRIBUTE(array_dyn_t<values::plane_t>, planes)                                                          \
    ATTRIBUTE(values::sphere_t, sphere)                                                                      \
    ATTRIBUTE(array_dyn_t<values::sphere_t>, spheres)                                                        \
    ATTRIBUTE(values::box_t, box)                                                                            \
    ATTRIBUTE(array_dyn_t<values::box_t>, boxes)                                                             \
    ATTRIBUTE(values::word_t<37>, word37)                                                                    \
    ATTRIBUTE(array_dyn_t<values::word_t<37>>, word37s)                                                      \
    ATTRIBUTE(values::word_t<39>, word39)                                                                    \
    ATTRIBUTE(array_dyn_t<values::word_t<39>>, word39s)                                                      \
    ATTRIBUTE(int16_t, int16)                                                                                \
    ATTRIBUTE(array_dyn_t<int16_t>, int16s)                                                                  \
    ATTRIBUTE(uint16_t, uint16)                                                                              \
    ATTRIBUTE(array_dyn_t<uint16_t>, uint16s)                                                                \
    ATTRIBUTE(int32_t, int32)                                                                                \
    ATTRIBUTE(array_dyn_t<int32_t>, int32s)                                                                  \
    ATTRIBUTE(uint32_t, uint32)                                                                              \
    ATTRIBUTE(array_dyn_t<uint32_t>, uint32s)                                                                \
    ATTRIBUTE(int64_t, int64)                                                                                \
    ATTRIBUTE(array_dyn_t<int64_t>, int64s)                                                                  \
    ATTRIBUTE(uint64_t, uint64)                                                                              \
    ATTRIBUTE(array_dyn_t<uint64_t>, uint64s)                                                                \
    ATTRIBUTE(values::int2_t, int2)                                                                          \
    ATTRIBUTE(array_dyn_t<values::int2_t>, int2s)                                                            \
    ATTRIBUTE(values::uint2_t, uint2)                                                                        \
    ATTRIBUTE(array_dyn_t<values::uint2_t>, uint2s)                                                          \
    ATTRIBUTE(bool, flag)                                                                                    \
    ATTRIBUTE(array_dyn_t<bool>, flags)                                                                      \
    ATTRIBUTE(values::word_t<59>, word59)                                                                    \
    ATTRIBUTE(array_dyn_t<values::word_t<59>>, word59s)                                                      \
    ATTRIBUTE(owned_unit_t, child, leaf_u)                                                                   \
    ATTRIBUTE(array_dyn_t<owned_unit_t>, children, leaf_u)                                                   \
    ATTRIBUTE(unit_link_t, link, leaf_u)                                                                     \
    ATTRIBUTE(array_dyn_t<unit_link_t>, links, leaf_u)                                                       \
    ATTRIBUTE(other_unit_link_t, other_link, leaf_u)                                                         \
    ATTRIBUTE(array_dyn_t<other_unit_link_t>, other_links, leaf_u)                                           \
    ATTRIBUTE(resource_tie_t, tie, leaf_u)                                                                   \
    ATTRIBUTE(array_dyn_t<resource_tie_t>, ties, leaf_u)

class every_kind_u final : public unit_t {
    KESTREL_UNIT_CLASS(EVERY_KIND_U_ATTRIBUTES)
};

} // namespace kestrel
