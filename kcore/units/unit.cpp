#include "kcore/units/unit.h"

#include "kcore/messages/fatal.h"
#include "kcore/messages/messages.h"
#include "kcore/units/unit_attribute_operations.h"
#include "kcore/units/unit_deletion.h"
#include "kcore/units/unit_description.h"
#include "kcore/units/unit_names.h"

namespace kestrel {

#define UNIT_T_ATTRIBUTES(ATTRIBUTE)
KESTREL_DEFINE_UNIT_CLASS(unit_t, nullptr, "unit", UNIT_T_ATTRIBUTES)

unit_t::~unit_t() {
    release_name();
}

void unit_t::set_pool(uint32_t pool) {
    if (pool > pool_mask)
        report_fatal({"kcore/units/unit", __LINE__, "kestrel::unit_t::set_pool"},
                     "[unit] There is no unit pool %u.", pool);
    count_word_.fetch_or(pool << pool_shift, std::memory_order_relaxed);
}

void unit_t::destroy() {
    for (const unit_class_t *level = &get_class(); level; level = level->parent)
        for (const unit_attribute_t *attribute = level->attributes; attribute->type; ++attribute)
            perform_destroy_attribute(*this, *attribute);
    release_name();
    count_word_.fetch_and(~taken_down_marks, std::memory_order_release);
}

// The first attribute that cannot be copied; null when all are.
static const unit_attribute_t *clone_attributes_to(const unit_t &source, unit_t &target) {
    for (const unit_class_t *level = &source.get_class(); level; level = level->parent)
        for (const unit_attribute_t *attribute = level->attributes; attribute->type; ++attribute)
            if (!perform_clone_attribute_to(source, *attribute, target))
                return attribute;
    return nullptr;
}

unit_t *unit_t::clone() const {
    const unit_class_t &own_class = get_class();
    unit_t *const copy = own_class.create(pool());
    if (!copy)
        return nullptr;
    const unit_attribute_t *const failed = clone_attributes_to(*this, *copy);
    if (!failed)
        return copy;
    string_dyn_t name;
    get_name_text(name);
    msg_error("[unit] Failed to clone the the attribute '%s' of unit '%s' (type '%s').", failed->name,
              name.c_str(), own_class.name);
    copy->destroy();
    own_class.destroy(copy);
    return nullptr;
}

bool unit_t::on_unknown_attribute(const char *attribute, std::optional<size_t> index, const char *value) {
    const char *const text = value ? value : "<N/A>";
    if (!index)
        msg_warning("[unit] Ignored unknown attribute %s = %s", attribute, text);
    else if (*index == appended)
        msg_warning("[unit] Ignored unknown attribute %s[] = %s", attribute, text);
    else
        msg_warning("[unit] Ignored unknown attribute %s[%Iu] = %s", attribute, *index, text);
    return true;
}

// The mark is asked for after the count is up, so a unit found live stays until the reference is dropped.
bool unit_t::add_reference_while_live() {
    if ((count_word_.fetch_add(1, std::memory_order_acq_rel) + 1) & live_mark)
        return true;
    drop_reference();
    return false;
}

void unit_t::drop_reference() {
    const uint32_t before = count_word_.fetch_sub(1, std::memory_order_acq_rel) & count_mask;
    if (before == 0)
        report_fatal({"kcore/units/unit", __LINE__, "kestrel::unit_t::drop_reference"},
                     "[unit] A reference is dropped that was never taken.");
    if (before == 1)
        unit_deletion_list_t::append(*this);
}

bool unit_t::set_name(std::string_view name) {
    const uint32_t handle = unit_names_t::add(name);
    if (handle == unit_names_t::nameless)
        return false;
    release_name();
    name_handle_ = handle;
    return true;
}

void unit_t::release_name() {
    if (name_handle_ == unit_names_t::nameless || name_handle_ & unit_names_t::released_mark)
        return;
    unit_names_t::release(name_handle_);
    name_handle_ |= unit_names_t::released_mark;
}

bool unit_t::get_name_text(mstring_t &text) const {
    if (name_handle_ == unit_names_t::nameless || name_handle_ & unit_names_t::released_mark)
        return nameless_unit_text(reinterpret_cast<uintptr_t>(this), text);
    return unit_names_t::get_text(name_handle_, text);
}

bool is_of_class(const unit_t &unit, const unit_class_t &unit_class) {
    const unit_class_t *level = &unit.get_class();
    while (level && level != &unit_class)
        level = level->parent;
    return level;
}

} // namespace kestrel
