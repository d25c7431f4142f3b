#include "kcore/messages/messages.h"
#include "kcore/units/unit_resource_tie.h"
#include "kcore/units/unit_values.h"

namespace kestrel {

// Plain values need nothing.
template <class T>
static void destroy_value(T &) {}

static void destroy_value(string_dyn_t &text) {
    text.clear();
}

static void destroy_value(owned_unit_t &unit) {
    unit.reset();
}

template <uint32_t type_code>
static void destroy_value(basic_unit_link_t<type_code> &link) {
    link.reset();
}

template <class T>
static void destroy_value(array_dyn_t<T> &array) {
    array.release();
}

void perform_destroy_attribute(unit_t &unit, const unit_attribute_t &attribute) {
    if (attribute.offset == unit_attribute_t::no_storage)
        return;
    const bool known = unit_values_t::visit(attribute.type, [&]<class T>(std::type_identity<T>) {
        destroy_value(unit_value<T>(unit, attribute));
    });
    if (known)
        return;
    if (attribute.type == unit_type::resource_tie)
        return unit_resource_tie().destroy_scalar(unit, attribute);
    if (attribute.type == unit_type::resource_tie + 1)
        return unit_resource_tie().destroy_array(unit, attribute);
    report_fatal({"kcore/units/unit_base_destroy", __LINE__, "kestrel::perform_destroy_attribute"},
                 "[unit] Unknown attribute type in _destroy_attributes().");
}

template <class T>
static bool clone_value(const T &source, T &target) {
    target = source;
    return true;
}

static bool clone_value(const string_dyn_t &source, string_dyn_t &target) {
    return target.assign(source);
}

static bool clone_value(const owned_unit_t &source, owned_unit_t &target) {
    unit_t *const copy = source.get() ? source.get()->clone() : nullptr;
    target.adopt(copy);
    return copy || !source.get();
}

template <uint32_t type_code>
static bool clone_value(const basic_unit_link_t<type_code> &source, basic_unit_link_t<type_code> &target) {
    target.link_to(source.get());
    return true;
}

template <class T>
static bool clone_elements(const array_dyn_t<T> &source, array_dyn_t<T> &target) {
    target.reserve(source.size());
    for (const T &element : source) {
        target.emplace_back();
        if (!clone_value(element, target.back()))
            return false;
    }
    return true;
}

template <class T>
static bool clone_value(const array_dyn_t<T> &source, array_dyn_t<T> &target) {
    target.clear();
    bool cloned = false;
    try {
        cloned = clone_elements(source, target);
    } catch (const std::bad_alloc &) {
        // Like an element that cannot be cloned.
    }
    if (!cloned)
        target.clear();
    return cloned;
}

bool perform_clone_attribute_to(const unit_t &source, const unit_attribute_t &attribute, unit_t &target) {
    if (attribute.offset == unit_attribute_t::no_storage)
        return true;
    bool cloned = false;
    const bool known = unit_values_t::visit(attribute.type, [&]<class T>(std::type_identity<T>) {
        cloned = clone_value(unit_value<T>(source, attribute), unit_value<T>(target, attribute));
    });
    if (known)
        return cloned;
    if (attribute.type == unit_type::resource_tie)
        return unit_resource_tie().clone_scalar(source, attribute, target);
    if (attribute.type == unit_type::resource_tie + 1)
        return unit_resource_tie().clone_array(source, attribute, target);
    report_fatal({"kcore/units/unit_base_clone", __LINE__, "kestrel::perform_clone_attribute_to"},
                 "[unit] Unknown attribute type in _clone_attributes_to().");
}

} // namespace kestrel
