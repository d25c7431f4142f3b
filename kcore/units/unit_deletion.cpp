#include "kcore/units/unit_deletion.h"

#include "kcore/units/unit.h"

#include <mutex>

namespace kestrel {

static std::mutex mutex;
static unit_t *first_waiting = nullptr;

void unit_deletion_list_t::append(unit_t &unit) {
    const std::scoped_lock guard(mutex);
    if (unit.waiting_)
        return;
    unit.waiting_ = true;
    unit.next_waiting_ = first_waiting;
    first_waiting = &unit;
}

unit_t *unit_deletion_list_t::take_first() {
    const std::scoped_lock guard(mutex);
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
