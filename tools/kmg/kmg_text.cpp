#include "tools/kmg/kmg_text.h"

#include "kcore/strings/utf.h"

#include <algorithm>
#include <cmath>

namespace kestrel {

std::string to_text(kmg_record_kind_t kind, uint32_t index) {
    return kind >= kmg_record_kind_t::bone ? concat(name_of(kind), " ", index) : name_of(kind);
}

std::string short_text(std::span<const float> values) {
    constexpr double smallest_share = 1e-6;
    double largest = 0;
    for (const float value : values)
        largest = std::max(largest, std::abs(static_cast<double>(value)));
    std::string text;
    for (const float value : values) {
        const bool counts = !(std::abs(static_cast<double>(value)) < smallest_share * largest);
        append(text,
               concat(text.empty() ? "" : " ", rounded_t{counts ? static_cast<double>(value) : 0.0, 5}));
    }
    return text;
}

std::string quoted(std::string_view text) {
    std::string result = "'";
    for (const char character : text) {
        const auto byte = static_cast<unsigned char>(character);
        if (byte >= ' ' && byte < 0x7F && byte != '\\' && byte != '\'')
            result += character;
        else
            append(result, concat("\\x", "0123456789ABCDEF"[byte >> 4], "0123456789ABCDEF"[byte & 0xF]));
    }
    return result + "'";
}

std::string valid_utf8(std::string_view text) {
    std::string result;
    while (!text.empty()) {
        const auto point = decode_utf8(text);
        const size_t length = point ? point->length : 1;
        result += point ? text.substr(0, length) : "\uFFFD";
        text.remove_prefix(length);
    }
    return result;
}

} // namespace kestrel
