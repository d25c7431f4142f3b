#pragma once

// What the grammars of all intermediate formats share: one token of lookahead, fields, items, and the Header
// paragraph.
//
// Every step gives true when the text was as the grammar wants it; on false one message has been reported, in
// the form "file:line: text [ token 'last token' ]", and the parse is over. A step looks at the next token
// only when it must, since the message names the last token that was read.

#include "tools/conv/intermediate/kix_model.h"
#include "tools/conv/intermediate/scanner.h"

namespace kestrel {

// One parenthesised group of literals. `shape` tells literal kind and count; 0 stands for any.
struct tuple_t {
    enum shape_t : uint32_t { any = 0, strings = 0x100, integers = 0x200, reals = 0x300 };

    uint32_t shape = any; // kind + count
    alignas(8) std::byte data[max_item_size] = {};

    uint32_t count() const { return shape & 0xFF; }
    uint32_t kind() const { return shape & ~0xFFu; }
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
    bool next_is(token_kind_t kind) { return peek() == kind; }
    void take() { peeked_ = false; }
    bool expect(token_kind_t kind) {
        if (peek() != kind)
            return syntax_error();
        take();
        return true;
    }

    bool fail(const char *message);
    bool syntax_error() { return fail("syntax error"); }
    bool no_memory() { return fail("memory exhausted"); }
    // For checks that give null or their message.
    bool hold(const char *failed_check) { return !failed_check || fail(failed_check); }

    template <class T>
    bool create(T *&object) {
        object = owners_.create<T>();
        return object || no_memory();
    }

    bool open(token_kind_t paragraph) { return expect(paragraph) && expect(token_kind_t::left_brace); }
    bool close() { return expect(token_kind_t::right_brace); }
    bool label(token_kind_t keyword) { return expect(keyword) && expect(token_kind_t::colon); }
    bool integer(uint32_t &value);
    bool integer_field(token_kind_t keyword, uint32_t &value) { return label(keyword) && integer(value); }
    bool text(mstring_t &value);
    bool text_field(token_kind_t keyword, mstring_t &value) { return label(keyword) && text(value); }
    bool reals(std::span<float> values); // "(" as many as there is room for ")"
    bool weight_value(float &value);     // a real, or an integer that becomes one
    bool format(stream_format_t &value);

    // A tuple of the given shape, or of any if its shape is `any`, which then becomes the one found.
    bool tuple(tuple_t &value);
    // An item "index tuple" that goes into a stream, whose count the index must equal.
    bool item(kix_stream_t &stream, tuple_t &scratch);
    // Items while there are any, all of one tuple shape.
    bool items(kix_stream_t &stream, uint32_t shape);

    bool header(kix_header_t *&header);

    scanner_t &scanner_;
    owner_list_t &owners_;

  private:
    token_kind_t lookahead_ = token_kind_t::end_of_input;
    bool peeked_ = false;
};

} // namespace kestrel
