#pragma once

// UTF-8 and UTF-16, strict about surrogates and over-long forms (Unicode, table 3-7).
//
// A conversion of a whole text reports what is not well-formed, skips it and gives false at the end, so that
// the valid rest is still converted.

#include "kcore/collections/array.h"
#include "kcore/strings/string.h"

#include <optional>

namespace kestrel {

struct utf8_code_point_t {
    uint32_t value;
    uint32_t length; // in bytes
};

// The code point at the start of `bytes`; none when it is not well-formed or cut short.
std::optional<utf8_code_point_t> decode_utf8(std::string_view bytes);

struct utf16_units_t {
    uint16_t units[2];
    uint32_t count;
};

// None for surrogates and values above 0x10FFFF.
std::optional<utf16_units_t> encode_utf16(uint32_t code_point);

// Both stop at a NUL; the array ends with a 0 unit. False also when there is no memory for the array, and at
// once when the text has no room.
bool utf8_to_utf16(std::string_view text, array_dyn_t<uint16_t> &units);
bool utf16_to_utf8(std::span<const uint16_t> units, mstring_t &text);

} // namespace kestrel
