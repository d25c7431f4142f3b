// The items of a stream, "index ( literal literal ... )".
//
// Nearly all bytes of a model are items of numbers between blanks and line feeds. Runs of those are decoded
// straight into their stream, without a token each. An item that is written in any other way (with comments,
// faults, another index, another number of literals) or finds no room ends the run untouched and is left to
// the grammar. So does at first one that the scanner's window cuts off, but more of the file makes it whole.
// Without this, models of bit patterns are parsed at 0.33 times the speed and models of decimals at 0.41
// times. The same two figures stand beside each further shortcut.

#include "tools/conv/intermediate/number_text.h"
#include "tools/conv/intermediate/parser.h"

#include <algorithm>
#include <bit>

namespace kestrel {

namespace {

// The bytes of a word below the given one; all for 8.
uint64_t bytes_below(unsigned count) {
    return count == 8 ? ~uint64_t{0} : (uint64_t{1} << 8 * count) - 1;
}

// The blanks at one place of an item. They are nearly always those of the item before, and then skipped with
// one comparison (without: 0.87, 0.96).
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

// The digits of the index that the next item must have, counted up in place (without: 0.89, 0.95).
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

// Reads items one after the other.
template <class number_t, uint32_t count>
class item_reader_t {
  public:
    explicit item_reader_t(uint32_t first_index) : index_(first_index) {}

    // One item; gives the byte after it, or none.
    [[gnu::always_inline]] const char *read(const char *p, number_t *numbers) {
        p = index_.match(before_index_.skip(p));
        if (!p)
            return nullptr;
        p = after_index_.skip(p);
        if (*p != '(')
            return nullptr;
        p = before_first_.skip(p + 1);
#pragma GCC unroll 16 // without: 0.91, 1.0
        for (uint32_t i = 0; i < count; ++i) {
            // Numbers are read as far as their tokens go, so whatever follows at once is another token.
            if constexpr (std::is_same_v<number_t, float>)
                p = scan_real(p, numbers[i]);
            else
                p = scan_integer(p, numbers[i]);
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

template <class number_t, uint32_t count>
void scan_run(scanner_t &scanner, kix_stream_t &stream) {
    constexpr size_t bytes = count * sizeof(number_t);
    // A tuple may be shorter than the item, which then ends in zeros, or longer, and is cut.
    const size_t copied = std::min(bytes, stream.item_size());
    item_reader_t<number_t, count> reader(stream.count());
    const char *p = scanner.position();
    while (std::byte *const place = stream.next_item()) {
        number_t numbers[count];
        const char *const end = reader.read(p, numbers);
        if (!end) [[unlikely]] {
            scanner.advance_to(p);
            if (!scanner.bring_more())
                return;
            p = scanner.position();
            continue;
        }
        if (stream.item_size() == bytes) [[likely]] { // a copy of known size; without: 0.90, 0.91
            std::memcpy(place, numbers, bytes);
        } else {
            std::memcpy(place, numbers, copied);
            std::memset(place + copied, 0, stream.item_size() - copied);
        }
        stream.item_written();
        p = end;
    }
    scanner.advance_to(p);
}

void scan_plain_items(scanner_t &scanner, kix_stream_t &stream, const tuple_t &shape) {
    using scan_t = void (*)(scanner_t &, kix_stream_t &);
    static constexpr scan_t scan_reals[] = {scan_run<float, 1>, scan_run<float, 2>, scan_run<float, 3>,
                                            scan_run<float, 4>, scan_run<float, 5>, scan_run<float, 6>};
    static constexpr scan_t scan_integers[] = {scan_run<uint32_t, 1>, scan_run<uint32_t, 2>,
                                               scan_run<uint32_t, 3>};
    if (shape.count == 16)
        scan_run<float, 16>(scanner, stream);
    else if (shape.kind == token_kind_t::real)
        scan_reals[shape.count - 1](scanner, stream);
    else if (shape.kind == token_kind_t::integer)
        scan_integers[shape.count - 1](scanner, stream);
}

// Of one kind in a tuple; 0 for a token that is no literal.
uint32_t most_literals(token_kind_t kind) {
    return kind == token_kind_t::string    ? 1
           : kind == token_kind_t::integer ? 3
           : kind == token_kind_t::real    ? 16
                                           : 0;
}

} // namespace

bool parser_t::tuple(tuple_t &value) {
    if (!expect(token_kind_t::left_parenthesis))
        return false;
    const bool any = value.count == 0;
    const token_kind_t kind = any ? peek() : value.kind;
    const uint32_t most = any ? most_literals(kind) : value.count;
    uint32_t count = 0;
    for (; count < most && next_is(kind); ++count) {
        take();
        if (kind == token_kind_t::string) {
            std::memset(value.data, 0, sizeof value.data);
            std::memcpy(value.data, scanner_.string().data(), scanner_.string().size());
        } else {
            const uint32_t bits =
                kind == token_kind_t::integer ? scanner_.integer() : std::bit_cast<uint32_t>(scanner_.real());
            std::memcpy(value.data + count * sizeof bits, &bits, sizeof bits);
        }
    }
    const bool complete = any ? (count >= 1 && count <= 6) || count == 16 : count == most;
    if (!complete || !next_is(token_kind_t::right_parenthesis))
        return syntax_error();
    take();
    value.kind = kind;
    value.count = count;
    return true;
}

bool parser_t::item(kix_stream_t &stream, tuple_t &scratch) {
    uint32_t index = 0;
    return integer(index) && tuple(scratch) &&
           check(index == stream.count(), "inconsistent Stream item order", index, stream.count()) &&
           check(stream.append_item(scratch.data), "inconsistent Stream item type/count", stream.capacity(),
                 uint64_t{stream.count()} + 1);
}

bool parser_t::items(kix_stream_t &stream, token_kind_t kind, uint32_t count) {
    tuple_t scratch{kind, count, {}};
    const uint64_t first = next_token_offset();
    const bool good = read_items(stream, scratch);
    observe_items(first, scratch.kind, scratch.count);
    return good;
}

bool parser_t::read_items(kix_stream_t &stream, tuple_t &scratch) {
    for (;;) {
        if (!peeked_ && scratch.count != 0)
            scan_plain_items(scanner_, stream, scratch);
        if (!next_is(token_kind_t::integer))
            return true;
        if (!item(stream, scratch))
            return false;
    }
}

} // namespace kestrel
