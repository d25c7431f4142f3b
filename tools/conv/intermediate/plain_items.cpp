#include "tools/conv/intermediate/plain_items.h"

#include "tools/conv/intermediate/number_text.h"

#include <algorithm>
#include <bit>
#include <cstring>

namespace kestrel {

namespace {

bool is_blank(char c) {
    constexpr uint64_t blanks =
        uint64_t{1} << ' ' | uint64_t{1} << '\t' | uint64_t{1} << '\r' | uint64_t{1} << '\n';
    return static_cast<uint8_t>(c) <= ' ' && (blanks >> static_cast<uint8_t>(c) & 1);
}

const char *skip_blanks(const char *p) {
    while (is_blank(*p))
        ++p;
    return p;
}

// What may follow a number without becoming part of its token or a token of its own.
bool ends_number(char c) {
    return is_blank(c) || c == ')';
}

// Up to nine digits, without the leading zero that would make them octal; none for anything else.
const char *scan_integer(const char *p, uint32_t &value) {
    const char *const first = p;
    uint32_t number = 0;
    while (*p >= '0' && *p <= '9')
        number = number * 10 + static_cast<uint32_t>(*p++ - '0');
    const auto digits = p - first;
    if (digits == 0 || digits > 9 || (*first == '0' && digits > 1))
        return nullptr;
    value = number;
    return p;
}

const char *scan_real(const char *p, uint32_t &bits) {
    constexpr size_t pattern_length = 9;
    if (*p == '&' || *p == '$') {
        const auto digits = decode_hex_digits(p + 1);
        if (!digits)
            return nullptr;
        bits = *p == '&' ? *digits : __builtin_bswap32(*digits);
        return (bits & infinite_exponent) == infinite_exponent ? nullptr : p + pattern_length;
    }
    float value;
    p = scan_plain_decimal(p, value);
    bits = std::bit_cast<uint32_t>(value);
    return p;
}

template <bool reals>
const char *scan_number(const char *p, uint32_t &bits) {
    p = reals ? scan_real(p, bits) : scan_integer(p, bits);
    return p && ends_number(*p) ? p : nullptr;
}

// One item with the given index into `words`; gives the byte after it, or none.
template <bool reals>
const char *scan_item(const char *p, uint32_t index, uint32_t *words, uint32_t count) {
    uint32_t written_index;
    p = scan_integer(skip_blanks(p), written_index);
    if (!p || written_index != index)
        return nullptr;
    p = skip_blanks(p);
    if (*p++ != '(')
        return nullptr;
    for (uint32_t i = 0; i < count; ++i) {
        p = scan_number<reals>(skip_blanks(p), words[i]);
        if (!p)
            return nullptr;
    }
    p = skip_blanks(p);
    return *p == ')' ? p + 1 : nullptr;
}

template <bool reals>
void scan_run(scanner_t &scanner, kix_stream_t &stream, uint32_t count) {
    constexpr uint32_t most_words = 16;
    const size_t word_bytes = count * sizeof(uint32_t);
    // A tuple may be shorter than the item, which then ends in zeros, or longer, and is cut.
    const size_t copied = std::min(word_bytes, stream.item_size());
    const char *p = scanner.position();
    for (std::byte *place; (place = stream.next_item()); stream.item_written()) {
        uint32_t words[most_words];
        const char *const end = scan_item<reals>(p, stream.count(), words, count);
        if (!end)
            break;
        std::memcpy(place, words, copied);
        std::memset(place + copied, 0, stream.item_size() - copied);
        p = end;
    }
    scanner.advance_to(p);
}

} // namespace

void scan_plain_items(scanner_t &scanner, kix_stream_t &stream, bool reals, uint32_t count) {
    if (reals)
        scan_run<true>(scanner, stream, count);
    else
        scan_run<false>(scanner, stream, count);
}

} // namespace kestrel
