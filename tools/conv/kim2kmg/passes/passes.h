#pragma once

// The three passes that change a model between reading and writing it, in the order in which they run. None
// of them fails a file: what a pass cannot work on it leaves as it is.
//
// A model that contradicts itself is not repaired by the way. Triangles that name vertices beyond their piece
// and parts that list pieces that are not there stay as they are, for the writer to reject.

#include "tools/conv/intermediate/kim_model.h"

#include <algorithm>

namespace kestrel {

// Removes the triangles that have no area worth drawing: corners that coincide or lie on one line, within an
// absolute tolerance of 0.00001 units.
//
// Vertices stay, also those that only removed triangles used; the kept triangles keep their order. Leaves and
// billboards are left alone, since their shaders spread coinciding corners apart. A piece that cannot be
// checked is reported. Working memory that cannot be had is fatal.
void discard_degenerated_triangles(kim_t &model);

// Joins pieces of one part that use the same material and have the same streams into one piece, the first of
// them, as long as that stays within 65535 vertices.
//
// Pieces are taken greedily in model order: the first piece takes every later one that still fits, then the
// next piece that is left does the same. Piece skins are joined along with their pieces; parts list the new
// positions. A model with a skin of its own is left alone, since that names vertices by piece.
//
// Pieces that no part names are joined among each other and removed like the others; one that stays keeps its
// index as written. A piece with a triangle that names a vertex beyond it is not joined: the offset of a join
// could make that triangle look right. Working memory that cannot be had is fatal.
void merge_part_pieces(kim_t &model);

// Makes every piece cheaper to draw: merges vertices that are the same, drops the triangles that collapse by
// it, orders the others for the cache of transformed vertices, and numbers the vertices in order of first
// use.
//
// Reports what became fewer, and in verbose mode the positions at which vertices were merged. A model with a
// skin of its own is left alone, since that names vertices by number; so is a piece for which working memory
// cannot be had.
void optimize_for_vertex_cache(kim_t &model, bool verbose);

// Whether the piece has triangles, if only an empty list, and all of them name vertices of the piece.
inline bool corners_are_inside(const kix_piece_t &piece) {
    if (!piece.triangles)
        return false;
    uint32_t highest = 0;
    for (const triangle_t &triangle : piece.triangles->items_as<triangle_t>())
        for (const uint32_t corner : triangle.corners)
            highest = std::max(highest, corner);
    return piece.triangles->count() == 0 || highest < piece.vertex_count;
}

} // namespace kestrel
