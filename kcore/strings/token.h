#pragma once

// Names of up to 12 characters from digits, letters and "_", packed into one 64-bit integer.
//
// Character i of the name is digit i of the value in base 38, the first one the least significant: "0" to "9"
// are 1 to 10, letters of either case 11 to 36, "_" is 37, and 0 ends the name. Letter case is not kept. The
// largest value lies below 2^63; bit 63 never carries a name.

#include "kcore/strings/string.h"

#include <optional>

namespace kestrel {

class token_t {
  public:
    static constexpr uint32_t max_length = 12;

    constexpr token_t() = default;
    constexpr explicit token_t(uint64_t value) : value_(value) {}

    // None for a name with another character or of more than 12; says nothing, the caller reports.
    static std::optional<token_t> from_string(std::string_view name);
    // False when the name had to be cut.
    bool to_string(mstring_t &name) const;

    constexpr uint64_t value() const { return value_; }
    bool operator==(const token_t &) const = default;

  private:
    uint64_t value_ = 0;
};

} // namespace kestrel
