#include "kcore/units/unit.h"

#include "kcore/messages/messages.h"
#include "kcore/strings/string.h"
#include "kcore/units/unit_values.h"

#include <mutex>

namespace kestrel {

static constexpr unit_attribute_t no_attributes[] = {{}};
constinit const unit_class_t unit_t::unit_class =
    describe_unit_class<unit_t>("unit", "unit_t", nullptr, no_attributes);

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
    name_t name; // memory may be short: a long one is cut
    unit_t *const copy = own_class.create(pool());
    if (!copy) {
        get_name_text(name);
        msg_error("[unit] Failed to clone unit '%s' (type '%s'): memory exhausted.", name.c_str(),
                  own_class.name);
        return nullptr;
    }
    const unit_attribute_t *const failed = clone_attributes_to(*this, *copy);
    if (!failed)
        return copy;
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

void owned_unit_t::adopt(unit_t *unit) {
    if (unit == unit_)
        return;
    if (unit) {
        unit->add_reference();
        unit->mark_owned();
    }
    if (unit_t *const old = std::exchange(unit_, unit)) {
        old->destroy();
        old->drop_reference();
    }
}

static std::mutex deletion_mutex;
static unit_t *first_waiting = nullptr;

void unit_deletion_list_t::append(unit_t &unit) {
    const std::scoped_lock guard(deletion_mutex);
    if (unit.waiting_)
        return;
    unit.waiting_ = true;
    unit.next_waiting_ = first_waiting;
    first_waiting = &unit;
}

unit_t *unit_deletion_list_t::take_first() {
    const std::scoped_lock guard(deletion_mutex);
    unit_t *const unit = first_waiting;
    if (unit) {
        first_waiting = unit->next_waiting_;
        unit->next_waiting_ = nullptr;
        unit->waiting_ = false;
    }
    return unit;
}

// One at a time: deleting a unit may put others on the list.
void unit_deletion_list_t::process() {
    while (unit_t *const unit = take_first()) {
        if (unit->reference_count() != 0)
            continue;
        if (unit->is_live())
            unit->destroy();
        unit->get_class().destroy(unit);
    }
}

} // namespace kestrel
