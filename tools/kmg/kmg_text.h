#pragma once

// Values of a geometry file as text for people.

#include "tools/kmg/concat.h"
#include "tools/kmg/kmg_reader.h"

#include <array>

namespace kestrel {

// "piece 3", "header".
std::string to_text(kmg_record_kind_t kind, uint32_t index);

// Numbers, separated by blanks.
template <class T>
std::string values_text(const T &value) {
    return concat(value);
}
template <class T, size_t N>
std::string values_text(const std::array<T, N> &values) {
    std::string text;
    for (const T value : values) {
        if (!text.empty())
            text += ' ';
        append(text, value);
    }
    return text;
}
// The same for people: five digits, and zero for what is a millionth of the largest.
std::string short_text(std::span<const float> values);

// In single quotes, with everything but printable ASCII and UTF-8 escaped: a file must not speak to a
// terminal.
std::string quoted(std::string_view text);

// The text with U+FFFD for every byte that is not UTF-8.
std::string valid_utf8(std::string_view text);

} // namespace kestrel
