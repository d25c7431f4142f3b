#include "kcore/messages/fatal.h"
#include "kcore/units/unit_attribute_operations.h"
#include "kcore/units/unit_resource_tie.h"
#include "kcore/units/unit_value_types.h"

namespace kestrel {

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
    if (!target.reserve(source.size()))
        return false;
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
    if constexpr (std::is_trivially_copyable_v<T>)
        return target.append(source.items());
    else if (clone_elements(source, target))
        return true;
    target.clear();
    return false;
}

bool perform_clone_attribute_to(const unit_t &source, const unit_attribute_t &attribute, unit_t &target) {
    if (attribute.offset == unit_attribute_t::no_storage)
        return true;
    bool cloned = false;
    const bool known = visit_unit_value_type(attribute.type, [&]<class T>(std::type_identity<T>) {
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
