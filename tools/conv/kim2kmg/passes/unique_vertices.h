#pragma once

// Finds the vertices of a piece that are the same: equal bytes in every stream and, in a skinned piece, the
// same weights for the same bones in the same order (or the same skin item).
//
// Weights compare as numbers: a zero equals a negative zero, a NaN nothing but its own item. Streams compare
// as bytes. A vertex that no skin item lists is only equal to others of that kind.

#include "kcore/collections/hashed_table.h"
#include "tools/conv/intermediate/kim_model.h"

namespace kestrel {

class unique_vertices_t {
  public:
    // Of a piece whose streams all hold its vertex count, and whose skin, if any, has a vertex item for each
    // vertex. Results last until the next call.
    void collect(const kix_piece_t &piece, const kim_piece_skin_t *skin);

    // For every vertex the number of its unique vertex; numbers ascend in order of first occurrence.
    std::span<const uint32_t> numbers() const { return numbers_.items(); }
    // For every unique vertex the first vertex that looks like it.
    std::span<const uint32_t> first_vertices() const { return first_vertices_.items(); }

  private:
    void classify_skin(const kim_piece_skin_t &skin, uint32_t vertex_count);
    void hash_vertices(const kix_piece_t &piece);
    void number_vertices(const kix_piece_t &piece);

    hashed_table_t table_;
    array_dyn_t<uint32_t> item_classes_; // of each skin item the first item with its weights
    array_dyn_t<uint32_t> skin_classes_; // of each vertex; empty for a piece without skin
    array_dyn_t<uint64_t> hashes_;       // of each vertex
    array_dyn_t<uint32_t> numbers_;
    array_dyn_t<uint32_t> first_vertices_;
};

// Appends the positions at which vertices were merged, each once, in the order in which the merges were
// found: the first three floats of their items, none for a piece whose position stream has smaller items.
void list_merge_positions(const kix_piece_t &piece, const unique_vertices_t &unique,
                          array_dyn_t<float3_t> &positions);

// Calls `work` with the stream's item size as a constant, so that items are hashed and copied without a loop
// over their bytes.
template <class work_t>
void with_item_size(const kix_stream_t &stream, work_t work) {
    const auto try_size = [&]<size_t size>(std::integral_constant<size_t, size> constant) {
        if (stream.item_size() == size)
            work(constant);
    };
    [&]<size_t... sizes>(std::index_sequence<sizes...>) {
        (try_size(std::integral_constant<size_t, sizes>()), ...);
    }
    (std::index_sequence<4, 8, 12, 16, 20, 24, 64, 256>());
}

} // namespace kestrel
