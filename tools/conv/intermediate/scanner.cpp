#include "tools/conv/intermediate/scanner.h"

#include "kcore/messages/messages.h"
#include "kcore/strings/string.h"
#include "tools/conv/intermediate/number_text.h"

#include <algorithm>
#include <cstring>

namespace kestrel {

static int32_t count_line_feeds(std::string_view text) {
    return static_cast<int32_t>(std::count(text.begin(), text.end(), '\n'));
}

scanner_t::scanner_t(std::string_view text, const char *file_name)
    : begin_(text.data()), position_(text.data()), end_(text.data() + text.size()), file_name_(file_name),
      counted_to_(text.data()) {}

int32_t scanner_t::line() {
    const std::string_view uncounted(counted_to_, static_cast<size_t>(position_ - counted_to_));
    counted_line_ += count_line_feeds(uncounted) - uncounted_line_feeds_;
    uncounted_line_feeds_ = 0;
    counted_to_ = position_;
    return counted_line_;
}

// The zero bytes behind the text belong to no token, so none goes beyond its end.
token_kind_t scanner_t::next() {
    for (;;) {
        position_ = skip_blanks(position_);
        switch (*position_) {
        case ':':
        case '{':
        case '}':
        case '(':
        case ')':
            take(1);
            return static_cast<token_kind_t>(token_text_[0]);
        case '"':
            return std::strncmp(position_, "\"\"\"", 3) == 0 ? long_string() : quoted_string();
        case '#':
            skip_comment();
            continue;
        case '&':
        case '$':
        case '-':
        case '.':
        case '0':
        case '1':
        case '2':
        case '3':
        case '4':
        case '5':
        case '6':
        case '7':
        case '8':
        case '9':
            if (const token_kind_t kind = number(); kind != token_kind_t::none)
                return kind;
            break;
        default:
            if (position_ == end_) {
                take(0);
                return token_kind_t::end_of_input;
            }
            if (const keyword_match_t keyword = match_keyword(position_); keyword.length != 0) {
                take(keyword.length);
                return keyword.kind;
            }
            break;
        }
        take(1);
        report_unknown_token();
    }
}

void scanner_t::take(size_t length) {
    token_text_ = {position_, length};
    position_ += length;
}

// Whether an observer has taken the fault of the last token.
bool scanner_t::observed(token_fault_t fault) {
    if (observer_)
        observer_->on_token_fault(fault, token_offset());
    return observer_;
}

// What follows the error is neither read nor counted, so that later messages name the error's place.
token_kind_t scanner_t::end_at_error() {
    position_ = counted_to_ = end_;
    return token_kind_t::end_of_input;
}

// The longest number, or none.
token_kind_t scanner_t::number() {
    const bool bit_pattern = *position_ == '&' || *position_ == '$';
    const char *const begin = position_;
    const char *integer_end = bit_pattern ? nullptr : scan_integer(begin, integer_);
    // Most integers end where no real goes on. Without this, skinned models are parsed at 0.86 times the
    // speed.
    const bool plain = integer_end && *integer_end != '.' && (*integer_end | 0x20) != 'e';
    if (const char *real_end = plain ? nullptr : scan_real(begin, real_)) {
        take(static_cast<size_t>(real_end - begin));
        return token_kind_t::real;
    }
    if (integer_end) {
        take(static_cast<size_t>(integer_end - begin));
        return token_kind_t::integer;
    }
    if (bit_pattern && decode_hex_digits(begin + 1)) {
        take(9);
        if (!observed(token_fault_t::bits_not_finite))
            msg_error("%s:%d: Invalid floating point value '%s'", file_name_, line(),
                      string_dyn_t(token_text_).c_str());
        return end_at_error();
    }
    return token_kind_t::none;
}

token_kind_t scanner_t::quoted_string() {
    take(1);
    const std::string_view rest(position_, bytes_left());
    const size_t length = rest.find('"');
    const std::string_view text = rest.substr(0, length);
    if (text.size() >= string_capacity && !observed(token_fault_t::string_too_long))
        msg_error("%s:%d: string length exceeds buffer size (%Iu bytes)", file_name_, line(),
                  string_capacity);
    if (length == std::string_view::npos) {
        if (!observed(token_fault_t::unterminated_string))
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
    take(3);
    const std::string_view rest(position_, bytes_left());
    const size_t length = rest.find("\"\"\"");
    if (length == std::string_view::npos) {
        if (!observed(token_fault_t::unterminated_string))
            msg_error("%s:%d: unterminated string constant", file_name_, line());
        return end_at_error();
    }
    string_ = rest.substr(0, length);
    uncounted_line_feeds_ += count_line_feeds(string_);
    position_ += length + 3;
    return token_kind_t::long_string;
}

void scanner_t::skip_comment() {
    const void *line_feed = std::memchr(position_, '\n', bytes_left());
    position_ = line_feed ? static_cast<const char *>(line_feed) + 1 : end_;
}

// A file of another kind has millions of such bytes, and nobody reads as many lines.
void scanner_t::report_unknown_token() {
    if (observer_)
        return observer_->on_skipped_byte(token_text_[0], token_offset());
    if (reported_unknown_ > most_reported_unknown)
        return;
    if (++reported_unknown_ > most_reported_unknown)
        msg_error("%s:%d: too many unknown tokens, further ones are not reported", file_name_, line());
    else
        msg_error("%s:%d: unknown token : '%s'", file_name_, line(), string_dyn_t(token_text_).c_str());
}

} // namespace kestrel
