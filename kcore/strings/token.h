#pragma once

// Names of up to 12 characters from digits, letters and "_", packed into one 64-bit integer.
//
// Character i of the name is digit i of the value in base 38, the first one the least significant: "0" to "9"
// are 1 to 10, letters of either case 11 to 36, "_" is 37, and 0 ends the name. Letter case is not kept. The
// largest value lies below 2^63; bit 63 never carries a name.

#include "kcore/strings/string.h"

#include <array>
#include <optional>

namespace kestrel {

inline constexpr std::string_view token_alphabet{"\0"
                                                 "0123456789abcdefghijklmnopqrstuvwxyz_",
                                                 38};

inline constexpr std::array<uint8_t, 256> token_character_codes = [] {
    std::array<uint8_t, 256> codes{};
    for (size_t code = 1; code < token_alphabet.size(); ++code) {
        const auto character = static_cast<uint8_t>(token_alphabet[code]);
        codes[character] = static_cast<uint8_t>(code);
        if (character >= 'a' && character <= 'z')
            codes[character - 'a' + 'A'] = static_cast<uint8_t>(code);
    }
    return codes;
}();

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

inline std::optional<token_t> token_t::from_string(std::string_view name) {
    if (name.size() > max_length)
        return std::nullopt;
    uint64_t value = 0;
    for (size_t i = name.size(); i-- > 0;) {
        const uint8_t code = token_character_codes[static_cast<uint8_t>(name[i])];
        if (code == 0)
            return std::nullopt;
        value = value * token_alphabet.size() + code;
    }
    return token_t(value);
}

inline bool token_t::to_string(mstring_t &name) const {
    char characters[max_length];
    size_t count = 0;
    uint64_t rest = value_ & ~(uint64_t{1} << 63);
    while (count < max_length && rest % token_alphabet.size() != 0) {
        characters[count++] = token_alphabet[rest % token_alphabet.size()];
        rest /= token_alphabet.size();
    }
    return name.assign(std::string_view(characters, count));
}

} // namespace kestrel
