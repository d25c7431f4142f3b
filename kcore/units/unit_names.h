#pragma once

// The names of units: sequences of tokens, kept in tables of rows apart from the units.
//
//   bits 0 to 15    the row in its table
//   bits 20 to 30   the table, from 1 on, so that no name has the handle 0
//   bit 31          set in the unit's copy once the name has been released
//
// Safe from several threads: reading shares the tables, adding and releasing has them alone.

#include "kcore/strings/mstring.h"

#include <cstdint>

namespace kestrel {

class unit_names_t {
  public:
    static constexpr uint32_t nameless = 0;
    static constexpr uint32_t released_mark = 1u << 31;

    // The handle of a name of tokens joined by "."; nameless when a part is no token or there is no room.
    static uint32_t add(std::string_view name);
    // The row is used again for another name.
    static void release(uint32_t handle);
    // False when it had to be cut.
    static bool get_text(uint32_t handle, mstring_t &text);
};

// "_nameless." and the address in hexadecimal, its digits in groups of four from the right.
bool nameless_unit_text(uintptr_t address, mstring_t &text);

} // namespace kestrel
