#pragma once

// The fields of a unit that hold other units. None of them copies by accident; what they keep is counted.

#include "kcore/units/unit.h"

#include <utility>

namespace kestrel {

// Owns its unit: when it lets it go, the unit is taken down, whoever else links to it.
class owned_unit_t {
  public:
    owned_unit_t() = default;
    owned_unit_t(owned_unit_t &&other) noexcept : unit_(std::exchange(other.unit_, nullptr)) {}
    owned_unit_t &operator=(owned_unit_t &&other) noexcept {
        if (this != &other) {
            reset();
            unit_ = std::exchange(other.unit_, nullptr);
        }
        return *this;
    }
    ~owned_unit_t() { reset(); }

    // Lets the old unit go and takes this one, or none.
    void adopt(unit_t *unit);
    void reset() { adopt(nullptr); }

    unit_t *get() const { return unit_; }

  private:
    unit_t *unit_ = nullptr;
};

// Links to a unit that is owned elsewhere. The unit's memory stays while the link does, its life may not.
template <uint32_t type_code>
class basic_unit_link_t {
  public:
    basic_unit_link_t() = default;
    basic_unit_link_t(basic_unit_link_t &&other) noexcept : unit_(std::exchange(other.unit_, nullptr)) {}
    basic_unit_link_t &operator=(basic_unit_link_t &&other) noexcept {
        std::swap(unit_, other.unit_);
        return *this;
    }
    ~basic_unit_link_t() { reset(); }

    // Links to the unit while it is live, otherwise to none.
    void link_to(unit_t *unit) {
        unit_t *const linked = unit && unit->add_reference_while_live() ? unit : nullptr;
        if (unit_t *const old = std::exchange(unit_, linked))
            old->drop_reference();
    }
    void reset() { link_to(nullptr); }

    unit_t *get() const { return unit_; }

  private:
    unit_t *unit_ = nullptr;
};

// Two kinds of link with one behaviour: definition files tell them apart.
using unit_link_t = basic_unit_link_t<unit_type::unit_link>;
using other_unit_link_t = basic_unit_link_t<unit_type::other_unit_link>;

// A unit that is reached through the installed resource tie, which alone knows what the value means and does
// everything with it.
struct resource_tie_t {
    unit_t *unit = nullptr;
};

} // namespace kestrel
