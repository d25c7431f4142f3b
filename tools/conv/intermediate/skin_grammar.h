#pragma once

// The grammar of a model's skin: one Skin paragraph, or PieceSkin paragraphs in piece order.

#include "tools/conv/intermediate/kim_model.h"
#include "tools/conv/intermediate/parser.h"

namespace kestrel {

class skin_grammar_t : protected parser_t {
  protected:
    skin_grammar_t(scanner_t &scanner, owner_list_t &owners, kim_t &model)
        : parser_t(scanner, owners), model_(model) {}

    bool skin();
    bool piece_skin();

    kim_t &model_;

  private:
    // What a skin stream declares before its items.
    struct declaration_t {
        stream_format_t format = stream_format_t::none;
        name_t tag;
        uint32_t items = 0;
        uint32_t weights = 0;
        uint32_t clones = 0; // or vertex indices
    };

    bool declaration(declaration_t &declared, token_kind_t paragraph, token_kind_t clone_count);
    bool skin_stream(kim_skin_t &skin);
    bool skin_item(kim_skin_stream_t &stream);
    bool skin_weights(kim_skin_stream_t &stream);
    bool skin_clones(kim_skin_stream_t &stream);

    bool piece_skin_stream(kim_piece_skin_t &skin);
    bool piece_skin_item(kim_piece_skin_t &skin, const declaration_t &declared);
    bool piece_skin_weights(kim_piece_skin_t &skin, const declaration_t &declared);
    bool piece_skin_vertices(kim_piece_skin_t &skin, const declaration_t &declared);
};

} // namespace kestrel
