#include "tools/conv/kim2kmg/passes/passes.h"

#include "kcore/messages/messages.h"
#include "tools/conv/kim2kmg/passes/piece_rewrite.h"
#include "tools/conv/kim2kmg/passes/unique_vertices.h"
#include "tools/conv/kim2kmg/passes/vertex_cache_order.h"

#include <algorithm>

namespace kestrel {

namespace {

// Working memory is kept from piece to piece.
class vertex_cache_pass_t {
  public:
    vertex_cache_pass_t(kim_t &model, bool verbose) : model_(model), verbose_(verbose) {}

    void run_piece(uint32_t number);

  private:
    void optimize_piece(kix_piece_t &piece, kim_piece_skin_t *skin);
    bool map_triangles(std::span<const triangle_t> triangles);
    void report(uint32_t number, uint32_t old_vertex_count, uint32_t old_triangle_count) const;

    kim_t &model_;
    const bool verbose_;
    unique_vertices_t unique_;
    array_dyn_t<triangle_t> triangles_; // over unique vertices, less the collapsed ones
    vertex_cache_order_t order_;
    piece_rewrite_t rewrite_;
    array_dyn_t<float3_t> merge_positions_;
};

// Whether every triangle and the skin's table fit the piece's vertices.
bool names_its_own_vertices(const kix_piece_t &piece, const kim_piece_skin_t *skin) {
    uint32_t highest = 0;
    for (const triangle_t &triangle : piece.triangles->items_as<triangle_t>())
        for (const uint32_t corner : triangle.corners)
            highest = std::max(highest, corner);
    return highest < piece.vertex_count && (!skin || skin->vertex_items.size() >= piece.vertex_count);
}

void vertex_cache_pass_t::run_piece(uint32_t number) {
    kix_piece_t &piece = *model_.pieces[number];
    const uint32_t vertex_count = piece.vertex_count;
    const uint32_t triangle_count = piece.triangle_count;
    merge_positions_.clear();
    optimize_piece(piece, model_.piece_skins.empty() ? nullptr : model_.piece_skins[number]);
    report(number, vertex_count, triangle_count);
}

void vertex_cache_pass_t::optimize_piece(kix_piece_t &piece, kim_piece_skin_t *skin) {
    if (piece.streams.empty() || piece.vertex_count == 0 || piece.triangle_count == 0 ||
        !names_its_own_vertices(piece, skin))
        return;
    if (!unique_.collect(piece, skin) || !map_triangles(piece.triangles->items_as<triangle_t>()))
        return;
    const auto first_vertices = unique_.first_vertices();
    if (!order_.run(triangles_.items(), static_cast<uint32_t>(first_vertices.size())) ||
        !rewrite_.prepare(piece, skin, first_vertices.size()))
        return;
    if (verbose_ && !list_merge_positions(piece, unique_, merge_positions_))
        return;
    rewrite_.run(piece, skin, triangles_.items(), order_.order(), first_vertices);
}

// Corners become unique vertices; triangles of fewer than three of them are left out.
bool vertex_cache_pass_t::map_triangles(std::span<const triangle_t> triangles) {
    const auto numbers = unique_.numbers();
    triangles_.clear();
    if (!triangles_.reserve(triangles.size()))
        return false;
    for (const triangle_t &triangle : triangles) {
        const uint32_t a = numbers[triangle.corners[0]];
        const uint32_t b = numbers[triangle.corners[1]];
        const uint32_t c = numbers[triangle.corners[2]];
        if (a != b && b != c && c != a)
            triangles_.push_back({{a, b, c}});
    }
    return true;
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
