#include "kcore/strings/string.h"

#include "kcore/messages/messages.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <new>

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

// What stands between "%" and the size prefix or the conversion.
static size_t length_of_flags(const char *text) {
    return std::strspn(text, "-+ #0123456789.");
}

// The start of the first conversion, just behind its flags, that printf does not know; null when there is
// none.
static const char *find_own_conversion(const char *format) {
    while ((format = std::strchr(format, '%'))) {
        format += 1 + length_of_flags(format + 1);
        if (*format == 'I' || *format == 'p')
            return format;
        if (*format)
            ++format;
    }
    return nullptr;
}

namespace {

// A format of the program as this platform's printf wants it. Most need no change.
class printf_format_t {
  public:
    // The format must live as long as this object.
    explicit printf_format_t(const char *format);

    // Null for a format with own conversions that is longer than literals may be.
    const char *c_str() const { return text_; }

  private:
    const char *text_;
    char translated_[max_own_format_length * 3];
};

} // namespace

printf_format_t::printf_format_t(const char *format) : text_(format) {
    const char *own = find_own_conversion(format);
    if (!own)
        return;
    text_ = nullptr;
    if (std::strlen(format) > max_own_format_length)
        return;
    char *end = translated_;
    const auto append = [&](std::string_view text) { end = std::copy(text.begin(), text.end(), end); };
    for (; own; own = find_own_conversion(format)) {
        append({format, own});
        if (*own == 'p') {
            append(".16zX");
            format = own + 1;
        } else {
            const bool wide = std::strncmp(own, "I64", 3) == 0;
            append(wide ? "ll" : "z");
            format = own + (wide ? 3 : 1);
        }
    }
    append(format);
    *end = '\0';
    text_ = translated_;
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
    const int length = printf_format.c_str() ? print() : -1;
    if (length < 0) {
        length_ = std::min(length_, position);
        if (capacity_ != 0)
            data_[length_] = '\0';
        return false;
    }
    const uint64_t needed = uint64_t{position} + 1 + static_cast<uint32_t>(length);
    // The prefix stands also when growing throws.
    if (capacity_ != 0)
        length_ = static_cast<uint32_t>(std::min<uint64_t>(needed, capacity_)) - 1;
    if (needed > capacity_ && can_grow()) {
        reserve(needed);
        print();
        length_ = static_cast<uint32_t>(needed) - 1;
    }
    return needed <= capacity_;
}

bool mstring_t::append_code_point(uint32_t c) {
    if (c == 0 || c > 0x1FFFFF)
        return c == 0;
    const size_t count = c < 0x80 ? 1 : c < 0x800 ? 2 : c < 0x10000 ? 3 : 4;
    constexpr uint32_t lead_marks[] = {0, 0, 0xC0, 0xE0, 0xF0};
    char bytes[4];
    for (size_t i = count; i-- > 1; c >>= 6)
        bytes[i] = static_cast<char>(0x80 | (c & 0x3F));
    bytes[0] = static_cast<char>(lead_marks[count] | c);
    const uint64_t needed = uint64_t{length_} + 1 + count;
    return reserve(needed) >= needed && append({bytes, count});
}

void string_dyn_t::point_to_empty() {
    // Shared by all empty strings and never written: the capacity 0 keeps every writer away.
    static const char empty[1] = {'\0'};
    data_ = const_cast<char *>(empty);
    length_ = 0;
    capacity_ = 0;
}

uint32_t string_dyn_t::reserve(uint64_t wanted) {
    if (wanted <= capacity_)
        return capacity_;
    const uint64_t grown = std::max((wanted + 15) & ~uint64_t{15}, uint64_t{capacity_} * 2);
    if (grown > std::numeric_limits<uint32_t>::max())
        throw std::bad_alloc();
    char *storage = static_cast<char *>(std::realloc(capacity_ ? data_ : nullptr, grown));
    if (!storage)
        throw std::bad_alloc();
    if (capacity_ == 0)
        storage[0] = '\0';
    data_ = storage;
    capacity_ = static_cast<uint32_t>(grown);
    return capacity_;
}

void string_dyn_t::release_storage() {
    if (capacity_ != 0)
        std::free(data_);
    point_to_empty();
}

} // namespace kestrel
