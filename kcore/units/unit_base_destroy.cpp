#include "kcore/messages/fatal.h"
#include "kcore/units/unit_attribute_operations.h"
#include "kcore/units/unit_resource_tie.h"
#include "kcore/units/unit_value_types.h"

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
    const bool known = visit_unit_value_type(attribute.type, [&]<class T>(std::type_identity<T>) {
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

} // namespace kestrel
