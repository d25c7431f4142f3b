#include "tools/conv/intermediate/scanner.h"

#include "kcore/messages/messages.h"
#include "kcore/strings/string_dyn.h"
#include "tools/conv/intermediate/number_text.h"
#include "tools/conv/intermediate/scanner_tables.h"

#include <algorithm>
#include <bit>
#include <cstring>

namespace kestrel {

static int32_t count_line_feeds(std::string_view text) {
    return static_cast<int32_t>(std::count(text.begin(), text.end(), '\n'));
}

scanner_t::scanner_t(std::string_view text, const char *file_name)
    : position_(text.data()), end_(text.data() + text.size()), file_name_(file_name),
      counted_to_(text.data()) {}

int32_t scanner_t::line() {
    const std::string_view uncounted(counted_to_, static_cast<size_t>(position_ - counted_to_));
    counted_line_ += count_line_feeds(uncounted) - uncounted_line_feeds_;
    uncounted_line_feeds_ = 0;
    counted_to_ = position_;
    return counted_line_;
}

token_kind_t scanner_t::end_of_input() {
    token_text_ = {};
    return token_kind_t::end_of_input;
}

// What follows the error is neither read nor counted, so that later messages name the error's place.
token_kind_t scanner_t::end_at_error() {
    position_ = counted_to_ = end_;
    return token_kind_t::end_of_input;
}

// What may make a longer number of an integer before it.
static bool continues_number(char c) {
    const char lower = static_cast<char>(c | 0x20);
    return c == '.' || lower == 'e' || lower == 'x';
}

// Nearly all tokens are parentheses and plainly written numbers; those need no automaton.
bool scanner_t::plain_token(token_kind_t &kind) {
    const char *const begin = position_;
    const char *end = nullptr;
    switch (*begin) {
    case '(':
    case ')':
    case ':':
    case '{':
    case '}':
        kind = static_cast<token_kind_t>(*begin);
        end = begin + 1;
        break;
    case '&':
        if (const auto bits = decode_hex_digits(begin + 1);
            bits && (*bits & infinite_exponent) != infinite_exponent) {
            kind = token_kind_t::real;
            real_ = std::bit_cast<float>(*bits);
            end = begin + 9;
        }
        break;
    default:
        kind = token_kind_t::integer;
        end = scan_plain_integer(begin, integer_);
        if (end && continues_number(*end)) {
            kind = token_kind_t::real;
            end = scan_plain_decimal(begin, real_);
        }
        break;
    }
    if (!end)
        return false;
    token_text_ = {begin, static_cast<size_t>(end - begin)};
    position_ = end;
    return true;
}

token_kind_t scanner_t::next() {
    position_ = skip_blanks(position_);
    if (token_kind_t kind; plain_token(kind))
        return kind;
    const scanner_tables_t &tables = scanner_tables;
    while (position_ < end_) {
        // The zero bytes behind the text stop every match there.
        const char *match_end = position_;
        pattern_t matched = pattern_t::none;
        uint16_t state = scanner_tables_t::start;
        for (const char *p = position_;;) {
            state = tables.next[state][tables.class_of_byte[static_cast<uint8_t>(*p)]];
            if (state == scanner_tables_t::dead)
                break;
            ++p;
            if (tables.accepts[state] != pattern_t::none) {
                match_end = p;
                matched = tables.accepts[state];
            }
        }
        token_text_ = {position_, static_cast<size_t>(match_end - position_)};
        position_ = match_end;
        switch (matched) {
        case pattern_t::blanks:
        case pattern_t::line_feed:
            continue;
        case pattern_t::comment:
            skip_comment();
            continue;
        case pattern_t::none:
        case pattern_t::other:
            report_unknown_token();
            continue;
        case pattern_t::integer:
            integer_ = decode_integer(token_text_);
            return token_kind_t::integer;
        case pattern_t::decimal_float:
            real_ = decode_decimal(token_text_);
            return token_kind_t::real;
        case pattern_t::bits_float:
            return bit_pattern(false);
        case pattern_t::memory_float:
            return bit_pattern(true);
        case pattern_t::quoted_string:
            return quoted_string();
        case pattern_t::long_string:
            return long_string();
        default:
            return static_cast<token_kind_t>(static_cast<uint16_t>(matched) -
                                             static_cast<uint16_t>(pattern_t::token));
        }
    }
    return end_of_input();
}

// A file of another kind has millions of such bytes, and nobody reads as many lines.
void scanner_t::report_unknown_token() {
    if (reported_unknown_ > most_reported_unknown)
        return;
    if (++reported_unknown_ > most_reported_unknown)
        msg_error("%s:%d: too many unknown tokens, further ones are not reported", file_name_, line());
    else
        msg_error("%s:%d: unknown token : '%s'", file_name_, line(), string_dyn_t(token_text_).c_str());
}

void scanner_t::skip_comment() {
    const void *line_feed = std::memchr(position_, '\n', bytes_left());
    position_ = line_feed ? static_cast<const char *>(line_feed) + 1 : end_;
}

token_kind_t scanner_t::bit_pattern(bool memory_order) {
    uint32_t bits = *decode_hex_digits(token_text_.data() + 1); // the automaton matched eight of them
    if (memory_order)
        bits = __builtin_bswap32(bits);
    if ((bits & infinite_exponent) == infinite_exponent) {
        msg_error("%s:%d: Invalid floating point value '%s'", file_name_, line(),
                  string_dyn_t(token_text_).c_str());
        return end_at_error();
    }
    real_ = std::bit_cast<float>(bits);
    return token_kind_t::real;
}

token_kind_t scanner_t::quoted_string() {
    const std::string_view rest(position_, bytes_left());
    const size_t length = rest.find('"');
    const std::string_view text = rest.substr(0, length);
    if (text.size() >= string_capacity)
        msg_error("%s:%d: string length exceeds buffer size (%Iu bytes)", file_name_, line(),
                  string_capacity);
    if (length == std::string_view::npos) {
        msg_error("%s:%d: unterminated string constant", file_name_, line());
        return end_at_error();
    }
    uncounted_line_feeds_ += count_line_feeds(text);
    position_ += text.size() + 1;
    string_ = text.substr(0, string_capacity - 1);
    string_ = string_.substr(0, string_.find('\0'));
    return token_kind_t::string;
}

token_kind_t scanner_t::long_string() {
    const std::string_view rest(position_, bytes_left());
    const size_t length = rest.find("\"\"\"");
    if (length == std::string_view::npos) {
        msg_error("%s:%d: unterminated string constant", file_name_, line());
        return end_at_error();
    }
    string_ = rest.substr(0, length);
    uncounted_line_feeds_ += count_line_feeds(string_);
    position_ += length + 3;
    return token_kind_t::long_string;
}

} // namespace kestrel
