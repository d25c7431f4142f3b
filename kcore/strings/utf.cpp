#include "kcore/strings/utf.h"

#include "kcore/messages/messages.h"

#include <new>

namespace kestrel {

std::optional<utf8_code_point_t> decode_utf8(std::string_view bytes) {
    const auto byte = [&](size_t i) { return static_cast<uint8_t>(bytes[i]); };
    if (bytes.empty())
        return std::nullopt;
    const uint8_t lead = byte(0);
    if (lead < 0x80)
        return utf8_code_point_t{lead, 1};
    if (lead < 0xC2 || lead > 0xF4)
        return std::nullopt;
    const uint32_t length = lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
    if (bytes.size() < length)
        return std::nullopt;
    uint32_t value = lead & (0x7Fu >> length);
    for (uint32_t i = 1; i < length; ++i) {
        if ((byte(i) & 0xC0) != 0x80)
            return std::nullopt;
        value = value << 6 | (byte(i) & 0x3Fu);
    }
    static constexpr uint32_t smallest[5] = {0, 0, 0x80, 0x800, 0x10000};
    const bool surrogate = value >= 0xD800 && value <= 0xDFFF;
    if (value < smallest[length] || value > 0x10FFFF || surrogate)
        return std::nullopt;
    return utf8_code_point_t{value, length};
}

std::optional<utf16_units_t> encode_utf16(uint32_t c) {
    if (c > 0x10FFFF || (c >= 0xD800 && c <= 0xDFFF))
        return std::nullopt;
    if (c <= 0xFFFF)
        return utf16_units_t{{static_cast<uint16_t>(c), 0}, 1};
    return utf16_units_t{
        {static_cast<uint16_t>(0xD800 + ((c - 0x10000) >> 10)), static_cast<uint16_t>(0xDC00 + (c & 0x3FF))},
        2};
}

bool utf8_to_utf16(std::string_view text, array_dyn_t<uint16_t> &units) {
    units.clear();
    text = text.substr(0, text.find('\0'));
    try {
        units.reserve(text.size() + 1); // no code point has more units than bytes
    } catch (const std::bad_alloc &) {
        return false;
    }
    bool valid = true;
    while (!text.empty()) {
        const auto decoded = decode_utf8(text);
        if (!decoded) {
            if (valid)
                msg_error("Encountered invalid code point.");
            valid = false;
            text.remove_prefix(1);
            continue;
        }
        text.remove_prefix(decoded->length);
        // Well-formed UTF-8 holds nothing that UTF-16 cannot.
        const utf16_units_t encoded = *encode_utf16(decoded->value);
        units.append({encoded.units, encoded.count});
    }
    units.push_back(0);
    return valid;
}

bool utf16_to_utf8(std::span<const uint16_t> units, mstring_t &text) {
    bool valid = true;
    for (size_t i = 0; i < units.size() && units[i] != 0; ++i) {
        const uint32_t unit = units[i];
        uint32_t code_point = unit;
        if (unit >= 0xDC00 && unit <= 0xDFFF) {
            msg_error("Standalone tailing surrogate found.");
            valid = false;
            continue;
        }
        if (unit >= 0xD800 && unit <= 0xDBFF) {
            if (i + 1 == units.size())
                return msg_error("Input ends with leading surrogate.");
            const uint32_t next = units[i + 1];
            if (next < 0xDC00 || next > 0xDFFF) {
                msg_error("Leading surrogate without trailing one found.");
                valid = false;
                continue;
            }
            code_point = ((unit - 0xD800) << 10) + (next - 0xDC00) + 0x10000;
            ++i;
        }
        if (!text.append_code_point(code_point))
            return false;
    }
    return valid;
}

} // namespace kestrel
