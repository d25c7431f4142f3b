#pragma once

// The grammar of text models (.kim).
//
//     Header, Global, then
//     either Material+ Piece+ Part+ [tail]  or  Part+ tail
//     tail: Locator+ [Bones skin]  or  Bones skin
//     skin: Skin  or  PieceSkin+
//
// Objects are created and attached in the order of the text; the declared counts are compared with what was
// read where a paragraph closes and, for the model's totals, at the end.

#include "tools/conv/intermediate/kim_model.h"
#include "tools/conv/intermediate/skin_grammar.h"

namespace kestrel {

class model_grammar_t : private skin_grammar_t {
  public:
    model_grammar_t(scanner_t &scanner, owner_list_t &owners, kim_t &model)
        : skin_grammar_t(scanner, owners, model) {}

    bool parse();

  private:
    bool global();
    bool body();
    bool material();
    bool piece();
    bool stream(kix_piece_t &piece);
    bool aliases(kix_stream_t &stream);
    bool triangles(kix_piece_t &piece);
    bool part();
    bool positions(token_kind_t keyword, array_t<uint32_t> &list);
    bool locator();
    bool bones();
    bool bones_and_skin();
    bool final_checks();
};

} // namespace kestrel
