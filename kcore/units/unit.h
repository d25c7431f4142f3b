#pragma once

// A unit: a counted object whose fields are described by its class's table, so that generic code can destroy,
// copy, name and fill it without knowing what it is.
//
// A new unit is live and has no reference. Whoever keeps one takes a reference (unit_references.h does);
// dropping the last one puts the unit on the deletion list (unit_deletion.h) and deletes nothing by itself.
// Taking a unit down (destroy) empties its attributes and ends its life, though not its memory: links to it
// find it no longer live. Counting is safe from several threads; the attributes are one thread's at a time.

#include "kcore/strings/mstring.h"
#include "kcore/units/unit_class.h"

#include <atomic>
#include <optional>

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
    // when one cannot be copied.
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
    // token or the name tables are full.
    bool set_name(std::string_view name);
    // "_nameless." and the address for a unit without a name.
    bool get_name_text(mstring_t &text) const;

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

    uint32_t word() const { return count_word_.load(std::memory_order_acquire); }
    void release_name();

    std::atomic<uint32_t> count_word_ = live_mark;
    uint32_t name_handle_ = 0; // of the name tables

    unit_t *next_waiting_ = nullptr; // in the deletion list
    bool waiting_ = false;
};

bool is_of_class(const unit_t &unit, const unit_class_t &unit_class);

// The unit as one of the class U; null when it is none or another.
template <class U>
U *unit_cast(unit_t *unit) {
    return unit && is_of_class(*unit, U::unit_class) ? static_cast<U *>(unit) : nullptr;
}

} // namespace kestrel
