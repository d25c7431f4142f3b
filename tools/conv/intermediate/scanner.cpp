#include "tools/conv/intermediate/scanner.h"

#include "kcore/messages/messages.h"
#include "kcore/strings/string.h"
#include "tools/conv/intermediate/number_text.h"

#include <algorithm>
#include <cstring>

namespace kestrel {

// The longest keyword and the byte behind it: what lies so far before the end of the window and is shorter
// is whole.
static constexpr size_t longest_look = 32;
static_assert(2 * longest_look <= text_window_t::least_size);

scanner_t::scanner_t(file_t &file, size_t window_size)
    : window_(file, window_size), position_(window_.begin()), file_name_(display_name_of(&file)) {}

int32_t scanner_t::line() {
    const uint64_t line_feeds = window_.line_feeds_between(counted_to_, offset());
    counted_line_ += static_cast<int32_t>(line_feeds - std::min(uncounted_line_feeds_, line_feeds));
    uncounted_line_feeds_ = 0;
    counted_to_ = offset();
    return counted_line_;
}

// False when the window reaches to the end of the file.
bool scanner_t::see_further() {
    if (window_.is_last())
        return false;
    window_.move_to(position_);
    position_ = window_.begin();
    return true;
}

bool scanner_t::bring_more() {
    return window_.is_less_than_half(position_) && see_further();
}

// The zero bytes behind the window belong to no token, so none goes beyond its end.
token_kind_t scanner_t::next() {
    for (;;) {
        position_ = skip_blanks(position_);
        if (window_.bytes_from(position_) < longest_look && see_further()) [[unlikely]]
            continue;
        switch (*position_) {
        case ':':
        case '{':
        case '}':
        case '(':
        case ')':
            take(1);
            return static_cast<token_kind_t>(token_text_[0]);
        case '"':
            return quoted(std::strncmp(position_, "\"\"\"", 3) == 0 ? "\"\"\"" : "\"");
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
            if (position_ == window_.end()) {
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
    token_offset_ = offset();
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
    window_.make_last();
    position_ = window_.end();
    counted_to_ = offset();
    return token_kind_t::end_of_input;
}

// Whether a number that ends there may go on behind the window: a point, an exponent or a digit decides.
bool scanner_t::ends_with_window(const char *place) const {
    constexpr size_t deciding = 4;
    return window_.bytes_from(place) < deciding;
}

// The longest number, or none.
token_kind_t scanner_t::number() {
    for (;;) {
        const bool bit_pattern = *position_ == '&' || *position_ == '$';
        const char *const begin = position_;
        const char *integer_end = bit_pattern ? nullptr : scan_integer(begin, integer_);
        // Most integers end where no real goes on. Without this, skinned models are parsed at 0.86 times the
        // speed.
        const bool plain = integer_end && *integer_end != '.' && (*integer_end | 0x20) != 'e';
        const char *const real_end = plain ? nullptr : scan_real(begin, real_);
        const char *const end = real_end ? real_end : integer_end;
        if (end && ends_with_window(end) && see_further()) [[unlikely]]
            continue;
        if (end) {
            take(static_cast<size_t>(end - begin));
            return real_end ? token_kind_t::real : token_kind_t::integer;
        }
        if (!bit_pattern || !decode_hex_digits(begin + 1))
            return token_kind_t::none;
        take(9);
        if (!observed(token_fault_t::bits_not_finite))
            msg_error("%s:%d: Invalid floating point value '%s'", file_name(), line(),
                      string_dyn_t(token_text_).c_str());
        return end_at_error();
    }
}

// How many bytes come before the mark that ends the string at the position, which begins with the same mark;
// npos when the file ends before it.
size_t scanner_t::find_ahead(std::string_view mark) {
    for (size_t searched = mark.size();;) {
        const std::string_view ahead(position_, window_.bytes_from(position_));
        const size_t found = ahead.find(mark, searched);
        if (found != std::string_view::npos)
            return found - mark.size();
        searched = std::max(searched, ahead.size() - std::min(ahead.size(), mark.size() - 1));
        if (!see_further())
            return found;
    }
}

// A long string has three of the quotes at either end.
token_kind_t scanner_t::quoted(std::string_view quotes) {
    const size_t length = find_ahead(quotes);
    if (failed())
        return token_kind_t::end_of_input;
    take(quotes.size());
    const bool is_long = quotes.size() > 1;
    const std::string_view rest(position_, window_.bytes_from(position_));
    string_ = rest.substr(0, length);
    if (!is_long && string_.size() >= string_capacity && !observed(token_fault_t::string_too_long))
        msg_error("%s:%d: string length exceeds buffer size (%Iu bytes)", file_name(), line(),
                  string_capacity);
    if (length == std::string_view::npos) {
        if (!observed(token_fault_t::unterminated_string))
            msg_error("%s:%d: unterminated string constant", file_name(), line());
        return end_at_error();
    }
    uncounted_line_feeds_ += count_line_feeds(string_);
    position_ += length + quotes.size();
    if (is_long)
        return token_kind_t::long_string;
    string_ = string_.substr(0, string_capacity - 1);
    string_ = string_.substr(0, string_.find('\0'));
    return token_kind_t::string;
}

void scanner_t::skip_comment() {
    do {
        if (const void *line_feed = std::memchr(position_, '\n', window_.bytes_from(position_))) {
            position_ = static_cast<const char *>(line_feed) + 1;
            return;
        }
        position_ = window_.end();
    } while (see_further());
}

// A file of another kind has millions of such bytes, and nobody reads as many lines.
void scanner_t::report_unknown_token() {
    if (observer_)
        return observer_->on_skipped_byte(token_text_[0], token_offset());
    if (reported_unknown_ > most_reported_unknown)
        return;
    if (++reported_unknown_ > most_reported_unknown)
        msg_error("%s:%d: too many unknown tokens, further ones are not reported", file_name(), line());
    else
        msg_error("%s:%d: unknown token : '%s'", file_name(), line(), string_dyn_t(token_text_).c_str());
}

} // namespace kestrel
