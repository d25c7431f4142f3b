#include "tools/kmg/kmg_text.h"

#include "kcore/strings/string.h"
#include "kcore/strings/token.h"
#include "kcore/strings/utf.h"

#include <algorithm>
#include <cmath>

namespace kestrel {

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

std::string token_text(uint64_t value) {
    string_local_t<token_t::max_length + 1> name;
    token_t(value).to_string(name);
    return std::string(name.view());
}

bool is_token(uint64_t value) {
    return token_t::from_string(token_text(value)) == token_t(value);
}

std::string named(kmg_record_kind_t kind, size_t index, uint64_t name) {
    const std::string text = to_text(kind, static_cast<uint32_t>(index));
    return name == 0 ? text : concat(text, " '", token_text(name), "'");
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

bool is_utf8(std::string_view text) {
    while (!text.empty()) {
        const auto point = decode_utf8(text);
        if (!point)
            return false;
        text.remove_prefix(point->length);
    }
    return true;
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

std::string list_text(std::span<const uint32_t> ascending) {
    std::string text;
    for (size_t i = 0; i < ascending.size();) {
        size_t last = i;
        while (last + 1 < ascending.size() && ascending[last + 1] == ascending[last] + 1)
            ++last;
        append(text, concat(text.empty() ? "" : ", ", ascending[i]));
        if (last > i)
            append(text, concat(last == i + 1 ? ", " : "-", ascending[last]));
        i = last + 1;
    }
    return text;
}

static bool is_number(std::string_view cell) {
    return cell.find_first_not_of("0123456789.%+-e") == std::string_view::npos;
}

text_table_t::text_table_t(const std::vector<std::string> &headings) : columns_(headings.size()) {
    add(headings);
    for (column_t &column : columns_)
        column.numbers = true;
    rows_ = 0;
}

void text_table_t::add(const std::vector<std::string> &cells) {
    for (size_t c = 0; c < columns_.size(); ++c) {
        columns_[c].width = std::max(columns_[c].width, cells[c].size());
        columns_[c].numbers = columns_[c].numbers && is_number(cells[c]);
        cells_ += cells[c];
        cells_ += '\0';
    }
    ++rows_;
}

std::string text_table_t::next_line(size_t &at) const {
    std::string text;
    for (const column_t &column : columns_) {
        const std::string_view cell(cells_.data() + at);
        at += cell.size() + 1;
        text += "  ";
        const std::string gap(column.width - cell.size(), ' ');
        text += column.numbers ? gap : cell;
        text += column.numbers ? cell : gap;
    }
    return text.erase(text.find_last_not_of(' ') + 1);
}

} // namespace kestrel
