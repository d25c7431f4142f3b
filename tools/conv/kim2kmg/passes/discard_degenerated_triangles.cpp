#include "tools/conv/kim2kmg/passes/passes.h"

#include "kcore/messages/messages.h"

#include <bit>
#include <cmath>

namespace kestrel {

namespace {

bool spreads_its_corners(const kix_material_t *material) {
    if (!material)
        return false;
    const std::string_view effect = material->effect.view();
    return effect.starts_with("rvk2.leaves.") || effect.starts_with("rvk2.dif.billb.");
}

float distance(const float3_t &from, const float3_t &to) {
    const float x = to.x - from.x;
    const float y = to.y - from.y;
    const float z = to.z - from.z;
    return std::sqrt(x * x + y * y + z * z);
}

// Half the circumference exceeds every side by more than an absolute tolerance; where it does not, corners
// coincide or lie on one line. A triangle with a NaN coordinate has no area: no comparison with NaN holds.
bool has_area(const float3_t &a, const float3_t &b, const float3_t &c) {
    constexpr float tolerance = std::bit_cast<float>(0x3727C5ACu); // 1e-5
    const float ab = distance(a, b);
    const float bc = distance(b, c);
    const float ca = distance(c, a);
    const float half = ((bc + ab) + ca) * 0.5f;
    return std::fabs(half - ab) >= tolerance && std::fabs(half - bc) >= tolerance &&
           std::fabs(half - ca) >= tolerance;
}

bool is_degenerated(const triangle_t &triangle, std::span<const float3_t> positions) {
    const auto [a, b, c] = triangle.corners;
    if (a >= positions.size() || b >= positions.size() || c >= positions.size())
        return false;
    return !has_area(positions[a], positions[b], positions[c]);
}

constexpr const char *fatal_source = "tools/conv/kim2kmg/kim2kmg_tools";
constexpr const char *fatal_function = "kestrel::discard_degenerated_triangles";

// The numbers of the degenerated triangles, ascending.
array_dyn_t<uint32_t> find_degenerated(std::span<const triangle_t> triangles,
                                       std::span<const float3_t> positions) {
    array_dyn_t<uint32_t> removed;
    try {
        for (uint32_t t = 0; t < triangles.size(); ++t)
            if (is_degenerated(triangles[t], positions))
                removed.push_back(t);
    } catch (const std::bad_alloc &) {
        report_fatal({fatal_source, __LINE__, fatal_function},
                     "Unable to allocate memory for retrofitting the triangle stream.");
    }
    return removed;
}

void remove_triangles(kix_piece_t &piece, std::span<const uint32_t> removed) {
    kix_stream_t kept;
    if (!kept.allocate(stream_format_t::int3,
                       piece.triangles->count() - static_cast<uint32_t>(removed.size())))
        report_fatal({fatal_source, __LINE__, fatal_function}, "Unable to initialize new triangle stream.");
    const auto triangles = piece.triangles->items_as<triangle_t>();
    size_t first = 0; // of the run of triangles to keep
    for (const uint32_t t : removed) {
        kept.append_items(std::as_bytes(triangles.subspan(first, t - first)));
        first = t + 1;
    }
    kept.append_items(std::as_bytes(triangles.subspan(first)));
    piece.triangles->swap_storage(kept);
    piece.triangle_count = piece.triangles->count();
}

void clean_piece(const kim_t &model, kix_piece_t &piece) {
    const char *const source = model.source_name.c_str();
    if (spreads_its_corners(model.material_of(piece)))
        return;
    const kix_stream_t *const positions = piece.find_stream(position_tag);
    if (!positions || positions->format() != stream_format_t::float3) {
        msg_error("[kim2kmg] %s: discard_degenerated_triangles could not find a float3 %s stream in piece %u",
                  source, position_tag.data(), piece.index);
        return;
    }
    if (!piece.triangles || piece.triangles->format() != stream_format_t::int3) {
        msg_error("[kim2kmg] %s: discard_degenerated_triangles could not find a triangle stream in piece %u",
                  source, piece.index);
        return;
    }
    const auto removed =
        find_degenerated(piece.triangles->items_as<triangle_t>(), positions->items_as<float3_t>());
    if (removed.empty())
        return;
    remove_triangles(piece, removed.items());
    msg_info("[kim2kmg] %s: removed %Iu degenerated triangles from piece %u", source, removed.size(),
             piece.index);
}

} // namespace

void discard_degenerated_triangles(kim_t &model) {
    for (kix_piece_t *piece : model.pieces)
        clean_piece(model, *piece);
}

} // namespace kestrel
