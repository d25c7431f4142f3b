#include "kcore/messages/messages.h"
#include "tools/conv/kim2kmg/passes/passes.h"
#include "tools/conv/kim2kmg/passes/unique_vertices.h"
#include "tools/conv/kim2kmg/passes/vertex_cache_order.h"

#include <algorithm>

namespace kestrel {

namespace {

constexpr uint32_t no_number = 0xFFFFFFFF;

// Rewrites a piece so that its triangles come in a given order and its vertices in the order in which those
// triangles first use them. Vertices that no triangle uses are dropped.
class piece_rewrite_t {
  public:
    // Takes all working memory, so that a piece is rewritten whole or not at all.
    void prepare(const kix_piece_t &piece, const kim_piece_skin_t *skin, size_t unique_count);

    // `triangles` name unique vertices, of which `first_vertices` holds the number in the piece; `order`
    // holds numbers of triangles. Changes the piece and the skin that were prepared.
    void run(kix_piece_t &piece, kim_piece_skin_t *skin, std::span<const triangle_t> triangles,
             std::span<const uint32_t> order, std::span<const uint32_t> first_vertices);

  private:
    void reorder_stream_items(kix_stream_t &stream);
    void remap_piece_skin(kim_piece_skin_t &skin);

    array_dyn_t<uint32_t> new_numbers_;  // of each unique vertex
    array_dyn_t<uint32_t> old_vertices_; // of each new number, the vertex in the piece as it was
    array_dyn_t<std::byte> items_;       // of one stream
    array_dyn_t<uint32_t> skin_numbers_; // new number of each vertex in the skin's table
};

void piece_rewrite_t::prepare(const kix_piece_t &piece, const kim_piece_skin_t *skin, size_t unique_count) {
    size_t stream_bytes = 0;
    for (const kix_stream_t *stream : piece.streams)
        stream_bytes = std::max(stream_bytes, stream->item_size() * unique_count);
    new_numbers_.clear();
    new_numbers_.resize(unique_count, no_number);
    old_vertices_.clear();
    old_vertices_.reserve(unique_count);
    items_.reserve(stream_bytes);
    skin_numbers_.clear();
    skin_numbers_.resize(skin ? skin->vertex_indices.size() : 0, no_number);
}

void piece_rewrite_t::run(kix_piece_t &piece, kim_piece_skin_t *skin, std::span<const triangle_t> triangles,
                          std::span<const uint32_t> order, std::span<const uint32_t> first_vertices) {
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
    for (kix_stream_t *stream : piece.streams)
        reorder_stream_items(*stream);
    piece.vertex_count = static_cast<uint32_t>(old_vertices_.size());
    if (skin)
        remap_piece_skin(*skin);
}

void piece_rewrite_t::reorder_stream_items(kix_stream_t &stream) {
    const std::span<std::byte> old_items = stream.bytes();
    std::byte *to = items_.data();
    with_item_size(stream, [&](auto item_size) {
        for (const uint32_t vertex : old_vertices_) {
            std::memcpy(to, old_items.data() + vertex * item_size(), item_size());
            to += item_size();
        }
    });
    std::copy(items_.data(), to, old_items.data());
    stream.truncate(static_cast<uint32_t>(old_vertices_.size()));
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

// Working memory is kept from piece to piece.
class vertex_cache_pass_t {
  public:
    vertex_cache_pass_t(kim_t &model, bool verbose) : model_(model), verbose_(verbose) {}

    void run_piece(uint32_t number);

  private:
    void optimize_piece(kix_piece_t &piece, kim_piece_skin_t *skin);
    void map_triangles(std::span<const triangle_t> triangles);
    void report(uint32_t number, uint32_t old_vertex_count, uint32_t old_triangle_count) const;

    kim_t &model_;
    const bool verbose_;
    unique_vertices_t unique_;
    array_dyn_t<triangle_t> triangles_; // over unique vertices, less the collapsed ones
    vertex_cache_order_t order_;
    piece_rewrite_t rewrite_;
    array_dyn_t<float3_t> merge_positions_;
};

void vertex_cache_pass_t::run_piece(uint32_t number) {
    kix_piece_t &piece = *model_.pieces[number];
    const uint32_t vertex_count = piece.vertex_count;
    const uint32_t triangle_count = piece.triangle_count;
    try {
        optimize_piece(piece, model_.piece_skins.empty() ? nullptr : model_.piece_skins[number]);
    } catch (const std::bad_alloc &) {
        return; // the piece is as it was
    }
    report(number, vertex_count, triangle_count);
}

void vertex_cache_pass_t::optimize_piece(kix_piece_t &piece, kim_piece_skin_t *skin) {
    merge_positions_.clear();
    if (piece.streams.empty() || piece.vertex_count == 0 || piece.triangle_count == 0 ||
        piece.triangle_count > scored_mesh_t::most_triangles || !corners_are_inside(piece) ||
        (skin && skin->vertex_items.size() < piece.vertex_count))
        return;
    unique_.collect(piece, skin);
    map_triangles(piece.triangles->items_as<triangle_t>());
    const auto first_vertices = unique_.first_vertices();
    const auto order = order_.run(triangles_.items(), static_cast<uint32_t>(first_vertices.size()));
    rewrite_.prepare(piece, skin, first_vertices.size());
    if (verbose_)
        list_merge_positions(piece, unique_, merge_positions_);
    rewrite_.run(piece, skin, triangles_.items(), order, first_vertices);
}

// Corners become unique vertices; triangles of fewer than three of them are left out.
void vertex_cache_pass_t::map_triangles(std::span<const triangle_t> triangles) {
    const auto numbers = unique_.numbers();
    triangles_.clear();
    triangles_.reserve(triangles.size());
    for (const triangle_t &triangle : triangles) {
        const uint32_t a = numbers[triangle.corners[0]];
        const uint32_t b = numbers[triangle.corners[1]];
        const uint32_t c = numbers[triangle.corners[2]];
        if (a != b && b != c && c != a)
            triangles_.push_back({{a, b, c}});
    }
}

void vertex_cache_pass_t::report(uint32_t number, uint32_t old_vertex_count,
                                 uint32_t old_triangle_count) const {
    const kix_piece_t &piece = *model_.pieces[number];
    const kix_material_t *const material = model_.material_of(piece);
    const char *const source = model_.source_name.c_str();
    const char *const alias = material ? material->alias.c_str() : "";
    const char *const effect = material ? material->effect.c_str() : "";
    if (piece.vertex_count < old_vertex_count) {
        msg_info(
            "[kim2kmg] %s: reduced number of vertices by %u from %u to %u in piece %u using material '%s' "
            "with effect '%s'",
            source, old_vertex_count - piece.vertex_count, old_vertex_count, piece.vertex_count, number,
            alias, effect);
        for (const float3_t &position : merge_positions_)
            msg_info("[kim2kmg] %s:    %f, %f, %f", source, position.x, position.y, position.z);
    }
    if (piece.triangle_count < old_triangle_count)
        msg_info(
            "[kim2kmg] %s: reduced number of triangles from %u to %u in piece %u using material '%s' with "
            "effect '%s'",
            source, old_triangle_count, piece.triangle_count, number, alias, effect);
}

} // namespace

void optimize_for_vertex_cache(kim_t &model, bool verbose) {
    if (model.skin)
        return;
    vertex_cache_pass_t pass(model, verbose);
    for (uint32_t p = 0; p < model.pieces.size(); ++p)
        pass.run_piece(p);
}

} // namespace kestrel
