#include "tools/conv/intermediate/number_text.h"

#include <algorithm>
#include <charconv>
#include <limits>

namespace kestrel {

namespace {

bool is_digit(char c) {
    return c >= '0' && c <= '9';
}

constexpr uint64_t integers_that_doubles_hold = uint64_t{1} << 53;

// The power of ten of a number's first digit that is not zero, far out when there is none.
int64_t magnitude_of(std::string_view number) {
    const size_t exponent_mark = std::min(number.find_first_of("eE"), number.size());
    const std::string_view mantissa = number.substr(0, exponent_mark);
    const size_t point = std::min(mantissa.find('.'), mantissa.size());
    const size_t first = mantissa.find_first_of("123456789");
    if (first == std::string_view::npos)
        return std::numeric_limits<int64_t>::min() / 2; // zero, whatever its exponent
    const int64_t position = static_cast<int64_t>(point) - static_cast<int64_t>(first);
    int64_t exponent = 0;
    if (exponent_mark != number.size()) {
        std::string_view digits = number.substr(exponent_mark + 1);
        const bool negative = digits.front() == '-';
        if (digits.front() == '-' || digits.front() == '+')
            digits.remove_prefix(1);
        for (const char digit : digits)
            exponent = std::min<int64_t>(exponent * 10 + (digit - '0'), int64_t{1} << 40);
        exponent = negative ? -exponent : exponent;
    }
    return position + exponent;
}

float round_to_float(double value) {
    // A conversion out of the float range is undefined in C++; IEEE rounds it to infinity from here on.
    constexpr double first_infinite = 0x1.ffffffp127;
    if (value >= first_infinite)
        return std::numeric_limits<float>::infinity();
    if (value <= -first_infinite)
        return -std::numeric_limits<float>::infinity();
    return static_cast<float>(value);
}

} // namespace

float decode_decimal(std::string_view text) {
    if (text.ends_with('f') || text.ends_with('F'))
        text.remove_suffix(1);
    const bool negative = text.starts_with('-');
    if (negative)
        text.remove_prefix(1);
    double value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error == std::errc::result_out_of_range)
        value = magnitude_of(text) > 0 ? std::numeric_limits<double>::infinity() : 0.0;
    return round_to_float(negative ? -value : value);
}

uint32_t decode_integer(std::string_view text) {
    const bool negative = text.starts_with('-');
    if (negative)
        text.remove_prefix(1);
    int base = 10;
    if (text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X')) {
        base = 16;
        text.remove_prefix(2);
    } else if (text.size() > 1 && text[0] == '0') {
        base = 8;
    }
    uint32_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value, base);
    const bool too_large = error == std::errc::result_out_of_range;
    if (!negative)
        return too_large ? std::numeric_limits<uint32_t>::max() : value;
    constexpr uint32_t lowest = 0x80000000;
    return too_large || value > lowest ? lowest : 0 - value;
}

const char *scan_plain_decimal(const char *text, float &value) {
    const char *p = text;
    const bool negative = *p == '-';
    p += negative;
    const char *const digits = p;
    uint64_t mantissa = 0;
    while (is_digit(*p))
        mantissa = mantissa * 10 + static_cast<uint64_t>(*p++ - '0');
    if (*p != '.')
        return nullptr;
    const char *const point = p++;
    for (unsigned count = 8; count == 8;) {
        const uint64_t bytes = load_word(p);
        count = first_marked(marks_of_non_digits(bytes));
        mantissa = mantissa * powers_of_ten[count] + (count ? digits_value(bytes, count) : 0);
        p += count;
    }
    const size_t fraction = static_cast<size_t>(p - point) - 1;
    const size_t digit_count = static_cast<size_t>(point - digits) + fraction;
    if (digit_count == 0)
        return nullptr;
    const bool exponent_or_suffix = (*p | 0x20) == 'e' || (*p | 0x20) == 'f';
    // With both operands exact, one division rounds once: the result is the nearest double.
    if (digit_count <= 19 && mantissa <= integers_that_doubles_hold && fraction <= 22 && !exponent_or_suffix)
        [[likely]] {
        const double magnitude = static_cast<double>(mantissa) / exact_powers_of_ten[fraction];
        value = round_to_float(negative ? -magnitude : magnitude);
        return p;
    }
    if ((*p | 0x20) == 'e') {
        const char *q = p + 1;
        q += *q == '-' || *q == '+';
        if (is_digit(*q)) {
            while (is_digit(*q))
                ++q;
            p = q;
        }
    }
    p += (*p | 0x20) == 'f';
    value = decode_decimal({text, static_cast<size_t>(p - text)});
    return p;
}

} // namespace kestrel
