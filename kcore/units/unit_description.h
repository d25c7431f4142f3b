#pragma once

// How a class of units is described: once, as a list of its attributes, one line each.
//
//   // light_u.h
//   #define LIGHT_U_ATTRIBUTES(ATTRIBUTE)
//       ATTRIBUTE(string_dyn_t, label)                   a field and its row in the table
//       ATTRIBUTE(array_dyn_t<float>, falloff)           an array of the same element
//       ATTRIBUTE(owned_unit_t, shade, shade_u)          a unit, of that class
//       ATTRIBUTE(no_storage_t<float>, old_radius)       a name that is still known but kept nowhere
//
//   class light_u final : public unit_t {
//       KESTREL_UNIT_CLASS(LIGHT_U_ATTRIBUTES)
//   };
//
//   // light_u.cpp
//   KESTREL_DEFINE_UNIT_CLASS(light_u, &unit_t::unit_class, "light", LIGHT_U_ATTRIBUTES)
//
// (each line of the list but the last ends with a backslash). The type code follows from the field's type.
// Records and descriptors are constants: describing a class costs nothing when the program starts.

#include "kcore/collections/array.h"
#include "kcore/strings/string_dyn.h"
#include "kcore/units/unit_class.h"
#include "kcore/units/unit_references.h"
#include "kcore/units/unit_values.h"

#include <new>

namespace kestrel {

template <class T>
struct no_storage_t {};

// The type code of a field's type.
template <class T>
inline constexpr uint32_t unit_type_of = 0;
template <class T>
inline constexpr uint32_t unit_type_of<array_dyn_t<T>> = unit_type_of<T> % 2 == 1 ? unit_type_of<T> + 1 : 0;
template <class T>
inline constexpr uint32_t unit_type_of<no_storage_t<T>> = unit_type_of<T>;
template <>
inline constexpr uint32_t unit_type_of<string_dyn_t> = unit_type::string;
template <>
inline constexpr uint32_t unit_type_of<owned_unit_t> = unit_type::owned_unit;
template <>
inline constexpr uint32_t unit_type_of<unit_link_t> = unit_type::unit_link;
template <>
inline constexpr uint32_t unit_type_of<other_unit_link_t> = unit_type::other_unit_link;
template <>
inline constexpr uint32_t unit_type_of<resource_tie_t> = unit_type::resource_tie;
#define KESTREL_UNIT_TYPE_OF(code, type)                                                                     \
    template <>                                                                                              \
    inline constexpr uint32_t unit_type_of<type> = code;
KESTREL_PLAIN_UNIT_VALUES(KESTREL_UNIT_TYPE_OF)
#undef KESTREL_UNIT_TYPE_OF

namespace unit_description {

template <class T>
inline constexpr bool has_storage = true;
template <class T>
inline constexpr bool has_storage<no_storage_t<T>> = false;

// The class of the units that an attribute holds, of which there is one or none.
template <class... U>
consteval const unit_class_t *element_class() {
    const unit_class_t *found = nullptr;
    ((found = &U::unit_class), ...);
    return found;
}

template <class T, class... U>
consteval unit_attribute_t attribute(const unit_class_t &owner, size_t offset, const char *name) {
    static_assert(unit_type_of<T> != 0, "no attribute can have this type");
    return {&owner, has_storage<T> ? static_cast<int64_t>(offset) : unit_attribute_t::no_storage,
            unit_type_of<T>, element_class<U...>(), name};
}

template <class U>
consteval unit_class_t unit_class(const unit_class_t *parent, const char *name, const char *registered_name,
                                  const unit_attribute_t *attributes) {
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

template <class U>
struct table_t;

} // namespace unit_description

} // namespace kestrel

#define KESTREL_UNIT_FIELD(type, name, ...) type name{};

#define KESTREL_UNIT_CLASS(attributes)                                                                       \
  public:                                                                                                    \
    attributes(KESTREL_UNIT_FIELD) static const unit_class_t unit_class;                                     \
    const unit_class_t &get_class() const override {                                                         \
        return unit_class;                                                                                   \
    }

#define KESTREL_UNIT_RECORD(type, name, ...)                                                                 \
    unit_description::attribute<type __VA_OPT__(, ) __VA_ARGS__>(described_t::unit_class,                    \
                                                                 offsetof(described_t, name), #name),

// Offsets are asked for in classes with virtual functions, which every compiler of ours can tell.
#define KESTREL_DEFINE_UNIT_CLASS(described, parent, short_name, attributes)                                 \
    _Pragma("GCC diagnostic push") _Pragma("GCC diagnostic ignored \"-Winvalid-offsetof\"") template <>      \
    struct unit_description::table_t<described> {                                                            \
        using described_t = described;                                                                       \
        static const unit_attribute_t records[];                                                             \
    };                                                                                                       \
    constinit const unit_attribute_t unit_description::table_t<described>::records[] = {                     \
        attributes(KESTREL_UNIT_RECORD) unit_attribute_t()};                                                 \
    constinit const unit_class_t described::unit_class = unit_description::unit_class<described>(            \
        parent, short_name, #described, unit_description::table_t<described>::records);                      \
    _Pragma("GCC diagnostic pop")
