#pragma once

// Rewrites a piece so that its triangles come in a given order and its vertices in the order in which those
// triangles first use them. Vertices that no triangle uses are dropped.
//
// All working memory is taken before anything changes, so a piece is rewritten whole or not at all.

#include "tools/conv/intermediate/kim_model.h"

namespace kestrel {

class piece_rewrite_t {
  public:
    // False when working memory cannot be had; nothing has changed then.
    bool prepare(const kix_piece_t &piece, const kim_piece_skin_t *skin, size_t unique_count);

    // `triangles` name unique vertices, of which `first_vertices` holds the number in the piece; `order`
    // holds numbers of triangles. Changes the piece and the skin that were prepared.
    void run(kix_piece_t &piece, kim_piece_skin_t *skin, std::span<const triangle_t> triangles,
             std::span<const uint32_t> order, std::span<const uint32_t> first_vertices);

  private:
    void rewrite_triangles(kix_piece_t &piece, std::span<const triangle_t> triangles,
                           std::span<const uint32_t> order, std::span<const uint32_t> first_vertices);
    void reorder_stream_items(kix_stream_t &stream);
    void remap_piece_skin(kim_piece_skin_t &skin);

    array_dyn_t<uint32_t> new_numbers_;  // of each unique vertex
    array_dyn_t<uint32_t> old_vertices_; // of each new number, the vertex in the piece as it was
    array_dyn_t<std::byte> items_;       // of one stream
    array_dyn_t<uint32_t> skin_numbers_; // new number of each vertex in the skin's table
};

} // namespace kestrel
