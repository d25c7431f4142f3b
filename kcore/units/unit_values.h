#pragma once

// The values that attributes can have, with their type codes, and how a class of units is described:
//
//   // light_u.h
//   class light_u final : public unit_t {
//     public:
//       static const unit_class_t unit_class;
//       const unit_class_t &get_class() const override { return unit_class; }
//
//       string_dyn_t label;
//       array_dyn_t<float> falloff;
//       owned_unit_t shade;
//   };
//
//   // light_u.cpp
//   static constexpr unit_attribute_t attributes[] = {
//       KESTREL_UNIT_FIELD(light_u, label),
//       KESTREL_UNIT_FIELD(light_u, falloff),
//       KESTREL_UNIT_FIELD(light_u, shade, &shade_u::unit_class), // a unit, of that class
//       unit_attribute<float>(light_u::unit_class, unit_attribute_t::no_storage, "old_radius"), // a name
//       only
//       {}};
//   constinit const unit_class_t light_u::unit_class =
//       describe_unit_class<light_u>("light", "light_u", &unit_t::unit_class, attributes);
//
// The type code follows from the field's type. Tables and descriptors are constants: describing a class costs
// nothing when the program starts.

#include "kcore/collections/array.h"
#include "kcore/strings/string.h"
#include "kcore/strings/token.h"
#include "kcore/units/unit.h"
#include "kcore/units/unit_registry.h"

#include <array>
#include <new>
#include <type_traits>

namespace kestrel {

// Plain values: copied bit for bit, without anything to destroy.
namespace values {

using float2_t = std::array<float, 2>;
using float3_t = std::array<float, 3>;
using float4_t = std::array<float, 4>;

// A multiple of 2^-8.
struct fixed_t {
    int32_t raw;
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

} // namespace values

// A type code and the type of the single value behind it.
template <uint32_t type_code, class T>
struct unit_value_t {
    using type = T;
    static constexpr uint32_t code = type_code;
};

template <class... V>
struct unit_value_list_t {
    // 0 for a type that no attribute can have.
    template <class T>
    static consteval uint32_t code_of() {
        return (0u + ... +
                (std::is_same_v<T, typename V::type>                ? V::code
                 : std::is_same_v<T, array_dyn_t<typename V::type>> ? V::code + 1
                                                                    : 0));
    }

    // Calls visit(std::type_identity<T>()) for the code of T; false, without a call, for another code.
    template <class F>
    static bool visit(uint32_t code, F visit) {
        return (... ||
                (code == V::code       ? (visit(std::type_identity<typename V::type>()), true)
                 : code == V::code + 1 ? (visit(std::type_identity<array_dyn_t<typename V::type>>()), true)
                                       : false));
    }
};

// All but resource ties, which nobody but the installed tie understands.
using unit_values_t = unit_value_list_t<
    unit_value_t<unit_type::string, string_dyn_t>, unit_value_t<3, token_t>, unit_value_t<5, float>,
    unit_value_t<7, values::float2_t>, unit_value_t<9, values::float3_t>, unit_value_t<11, values::float4_t>,
    unit_value_t<13, values::fixed_t>, unit_value_t<15, std::array<values::fixed_t, 2>>,
    unit_value_t<17, std::array<values::fixed_t, 3>>, unit_value_t<19, std::array<values::fixed_t, 4>>,
    unit_value_t<21, std::array<values::float4_t, 4>>, unit_value_t<23, values::quaternion_t>,
    unit_value_t<25, values::placement_t>, unit_value_t<27, values::uniform_placement_t>,
    unit_value_t<29, values::scaled_placement_t>, unit_value_t<31, values::plane_t>,
    unit_value_t<33, values::sphere_t>, unit_value_t<35, values::box_t>, unit_value_t<37, values::word_t<37>>,
    unit_value_t<39, values::word_t<39>>, unit_value_t<41, int16_t>, unit_value_t<43, uint16_t>,
    unit_value_t<45, int32_t>, unit_value_t<47, uint32_t>, unit_value_t<49, int64_t>,
    unit_value_t<51, uint64_t>, unit_value_t<53, std::array<int32_t, 2>>,
    unit_value_t<55, std::array<uint32_t, 2>>, unit_value_t<57, bool>, unit_value_t<59, values::word_t<59>>,
    unit_value_t<unit_type::owned_unit, owned_unit_t>, unit_value_t<unit_type::unit_link, unit_link_t>,
    unit_value_t<unit_type::other_unit_link, other_unit_link_t>>;

template <class T>
inline constexpr uint32_t unit_type_of = unit_values_t::code_of<T>();
template <>
inline constexpr uint32_t unit_type_of<resource_tie_t> = unit_type::resource_tie;
template <>
inline constexpr uint32_t unit_type_of<array_dyn_t<resource_tie_t>> = unit_type::resource_tie + 1;

// The value of an attribute with storage. T is what its type code says.
template <class T>
T &unit_value(unit_t &unit, const unit_attribute_t &attribute) {
    return *reinterpret_cast<T *>(reinterpret_cast<std::byte *>(&unit) + attribute.offset);
}
template <class T>
const T &unit_value(const unit_t &unit, const unit_attribute_t &attribute) {
    return *reinterpret_cast<const T *>(reinterpret_cast<const std::byte *>(&unit) + attribute.offset);
}

template <class T>
consteval unit_attribute_t unit_attribute(const unit_class_t &owner, int64_t offset, const char *name,
                                          const unit_class_t *element_class = nullptr) {
    static_assert(unit_type_of<T> != 0, "no attribute can have this type");
    return {&owner, offset, unit_type_of<T>, element_class, name};
}

// The row of a field, with the class of the units that it holds if it holds any.
#define KESTREL_UNIT_FIELD(unit, field, ...)                                                                 \
    unit_attribute<decltype(unit::field)>(unit::unit_class, offsetof(unit, field),                           \
                                          #field __VA_OPT__(, ) __VA_ARGS__)

template <class U>
consteval unit_class_t describe_unit_class(const char *name, const char *registered_name,
                                           const unit_class_t *parent, const unit_attribute_t *attributes) {
    static_assert(alignof(U) <= 8);
    return {.name = name,
            .registered_name = registered_name,
            .class_id = unit_class_id(registered_name),
            .create = [](uint32_t pool) -> unit_t * {
                U *const unit = new (std::nothrow) U;
                if (unit)
                    unit->set_pool(pool);
                return unit;
            },
            .destroy = [](unit_t *unit) { delete static_cast<U *>(unit); },
            .parent = parent,
            .attributes = attributes,
            .size = sizeof(U),
            .alignment = alignof(U)};
}

} // namespace kestrel
