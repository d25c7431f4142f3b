#include "kcore/strings/token.h"

#include <array>

namespace kestrel {

static constexpr std::string_view alphabet{"\0"
                                           "0123456789abcdefghijklmnopqrstuvwxyz_",
                                           38};

static constexpr std::array<uint8_t, 256> character_codes = [] {
    std::array<uint8_t, 256> codes{};
    for (size_t code = 1; code < alphabet.size(); ++code) {
        const auto character = static_cast<uint8_t>(alphabet[code]);
        codes[character] = static_cast<uint8_t>(code);
        if (character >= 'a' && character <= 'z')
            codes[character - 'a' + 'A'] = static_cast<uint8_t>(code);
    }
    return codes;
}();

std::optional<token_t> token_t::from_string(std::string_view name) {
    if (name.size() > max_length)
        return std::nullopt;
    uint64_t value = 0;
    for (size_t i = name.size(); i-- > 0;) {
        const uint8_t code = character_codes[static_cast<uint8_t>(name[i])];
        if (code == 0)
            return std::nullopt;
        value = value * alphabet.size() + code;
    }
    return token_t(value);
}

bool token_t::to_string(mstring_t &name) const {
    char characters[max_length];
    size_t count = 0;
    uint64_t rest = value_ & ~(uint64_t{1} << 63);
    while (count < max_length && rest % alphabet.size() != 0) {
        characters[count++] = alphabet[rest % alphabet.size()];
        rest /= alphabet.size();
    }
    return name.assign(std::string_view(characters, count));
}

} // namespace kestrel
