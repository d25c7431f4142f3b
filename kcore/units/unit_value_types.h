#pragma once

// From a type code to the type of the value behind it.

#include "kcore/collections/array.h"
#include "kcore/strings/string_dyn.h"
#include "kcore/units/unit_references.h"
#include "kcore/units/unit_values.h"

#include <type_traits>

namespace kestrel {

// Calls visit(std::type_identity<T>()) for the code of T. False, without a call, for resource ties, which
// nobody but the installed tie understands, and for codes that stand for nothing.
template <class F>
bool visit_unit_value_type(uint32_t code, F visit) {
    switch (code) {
#define KESTREL_VISIT(value_code, type)                                                                      \
    case value_code:                                                                                         \
        visit(std::type_identity<type>());                                                                   \
        return true;                                                                                         \
    case value_code + 1:                                                                                     \
        visit(std::type_identity<array_dyn_t<type>>());                                                      \
        return true;
        KESTREL_VISIT(unit_type::string, string_dyn_t)
        KESTREL_PLAIN_UNIT_VALUES(KESTREL_VISIT)
        KESTREL_VISIT(unit_type::owned_unit, owned_unit_t)
        KESTREL_VISIT(unit_type::unit_link, unit_link_t)
        KESTREL_VISIT(unit_type::other_unit_link, other_unit_link_t)
#undef KESTREL_VISIT
    }
    return false;
}

// The value of an attribute with storage. T is what its type code says.
template <class T>
T &unit_value(unit_t &unit, const unit_attribute_t &attribute) {
    return *reinterpret_cast<T *>(reinterpret_cast<std::byte *>(&unit) + attribute.offset);
}
template <class T>
const T &unit_value(const unit_t &unit, const unit_attribute_t &attribute) {
    return *reinterpret_cast<const T *>(reinterpret_cast<const std::byte *>(&unit) + attribute.offset);
}

} // namespace kestrel
