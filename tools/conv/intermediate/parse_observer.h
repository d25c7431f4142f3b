#pragma once

// Who hears of a parse what the model does not keep: where things stand in the text, how they are written,
// and what is wrong with them, the last instead of a message.
//
// Offsets are bytes from the beginning of the file to the first one of a token. A parse without an observer
// pays nothing for it.

#include "tools/conv/intermediate/longest_match_tokens.h"

namespace kestrel {

// What is wrong inside a single token.
enum class token_fault_t : uint8_t {
    string_too_long,     // cut, the parse goes on
    unterminated_string, // this and the next end the text
    bits_not_finite,
};

// A check of the grammar that failed. `declared` is the number as written and `found` what it should have
// been; both are 0 where the check is about no number.
struct parse_refusal_t {
    const char *message; // as the converter words it
    uint64_t offset;     // of the token last read
    uint64_t declared;
    uint64_t found;
};

class parse_observer_t {
  public:
    virtual ~parse_observer_t() = default;
    // A paragraph opens; its fields and its items follow.
    virtual void on_paragraph(token_kind_t keyword, uint64_t offset) = 0;
    virtual void on_field(token_kind_t keyword, uint64_t offset) = 0;
    // A list of items has ended, also by a refusal. The first stands at the offset; each has `count` literals
    // of the kind, or of whatever kind and count the grammar has for them when `count` is 0.
    virtual void on_items(uint64_t first, token_kind_t kind, uint32_t count) = 0;
    // A byte that begins no token.
    virtual void on_skipped_byte(char byte, uint64_t offset) = 0;
    virtual void on_token_fault(token_fault_t fault, uint64_t offset) = 0;
    // At the offset another token was found than this one, which could stand there. All such tokens come
    // before the "syntax error" at their offset.
    virtual void on_missed_token(token_kind_t wanted, uint64_t offset) = 0;
    // Gives whether the parse goes on, with a model that does not keep what the check is for.
    virtual bool on_refusal(const parse_refusal_t &refusal) = 0;
};

} // namespace kestrel
