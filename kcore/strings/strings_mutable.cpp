#include "kcore/messages/fatal.h"
#include "kcore/strings/mstring.h"
#include "kcore/strings/printf_format.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

namespace kestrel {

char string::get_character_byte(uint32_t index) const {
    if (index > length_)
        report_fatal({"kcore/strings/strings_mutable", __LINE__, "kestrel::mstring_t::get_character_byte"},
                     "mstring_t bounds check failed.");
    return data_[index];
}

static int64_t position_or_none(size_t position) {
    return position == std::string_view::npos ? -1 : static_cast<int64_t>(position);
}

int64_t string::find_last_of(std::string_view set) const {
    return position_or_none(view().find_last_of(set));
}

int64_t string::find_first_not_of(std::string_view set, uint32_t from) const {
    return position_or_none(view().find_first_not_of(set, from));
}

int64_t string::find_last_not_of(std::string_view set, uint32_t from) const {
    return position_or_none(view().find_last_not_of(set, from));
}

void mstring_t::cut(uint32_t length) {
    if (length >= length_)
        return;
    length_ = length;
    data_[length] = '\0';
}

void mstring_t::replace_all(char from, char to) {
    std::replace(data_, data_ + length_, from, to);
}

bool mstring_t::assign_range(const string &other, uint32_t from, uint32_t to) {
    if (from >= other.length()) {
        clear();
        return true;
    }
    return assign(other.view().substr(from, std::max(from, to) - from));
}

bool mstring_t::write_at(uint32_t position, std::string_view text) {
    text = text.substr(0, text.find('\0'));
    if (text.empty()) {
        cut(position);
        return true;
    }
    // The text may be part of this very string, whose storage may move.
    const bool inside = capacity_ != 0 && text.data() >= data_ && text.data() <= data_ + length_;
    const size_t offset = inside ? static_cast<size_t>(text.data() - data_) : 0;
    const uint64_t needed = static_cast<uint64_t>(text.size()) + position + 1;
    const uint32_t room = reserve(needed);
    if (room <= position)
        return false;
    const size_t copied = std::min<uint64_t>(needed, room) - 1 - position;
    std::memmove(data_ + position, inside ? data_ + offset : text.data(), copied);
    length_ = position + static_cast<uint32_t>(copied);
    data_[length_] = '\0';
    return copied == text.size();
}

bool mstring_t::format_variadic(uint32_t position, const char *format, ...) {
    va_list arguments;
    va_start(arguments, format);
    const bool whole = format_at(position, format, arguments);
    va_end(arguments);
    return whole;
}

bool mstring_t::format_at(uint32_t position, const char *format, va_list arguments) {
    const printf_format_t printf_format(format);
    const auto print = [&] {
        va_list copy;
        va_copy(copy, arguments);
        const uint32_t room = capacity_ - position;
        const int length =
            std::vsnprintf(room ? data_ + position : nullptr, room, printf_format.c_str(), copy);
        va_end(copy);
        return length;
    };
    // Most texts fit where they are to stand and are formatted once.
    const int length = print();
    const uint64_t needed = uint64_t{position} + 1 + (length < 0 ? 0 : static_cast<uint32_t>(length));
    const uint32_t before = capacity_;
    if (reserve(needed) != before)
        print();
    if (capacity_ == 0)
        return false;
    const bool whole = length >= 0 && needed <= capacity_;
    length_ = length < 0 ? position : whole ? static_cast<uint32_t>(needed) - 1 : capacity_ - 1;
    data_[length_] = '\0';
    return whole;
}

bool mstring_t::append_code_point(uint32_t c) {
    char bytes[4];
    size_t count = 0;
    const auto put = [&](uint32_t value) { bytes[count++] = static_cast<char>(value); };
    if (c == 0)
        return true;
    if (c < 0x80) {
        put(c);
    } else if (c < 0x800) {
        put(0xC0 | c >> 6);
        put(0x80 | (c & 0x3F));
    } else if (c < 0x10000) {
        put(0xE0 | c >> 12);
        put(0x80 | (c >> 6 & 0x3F));
        put(0x80 | (c & 0x3F));
    } else if (c <= 0x1FFFFF) {
        put(0xF0 | c >> 18);
        put(0x80 | (c >> 12 & 0x3F));
        put(0x80 | (c >> 6 & 0x3F));
        put(0x80 | (c & 0x3F));
    } else {
        return false;
    }
    const uint64_t needed = uint64_t{length_} + 1 + count;
    return reserve(needed) >= needed && append({bytes, count});
}

} // namespace kestrel
