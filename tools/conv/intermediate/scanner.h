#pragma once

// The scanner of the text formats: bytes to tokens, longest match first.
//
// Contract: the file outlives the scanner, which reads it through a window and never holds it whole, but for
// a token that the window is too small for. Blanks and comments are skipped. Lexical errors are reported with
// file and line; what begins no token is skipped, an error inside a token ends the input. So does a failing
// read, which is reported once; what comes after it is not the text's fault, and users say nothing more.
// Values and texts are views into the window and last until the next token.

#include "tools/conv/intermediate/parse_observer.h"
#include "tools/conv/intermediate/text_window.h"

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
    // Room for the text of a string, its NUL included.
    static constexpr size_t string_capacity = 256;

    // Bytes that begin no token are reported one by one up to this many, then once more for all that follow.
    static constexpr uint32_t most_reported_unknown = 65536;

    // Messages call the file by its display name.
    explicit scanner_t(file_t &file, size_t window_size = text_window_t::usual_size);

    // Hears of lexical errors instead of the messages; none by default.
    void set_observer(parse_observer_t *observer) { observer_ = observer; }
    parse_observer_t *observer() const { return observer_; }

    token_kind_t next();
    // Whether the file could not be read on.
    bool failed() const { return window_.failed(); }

    // The value of the last token, by its kind.
    uint32_t integer() const { return integer_; }
    float real() const { return real_; }
    std::string_view string() const { return string_; }

    // The last token as matched; of strings the opening quotes only.
    std::string_view token_text() const { return token_text_; }
    // Where in the file the last token begins, and where the next byte to scan lies.
    uint64_t token_offset() const { return token_offset_; }
    uint64_t offset() const { return window_.offset_of(position_); }
    uint64_t bytes_left() const { return window_.file_size() - offset(); }
    const char *file_name() const { return file_name_.c_str(); }
    // The line of the byte after the last token; line feeds inside strings do not count. Reads again what the
    // window no longer holds and no earlier call has counted.
    int32_t line();

    // For reading runs of items past the scanner: the next byte to scan, and setting it to a later one in the
    // window between two tokens.
    const char *position() const { return position_; }
    void advance_to(const char *position) { position_ = position; }
    // Brings more of the file into the window, which changes the position. False when there is no more, or
    // when half of the window still lies ahead.
    bool bring_more();

  private:
    void take(size_t length);
    bool see_further();
    bool ends_with_window(const char *place) const;
    size_t find_ahead(std::string_view mark);
    token_kind_t number();
    token_kind_t quoted(std::string_view quotes);
    bool observed(token_fault_t fault);
    token_kind_t end_at_error();
    void skip_comment();
    void report_unknown_token();

    text_window_t window_;
    const char *position_;
    fs_display_name_t file_name_;
    parse_observer_t *observer_ = nullptr;

    // Lines are counted only when a message asks.
    uint64_t counted_to_ = 0; // offset in the file
    int32_t counted_line_ = 1;
    uint64_t uncounted_line_feeds_ = 0; // in strings, between counted_to_ and position_

    uint32_t reported_unknown_ = 0;
    std::string_view token_text_;
    uint64_t token_offset_ = 0;
    uint32_t integer_ = 0;
    float real_ = 0;
    std::string_view string_;
};

} // namespace kestrel
