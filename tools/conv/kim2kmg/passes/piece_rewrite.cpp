#include "tools/conv/kim2kmg/passes/piece_rewrite.h"

#include <algorithm>

namespace kestrel {

static constexpr uint32_t no_number = 0xFFFFFFFF;

bool piece_rewrite_t::prepare(const kix_piece_t &piece, const kim_piece_skin_t *skin, size_t unique_count) {
    size_t stream_bytes = 0;
    for (const kix_stream_t *stream : piece.streams)
        stream_bytes = std::max(stream_bytes, stream->item_size() * unique_count);
    new_numbers_.clear();
    old_vertices_.clear();
    skin_numbers_.clear();
    return new_numbers_.resize(unique_count, no_number) && old_vertices_.reserve(unique_count) &&
           items_.reserve(stream_bytes) &&
           skin_numbers_.resize(skin ? skin->vertex_indices.size() : 0, no_number);
}

void piece_rewrite_t::run(kix_piece_t &piece, kim_piece_skin_t *skin, std::span<const triangle_t> triangles,
                          std::span<const uint32_t> order, std::span<const uint32_t> first_vertices) {
    rewrite_triangles(piece, triangles, order, first_vertices);
    for (kix_stream_t *stream : piece.streams)
        reorder_stream_items(*stream);
    piece.vertex_count = static_cast<uint32_t>(old_vertices_.size());
    if (skin)
        remap_piece_skin(*skin);
}

void piece_rewrite_t::rewrite_triangles(kix_piece_t &piece, std::span<const triangle_t> triangles,
                                        std::span<const uint32_t> order,
                                        std::span<const uint32_t> first_vertices) {
    triangle_t *rewritten = piece.triangles->items_as<triangle_t>().data();
    for (const uint32_t t : order) {
        for (int k = 0; k < 3; ++k) {
            const uint32_t vertex = triangles[t].corners[k];
            uint32_t &number = new_numbers_[vertex];
            if (number == no_number) {
                number = static_cast<uint32_t>(old_vertices_.size());
                old_vertices_.push_back(first_vertices[vertex]);
            }
            rewritten->corners[k] = number;
        }
        ++rewritten;
    }
    piece.triangles->truncate(static_cast<uint32_t>(order.size()));
    piece.triangle_count = piece.triangles->count();
}

template <size_t item_size>
static void gather_items(std::byte *to, const std::byte *from, std::span<const uint32_t> vertices) {
    for (const uint32_t vertex : vertices) {
        std::memcpy(to, from + vertex * item_size, item_size);
        to += item_size;
    }
}

void piece_rewrite_t::reorder_stream_items(kix_stream_t &stream) {
    const auto gather = [&] {
        switch (stream.item_size()) {
        case 4:
            return gather_items<4>;
        case 8:
            return gather_items<8>;
        case 12:
            return gather_items<12>;
        case 16:
            return gather_items<16>;
        case 20:
            return gather_items<20>;
        case 24:
            return gather_items<24>;
        case 64:
            return gather_items<64>;
        default:
            return gather_items<max_item_size>;
        }
    }();
    gather(items_.data(), stream.bytes().data(), old_vertices_.items());
    const auto vertex_count = static_cast<uint32_t>(old_vertices_.size());
    std::memcpy(stream.bytes().data(), items_.data(), vertex_count * stream.item_size());
    stream.truncate(vertex_count);
}

// Items, weights and vertex indices lie one after the other, so what is kept moves down in place.
void piece_rewrite_t::remap_piece_skin(kim_piece_skin_t &skin) {
    for (uint32_t number = 0; number < old_vertices_.size(); ++number)
        if (old_vertices_[number] < skin_numbers_.size())
            skin_numbers_[old_vertices_[number]] = number;
    uint32_t items = 0, weights = 0, vertex_indices = 0; // kept so far
    for (kim_piece_skin_item_t item : skin.items) {
        const uint32_t first_vertex_index = vertex_indices;
        for (const uint32_t vertex :
             skin.vertex_indices.items().subspan(item.first_vertex_index, item.vertex_index_count))
            if (const uint32_t number = skin_numbers_[vertex]; number != no_number)
                skin.vertex_indices[vertex_indices++] = number;
        if (vertex_indices == first_vertex_index)
            continue;
        for (uint32_t i = 0; i < item.weight_count; ++i)
            skin.weights[weights + i] = skin.weights[item.first_weight + i];
        item.item_index = items;
        item.first_weight = weights;
        item.first_vertex_index = first_vertex_index;
        item.vertex_index_count = vertex_indices - first_vertex_index;
        weights += item.weight_count;
        skin.items[items++] = item;
    }
    skin.items.shrink(items);
    skin.weights.shrink(weights);
    skin.vertex_indices.shrink(vertex_indices);
    skin.vertex_items.clear();
}

} // namespace kestrel
