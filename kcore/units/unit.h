#pragma once

// A unit: a counted object whose fields are described by its class's table, so that generic code can destroy,
// copy, name and fill it without knowing what it is.
//
// A new unit is live and has no reference. Whoever keeps one takes a reference (owned_unit_t and unit_link_t
// do); dropping the last one puts the unit on the deletion list and deletes nothing by itself. Taking a unit
// down (destroy) empties its attributes and ends its life, though not its memory: links to it find it no
// longer live. Counting and naming are safe from several threads; the attributes are one thread's at a time.

#include "kcore/strings/string.h"
#include "kcore/units/unit_class.h"

#include <atomic>
#include <optional>
#include <utility>

namespace kestrel {

class unit_t {
  public:
    static const unit_class_t unit_class;
    // The element index of on_unknown_attribute for a value that is appended.
    static constexpr size_t appended = SIZE_MAX;

    unit_t() = default;
    virtual ~unit_t();
    unit_t(const unit_t &) = delete;
    unit_t &operator=(const unit_t &) = delete;

    // Takes the unit down: destroys every attribute, then releases the name.
    virtual void destroy();
    // A unit of the same class and pool with every attribute copied; the name is not. Null, after a message,
    // when memory cannot be had or an attribute cannot be copied.
    virtual unit_t *clone() const;
    virtual const unit_class_t &get_class() const { return unit_class; }
    // What a filler calls for an attribute that the class lacks, with the element's index for an array and
    // the value's text or null. Warns; true lets the filler go on.
    virtual bool on_unknown_attribute(const char *attribute, std::optional<size_t> index, const char *value);

    void add_reference() { count_word_.fetch_add(1, std::memory_order_relaxed); }
    // Takes no reference and gives false when the unit has been taken down.
    bool add_reference_while_live();
    void drop_reference();

    uint32_t reference_count() const { return word() & count_mask; }
    uint32_t pool() const { return word() >> pool_shift & pool_mask; }
    bool is_live() const { return word() & live_mark; }
    // Whether an attribute of another unit owns it.
    bool is_owned() const { return word() & owned_mark; }
    void mark_owned() { count_word_.fetch_or(owned_mark, std::memory_order_relaxed); }

    // A name of tokens joined by ".", in place of the one it had; false, changing nothing, when a part is no
    // token or there are as many names as there can be.
    bool set_name(std::string_view name);
    // That of its address for a unit without a name. False when it had to be cut.
    bool get_name_text(mstring_t &text) const;
    // "_nameless." and the address in hexadecimal, its digits in groups of four from the right.
    static bool get_nameless_text(uintptr_t address, mstring_t &text);

    // For a class's create function: before anybody else sees the unit.
    void set_pool(uint32_t pool);

  private:
    friend class unit_deletion_list_t;

    static constexpr uint32_t count_mask = (1u << 25) - 1;
    static constexpr uint32_t pool_shift = 25;
    static constexpr uint32_t pool_mask = 3;
    static constexpr uint32_t owned_mark = 1u << 29;
    static constexpr uint32_t taken_down_marks = 7u << 29; // cleared when it is taken down
    static constexpr uint32_t live_mark = 1u << 31;

    bool has_name() const;
    uint32_t word() const { return count_word_.load(std::memory_order_acquire); }
    void release_name();

    std::atomic<uint32_t> count_word_ = live_mark;
    uint32_t name_handle_ = 0; // in the tables of names

    unit_t *next_waiting_ = nullptr; // in the deletion list
    bool waiting_ = false;
};

// Units whose last reference is gone, waiting to be deleted.
class unit_deletion_list_t {
  public:
    // Safe from several threads. A unit waits once, however often its last reference goes.
    static void append(unit_t &unit);

    // Deletes what waits and still has no reference, and what that leaves without one. Units that are still
    // live are taken down first. No other thread may use units without a reference meanwhile.
    static void process();

  private:
    static unit_t *take_first();
};

// What can be done with one attribute of any unit, by its type code alone; an unknown code is fatal.
// Destroying empties the value: arrays give their memory back, owned units are taken down, links are dropped.
void perform_destroy_attribute(unit_t &unit, const unit_attribute_t &attribute);

// Copies the value over the target's: links link to the same unit while it is live, owned units are cloned.
// False when memory cannot be had or a unit cannot be cloned; an array of the target is empty then, and an
// owned unit of it gone.
bool perform_clone_attribute_to(const unit_t &source, const unit_attribute_t &attribute, unit_t &target);

// The fields of a unit that hold other units. None of them copies by accident; what they keep is counted.
//
// This one owns its unit: when it lets it go, the unit is taken down, whoever else links to it.
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
