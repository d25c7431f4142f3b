#include "tools/conv/intermediate/scanner_tables.h"

#include "tools/conv/intermediate/tokens.h"

namespace kestrel {

namespace {

// Builds the automaton state by state. Bytes fall into one class each: letters by their capital, the
// characters that patterns name by themselves, all others together.
class builder_t {
  public:
    constexpr builder_t() { make_classes(); }

    constexpr scanner_tables_t build() {
        new_state(); // dead
        new_state(); // start
        new_state(pattern_t::other);
        for (size_t byte = 0; byte < 256; ++byte)
            connect(start, static_cast<uint8_t>(byte), other_);
        add_blanks_and_marks();
        add_numbers();
        add_bit_patterns();
        add_strings();
        for (size_t i = 0; i < keywords.size(); ++i)
            add_keyword(keywords[i], static_cast<uint16_t>(token_kind_t::keyword) + i);
        return tables_;
    }

  private:
    static constexpr uint16_t dead = scanner_tables_t::dead;
    static constexpr uint16_t start = scanner_tables_t::start;

    constexpr void make_classes() {
        for (char letter = 'A'; letter <= 'Z'; ++letter) {
            const uint8_t letter_class = class_count_++;
            tables_.class_of_byte[static_cast<uint8_t>(letter)] = letter_class;
            tables_.class_of_byte[static_cast<uint8_t>(letter - 'A' + 'a')] = letter_class;
        }
        for (const char named : std::string_view("0123456789-+.$&\"#:{}()\n"))
            tables_.class_of_byte[static_cast<uint8_t>(named)] = class_count_++;
        for (const char blank : std::string_view(" \t\r"))
            tables_.class_of_byte[static_cast<uint8_t>(blank)] = class_count_;
        ++class_count_;
    }

    constexpr uint16_t new_state(pattern_t accepts = pattern_t::none) {
        tables_.accepts[state_count_] = accepts;
        return state_count_++;
    }
    constexpr void connect(uint16_t from, uint8_t byte, uint16_t to) {
        tables_.next[from][tables_.class_of_byte[byte]] = to;
    }
    constexpr void connect_all(uint16_t from, std::string_view bytes, uint16_t to) {
        for (const char byte : bytes)
            connect(from, static_cast<uint8_t>(byte), to);
    }
    constexpr uint16_t target(uint16_t from, char byte) const {
        return tables_.next[from][tables_.class_of_byte[static_cast<uint8_t>(byte)]];
    }
    static constexpr pattern_t token(size_t code) {
        return static_cast<pattern_t>(static_cast<size_t>(pattern_t::token) + code);
    }

    constexpr void add_blanks_and_marks() {
        const uint16_t blanks = new_state(pattern_t::blanks);
        connect_all(start, " \t\r", blanks);
        connect_all(blanks, " \t\r", blanks);
        connect(start, '\n', new_state(pattern_t::line_feed));
        connect(start, '#', new_state(pattern_t::comment));
        for (const char mark : std::string_view(":{}()"))
            connect(start, static_cast<uint8_t>(mark), new_state(token(static_cast<size_t>(mark))));
    }

    constexpr void add_numbers() {
        const uint16_t minus = new_state(pattern_t::other);
        const uint16_t point = new_state(pattern_t::other); // a point with no digit before it
        const uint16_t minus_point = new_state();
        const uint16_t zero = new_state(pattern_t::integer);
        const uint16_t digits_state = new_state(pattern_t::integer);
        const uint16_t hex_mark = new_state();
        const uint16_t hex_digits_state = new_state(pattern_t::integer);
        const uint16_t fraction = new_state(pattern_t::decimal_float);
        const uint16_t exponent_mark = new_state();
        const uint16_t exponent_sign = new_state();
        const uint16_t exponent = new_state(pattern_t::decimal_float);
        const uint16_t suffixed = new_state(pattern_t::decimal_float);

        connect(start, '-', minus);
        connect(start, '.', point);
        connect(start, '0', zero);
        connect_all(start, "123456789", digits_state);
        connect_all(minus, digits, digits_state);
        connect(minus, '.', minus_point);
        connect_all(point, digits, fraction);
        connect_all(minus_point, digits, fraction);
        connect(zero, 'x', hex_mark);
        connect_all(hex_mark, hex_digits, hex_digits_state);
        connect_all(hex_digits_state, hex_digits, hex_digits_state);
        for (const uint16_t integer : {zero, digits_state}) {
            connect_all(integer, digits, digits_state);
            connect(integer, '.', fraction);
            connect(integer, 'e', exponent_mark);
        }
        connect_all(fraction, digits, fraction);
        connect(fraction, 'e', exponent_mark);
        connect_all(exponent_mark, "+-", exponent_sign);
        connect_all(exponent_mark, digits, exponent);
        connect_all(exponent_sign, digits, exponent);
        connect_all(exponent, digits, exponent);
        connect(fraction, 'f', suffixed);
        connect(exponent, 'f', suffixed);
    }

    constexpr void add_bit_patterns() {
        for (const char mark : std::string_view("&$")) {
            uint16_t state = new_state(pattern_t::other);
            connect(start, static_cast<uint8_t>(mark), state);
            for (int digit = 0; digit < 8; ++digit) {
                const uint16_t following = new_state();
                connect_all(state, hex_digits, following);
                state = following;
            }
            tables_.accepts[state] = mark == '&' ? pattern_t::bits_float : pattern_t::memory_float;
        }
    }

    constexpr void add_strings() {
        const uint16_t one_quote = new_state(pattern_t::quoted_string);
        const uint16_t two_quotes = new_state();
        connect(start, '"', one_quote);
        connect(one_quote, '"', two_quotes);
        connect(two_quotes, '"', new_state(pattern_t::long_string));
    }

    constexpr void add_keyword(std::string_view keyword, size_t code) {
        uint16_t state = start;
        for (const char letter : keyword) {
            uint16_t following = target(state, letter);
            if (following == dead || following == other_) {
                // A first letter alone is no token of its own.
                following = new_state(state == start ? pattern_t::other : pattern_t::none);
                connect(state, static_cast<uint8_t>(letter), following);
            }
            state = following;
        }
        tables_.accepts[state] = token(code);
    }

    static constexpr std::string_view digits = "0123456789";
    static constexpr std::string_view hex_digits = "0123456789ABCDEF";
    static constexpr uint16_t other_ = 2; // the state after dead and start

    scanner_tables_t tables_{};
    uint16_t state_count_ = 0;
    uint8_t class_count_ = 1; // class 0: every byte that no pattern names
};

} // namespace

static constexpr scanner_tables_t made_tables = builder_t().build();
constinit const scanner_tables_t scanner_tables = made_tables;

} // namespace kestrel
