#pragma once

// What the grammars of all text formats share: one token of lookahead, fields, items, and the Header
// paragraph.
//
// Every step gives true when the text was as the grammar wants it; on false one message has been reported, in
// the form "file:line: text [ token 'last token' ]", and the parse is over. A step looks at the next token
// only when it must, since the message names the last token that was read.

#include "tools/conv/intermediate/kix_stream.h"
#include "tools/conv/intermediate/scanner.h"

namespace kestrel {

// One parenthesised group of literals, all of one kind of token; a count of 0 stands for any kind and count.
struct tuple_t {
    token_kind_t kind = token_kind_t::none;
    uint32_t count = 0;
    alignas(8) std::byte data[max_item_size] = {};
};

class parser_t {
  public:
    // What is created belongs to `owners`.
    parser_t(scanner_t &scanner, owner_list_t &owners) : scanner_(scanner), owners_(owners) {}

  protected:
    token_kind_t peek() {
        if (!peeked_) {
            lookahead_ = scanner_.next();
            peeked_ = true;
        }
        return lookahead_;
    }
    [[gnu::always_inline]] bool next_is(token_kind_t kind) { return peek() == kind || miss(kind); }
    void take() { peeked_ = false; }
    bool expect(token_kind_t kind) {
        if (peek() != kind) [[unlikely]]
            return unexpected(kind);
        take();
        return true;
    }
    // Reads once, and again for as long as the next token is `first`.
    template <class F>
    bool one_or_more(token_kind_t first, F read) {
        do {
            if (!read())
                return false;
        } while (next_is(first));
        return true;
    }

    // Where the text goes against the message's rule: the number as written, and what it should have been.
    [[gnu::cold]] bool fail(const char *message, uint64_t declared = 0, uint64_t found = 0);
    bool syntax_error() { return fail("syntax error"); }
    bool check(bool holds, const char *message, uint64_t declared = 0, uint64_t found = 0) {
        return holds || fail(message, declared, found);
    }

    template <class T>
    T *create() {
        return owners_.create<T>();
    }

    bool open(token_kind_t paragraph) {
        if (!expect(paragraph))
            return false;
        tell(&parse_observer_t::on_paragraph, paragraph);
        return expect(token_kind_t::left_brace);
    }
    bool close() { return expect(token_kind_t::right_brace); }
    bool label(token_kind_t keyword) {
        if (!expect(keyword))
            return false;
        tell(&parse_observer_t::on_field, keyword);
        return expect(token_kind_t::colon);
    }
    bool integer(uint32_t &value);
    bool integer_field(token_kind_t keyword, uint32_t &value) { return label(keyword) && integer(value); }
    bool text_field(token_kind_t keyword, mstring_t &value);
    bool reals(std::span<float> values); // "(" as many as there is room for ")"
    bool weight_value(float &value);     // a real, or an integer that becomes one
    bool format(stream_format_t &value);

    // A tuple like `value`, or any when its count is 0; `value` becomes the one found.
    bool tuple(tuple_t &value);
    // Items "index tuple" while there are any. The first item fixes the shape that all others must have,
    // unless a kind and count are asked for.
    bool items(kix_stream_t &stream, token_kind_t kind = token_kind_t::none, uint32_t count = 0);
    // Reads items one by one, of any form, until one fails or none is left; at least one.
    template <class F>
    bool one_or_more_items(F read) {
        const uint64_t first = next_token_offset();
        const bool good = one_or_more(token_kind_t::integer, read);
        observe_items(first, token_kind_t::none, 0);
        return good;
    }

    bool header(kix_header_t *&header);

    scanner_t &scanner_;
    owner_list_t &owners_;

  private:
    // For an observer only, which else sees nothing of items.
    uint64_t next_token_offset() {
        if (!scanner_.observer())
            return 0;
        peek();
        return scanner_.token_offset();
    }
    void observe_items(uint64_t first, token_kind_t kind, uint32_t count) {
        if (parse_observer_t *const observer = scanner_.observer())
            observer->on_items(first, kind, count);
    }
    bool miss(token_kind_t kind) {
        tell(&parse_observer_t::on_missed_token, kind);
        return false;
    }
    // Of what stands, or should stand, at the last token.
    void tell(void (parse_observer_t::*told)(token_kind_t, uint64_t), token_kind_t kind) {
        if (parse_observer_t *const observer = scanner_.observer()) [[unlikely]]
            (observer->*told)(kind, scanner_.token_offset());
    }
    [[gnu::cold]] bool unexpected(token_kind_t kind);
    bool read_items(kix_stream_t &stream, tuple_t &scratch);
    bool item(kix_stream_t &stream, tuple_t &scratch);

    token_kind_t lookahead_ = token_kind_t::end_of_input;
    bool peeked_ = false;
};

} // namespace kestrel
