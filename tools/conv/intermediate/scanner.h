#pragma once

// The scanner of the text formats: bytes to tokens, longest match first.
//
// Contract: the text is held whole by the caller, outlives the scanner and is followed by `text_padding` zero
// bytes. Blanks and comments are skipped. Lexical errors are reported with file and line; what begins no
// token is skipped, an error inside a token ends the input. Values and texts are views into the text.

#include "tools/conv/intermediate/parse_observer.h"

#include <string_view>

namespace kestrel {

inline bool is_blank(char c) {
    constexpr uint64_t blanks =
        uint64_t{1} << ' ' | uint64_t{1} << '\t' | uint64_t{1} << '\r' | uint64_t{1} << '\n';
    return static_cast<uint8_t>(c) <= ' ' && (blanks >> static_cast<uint8_t>(c) & 1);
}

inline const char *skip_blanks(const char *text) {
    while (is_blank(*text))
        ++text;
    return text;
}

class scanner_t {
  public:
    // Lets the scanner look ahead by words without asking where the text ends.
    static constexpr size_t text_padding = 64;
    // Room for the text of a string, its NUL included.
    static constexpr size_t string_capacity = 256;

    // Bytes that begin no token are reported one by one up to this many, then once more for all that follow.
    static constexpr uint32_t most_reported_unknown = 65536;

    // `file_name` names the file in messages.
    scanner_t(std::string_view text, const char *file_name);

    // Hears of lexical errors instead of the messages; none by default.
    void set_observer(parse_observer_t *observer) { observer_ = observer; }
    parse_observer_t *observer() const { return observer_; }

    token_kind_t next();

    // The value of the last token, by its kind.
    uint32_t integer() const { return integer_; }
    float real() const { return real_; }
    std::string_view string() const { return string_; }

    // The last token as matched; of strings the opening quotes only.
    std::string_view token_text() const { return token_text_; }
    // Where in the file it begins.
    uint64_t token_offset() const { return static_cast<uint64_t>(token_text_.data() - begin_); }
    const char *file_name() const { return file_name_; }
    // The line of the byte after the last token; line feeds inside strings do not count.
    int32_t line();

    // For reading runs of items past the scanner: the next byte to scan, and setting it to a later one
    // between two tokens.
    const char *position() const { return position_; }
    void advance_to(const char *position) { position_ = position; }
    size_t bytes_left() const { return static_cast<size_t>(end_ - position_); }

  private:
    void take(size_t length);
    token_kind_t number();
    token_kind_t quoted_string();
    token_kind_t long_string();
    bool observed(token_fault_t fault);
    token_kind_t end_at_error();
    void skip_comment();
    void report_unknown_token();

    const char *begin_;
    const char *position_;
    const char *end_;
    const char *file_name_;
    parse_observer_t *observer_ = nullptr;

    // Lines are counted only when a message asks.
    const char *counted_to_;
    int32_t counted_line_ = 1;
    int32_t uncounted_line_feeds_ = 0; // in strings, between counted_to_ and position_

    uint32_t reported_unknown_ = 0;
    std::string_view token_text_;
    uint32_t integer_ = 0;
    float real_ = 0;
    std::string_view string_;
};

} // namespace kestrel
