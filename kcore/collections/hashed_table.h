#pragma once

// A table from names to values that keeps the first value given for a name.
//
// Names are compared byte for byte; their bytes stay the caller's and must outlive the table. Look-ups cost
// the same whatever the number of names: open addressing with linear probing, at most half full.

#include "kcore/collections/array.h"
#include "kcore/collections/city_hash.h"

#include <string_view>

namespace kestrel {

template <class T>
class hashed_table_t {
  public:
    size_t size() const { return count_; }

    // False when memory cannot be had. A name that is already there keeps its value, which is a success.
    bool insert(std::string_view name, const T &value) {
        if (2 * (count_ + 1) > slots_.size() && !grow())
            return false;
        const uint64_t hash = city_hash_64(name);
        slot_t &slot = slots_[slot_of(slots_.items(), name, hash)];
        if (!slot.used) {
            slot = {name, hash, value, true};
            ++count_;
        }
        return true;
    }

    // Null for a name that is not there.
    const T *find(std::string_view name) const {
        if (slots_.empty())
            return nullptr;
        const slot_t &slot = slots_[slot_of(slots_.items(), name, city_hash_64(name))];
        return slot.used ? &slot.value : nullptr;
    }

  private:
    struct slot_t {
        std::string_view name;
        uint64_t hash = 0;
        T value{};
        bool used = false;
    };

    // Where the name stands, or the free slot where it would.
    static size_t slot_of(std::span<const slot_t> slots, std::string_view name, uint64_t hash) {
        const size_t mask = slots.size() - 1;
        size_t i = hash & mask;
        while (slots[i].used && (slots[i].hash != hash || slots[i].name != name))
            i = (i + 1) & mask;
        return i;
    }

    bool grow() {
        array_dyn_t<slot_t> grown;
        if (!grown.resize(slots_.empty() ? 16 : 2 * slots_.size()))
            return false;
        for (const slot_t &slot : slots_)
            if (slot.used)
                grown[slot_of(grown.items(), slot.name, slot.hash)] = slot;
        slots_ = std::move(grown);
        return true;
    }

    array_dyn_t<slot_t> slots_; // a power of two of them
    size_t count_ = 0;
};

} // namespace kestrel
