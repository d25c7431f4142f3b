#include "kcore/strings/platform/wide_text_windows.h"

#include "kcore/strings/utf.h"

#include <windows.h>

namespace kestrel {

bool utf8_to_wide(std::string_view text, std::span<wchar_t> buffer) {
    size_t used = 0;
    while (!text.empty()) {
        const auto decoded = decode_utf8(text);
        const auto units = decoded ? encode_utf16(decoded->value) : std::nullopt;
        if (!units || decoded->value == 0 || used + units->count >= buffer.size()) {
            buffer[0] = L'\0';
            return false;
        }
        for (uint32_t i = 0; i < units->count; ++i)
            buffer[used++] = static_cast<wchar_t>(units->units[i]);
        text.remove_prefix(decoded->length);
    }
    buffer[used] = L'\0';
    return true;
}

std::wstring utf8_to_wide(std::string_view text) {
    std::wstring wide(text.size() + 1, L'\0'); // no code point has more units than bytes
    utf8_to_wide(text, wide);
    return wide.c_str();
}

bool wide_to_utf8(std::span<const wchar_t> wide, mstring_t &text) {
    array_dyn_t<uint16_t> units;
    units.reserve(wide.size());
    for (const wchar_t unit : wide)
        units.push_back(static_cast<uint16_t>(unit));
    return utf16_to_utf8({units.data(), units.size()}, text);
}

std::string wide_to_bytes(std::wstring_view wide) {
    string_dyn_t text;
    for (size_t i = 0; i < wide.size(); ++i) {
        const uint32_t unit = wide[i];
        const uint32_t next = i + 1 < wide.size() ? wide[i + 1] : 0;
        const bool pair = unit >= 0xD800 && unit <= 0xDBFF && next >= 0xDC00 && next <= 0xDFFF;
        text.append_code_point(pair ? ((unit - 0xD800) << 10) + (next - 0xDC00) + 0x10000 : unit);
        i += pair;
    }
    return std::string(text.view());
}

std::error_code wide_call_error() {
    const auto condition =
        std::error_code(static_cast<int>(GetLastError()), std::system_category()).default_error_condition();
    return {condition.value(), condition.category()};
}

} // namespace kestrel
