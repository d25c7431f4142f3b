#include "tools/conv/intermediate/plain_items.h"

#include "tools/conv/intermediate/number_text.h"
#include "tools/conv/intermediate/text_words.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>

namespace kestrel {

namespace {

// The blanks at one place of an item. They are nearly always those of the item before, and then skipped with
// one comparison.
class gap_t {
  public:
    [[gnu::always_inline]] const char *skip(const char *p) {
        if ((load_word(p) ^ blanks_) & mask_) [[unlikely]]
            return skip_others(p);
        p += length_;
        return is_blank(*p) ? skip_others(p - length_) : p;
    }

  private:
    [[gnu::noinline]] const char *skip_others(const char *p) {
        const char *const end = skip_blanks(p);
        length_ = static_cast<unsigned>(std::min<ptrdiff_t>(end - p, 8));
        mask_ = bytes_below(length_);
        blanks_ = load_word(p) & mask_;
        return end;
    }

    uint64_t blanks_ = 0;
    uint64_t mask_ = 0;
    unsigned length_ = 0;
};

// The digits of the index that the next item must have, counted up in place.
class index_text_t {
  public:
    explicit index_text_t(uint32_t index) {
        do {
            digits_ = digits_ << 8 | ('0' + index % 10);
            ++length_;
        } while (index /= 10);
    }

    // The byte after the index, or none.
    [[gnu::always_inline]] const char *match(const char *p) const {
        return (load_word(p) ^ digits_) & bytes_below(length_) ? nullptr : p + length_;
    }
    [[gnu::always_inline]] void count_up() {
        unsigned place = 8 * (length_ - 1);
        digits_ += uint64_t{1} << place;
        if ((digits_ >> place & 0xFF) > '9') [[unlikely]]
            carry(place);
    }

  private:
    [[gnu::noinline]] void carry(unsigned place) {
        while ((digits_ >> place & 0xFF) > '9') {
            digits_ -= uint64_t{10} << place;
            if (place == 0) {
                digits_ = digits_ << 8 | '1';
                ++length_;
                return;
            }
            place -= 8;
            digits_ += uint64_t{1} << place;
        }
    }

    uint64_t digits_ = 0;
    unsigned length_ = 0;
};

[[gnu::always_inline]] inline const char *scan_bit_pattern(const char *p, uint32_t &bits) {
    constexpr size_t pattern_length = 9;
    const auto digits = decode_hex_digits(p + 1);
    if (!digits)
        return nullptr;
    bits = *p == '&' ? *digits : __builtin_bswap32(*digits);
    return (bits & infinite_exponent) == infinite_exponent ? nullptr : p + pattern_length;
}

[[gnu::noinline]] const char *scan_long_decimal(const char *p, uint32_t &bits) {
    float value;
    p = scan_plain_decimal(p, value);
    bits = std::bit_cast<uint32_t>(value);
    return p;
}

// Decimals with up to seven digits after the point and few before, which are nearly all, in place.
[[gnu::always_inline]] inline const char *scan_decimal(const char *text, uint32_t &bits) {
    const uint32_t negative = *text == '-';
    const char *p = text + negative;
    const char *const first = p;
    uint64_t mantissa = 0;
    for (unsigned digit; (digit = static_cast<unsigned>(*p - '0')) <= 9; ++p)
        mantissa = mantissa * 10 + digit;
    const uint64_t word = load_word(p + 1);
    const unsigned fraction = first_marked(marks_of_non_digits(word));
    const char *const end = p + 1 + fraction;
    if (*p != '.' || fraction - 1 >= 7 || p - first > 8 || *end > ')') [[unlikely]]
        return scan_long_decimal(text, bits);
    mantissa = mantissa * powers_of_ten[fraction] + digits_value(word, fraction);
    // Both operands are exact, so the division rounds once.
    const auto magnitude = static_cast<float>(static_cast<double>(static_cast<int64_t>(mantissa)) /
                                              exact_powers_of_ten[fraction]);
    bits = std::bit_cast<uint32_t>(magnitude) | negative << 31;
    return end;
}

[[gnu::always_inline]] inline const char *scan_real(const char *p, uint32_t &bits) {
    return *p == '&' || *p == '$' ? scan_bit_pattern(p, bits) : scan_decimal(p, bits);
}

// Reads items one after the other.
template <bool reals, uint32_t count>
class item_reader_t {
  public:
    explicit item_reader_t(uint32_t first_index) : index_(first_index) {}

    // One item into `words`; gives the byte after it, or none.
    [[gnu::always_inline]] const char *read(const char *p, uint32_t *words) {
        p = index_.match(before_index_.skip(p));
        if (!p)
            return nullptr;
        p = after_index_.skip(p);
        if (*p != '(')
            return nullptr;
        p = before_first_.skip(p + 1);
#pragma GCC unroll 16
        for (uint32_t i = 0; i < count; ++i) {
            // Every literal is read as far as its token goes, so whatever follows at once is another token.
            p = reals ? scan_real(p, words[i]) : scan_plain_integer(p, words[i]);
            if (!p)
                return nullptr;
            p = (i + 1 < count ? between_ : after_last_).skip(p);
        }
        if (*p != ')')
            return nullptr;
        index_.count_up();
        return p + 1;
    }

  private:
    index_text_t index_;
    gap_t before_index_, after_index_, before_first_, between_, after_last_;
};

template <bool reals, uint32_t count>
void scan_run(scanner_t &scanner, kix_stream_t &stream) {
    constexpr size_t word_bytes = count * sizeof(uint32_t);
    // A tuple may be shorter than the item, which then ends in zeros, or longer, and is cut.
    const size_t copied = std::min(word_bytes, stream.item_size());
    item_reader_t<reals, count> reader(stream.count());
    const char *p = scanner.position();
    for (std::byte *place; (place = stream.next_item()); stream.item_written()) {
        uint32_t words[count];
        const char *const end = reader.read(p, words);
        if (!end)
            break;
        if (stream.item_size() == word_bytes) [[likely]] {
            std::memcpy(place, words, word_bytes);
        } else {
            std::memcpy(place, words, copied);
            std::memset(place + copied, 0, stream.item_size() - copied);
        }
        p = end;
    }
    scanner.advance_to(p);
}

} // namespace

void scan_plain_items(scanner_t &scanner, kix_stream_t &stream, bool reals, uint32_t count) {
    using scan_t = void (*)(scanner_t &, kix_stream_t &);
    static constexpr scan_t scan_reals[] = {scan_run<true, 1>, scan_run<true, 2>, scan_run<true, 3>,
                                            scan_run<true, 4>, scan_run<true, 5>, scan_run<true, 6>};
    static constexpr scan_t scan_integers[] = {scan_run<false, 1>, scan_run<false, 2>, scan_run<false, 3>};
    if (count == 16)
        scan_run<true, 16>(scanner, stream);
    else
        (reals ? scan_reals : scan_integers)[count - 1](scanner, stream);
}

} // namespace kestrel
