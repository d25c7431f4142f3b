#pragma once

// Joins pieces of one part that use the same material and have the same streams into one piece, the first of
// them, as long as that stays within 65535 vertices.
//
// Pieces are taken greedily in model order: the first piece takes every later one that still fits, then the
// next piece that is left does the same. Piece skins are joined along with their pieces; parts list the new
// positions. A model with a skin of its own is left alone, since that names vertices by piece.
//
// Pieces that no part names are joined among each other and removed like the others; one that stays keeps its
// index as written. A piece with a triangle that names a vertex beyond it is not joined, for the writer to
// reject. Entries of a part's list beyond the list or the pieces are left as they are. Working memory that
// cannot be had is fatal.

#include "tools/conv/intermediate/kim_model.h"

namespace kestrel {

void merge_part_pieces(kim_t &model);

} // namespace kestrel
