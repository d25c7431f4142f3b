#include "tools/gltf/gltf_vertices.h"

#include "tools/kmg/affine.h"

#include <algorithm>
#include <numeric>

namespace kestrel {

namespace {

// Directions as close to unit length as this keep their bits; the format's validator allows six times more.
constexpr double unit_tolerance = 1e-3;

using direction_t = std::array<double, 3>;

kmg_float3_t to_floats(const direction_t &direction) {
    return {static_cast<float>(direction[0]), static_cast<float>(direction[1]),
            static_cast<float>(direction[2])};
}

kmg_float3_t unit_normal(const kmg_float3_t &normal) {
    const double l = length(normal);
    if (std::abs(l - 1) <= unit_tolerance)
        return normal;
    return l > 0 ? to_floats(normalised(normal)) : kmg_float3_t{0, 0, 1};
}

// Any direction at right angles to a unit one.
direction_t perpendicular(const kmg_float3_t &unit) {
    const double x = static_cast<double>(unit[0]), y = static_cast<double>(unit[1]),
                 z = static_cast<double>(unit[2]);
    direction_t result = std::abs(x) < 0.5 ? direction_t{0, z, -y} : direction_t{-z, 0, x};
    const double l = length(result);
    for (double &value : result)
        value /= l;
    return result;
}

kmg_float4_t unit_tangent(const kmg_float4_t &tangent, const kmg_float3_t &normal) {
    kmg_float3_t direction{tangent[0], tangent[1], tangent[2]};
    if (const double l = length(direction); std::abs(l - 1) > unit_tolerance)
        direction = to_floats(l > 0 ? normalised(direction) : perpendicular(normal));
    return {direction[0], direction[1], direction[2], tangent[3] < 0 ? -1.0f : 1.0f};
}

} // namespace

kmg_bytes4_t gltf_colour(const kmg_bytes4_t &colour) {
    const auto doubled = [](uint8_t value) { return static_cast<uint8_t>(std::min(2 * value, 255)); };
    return {doubled(colour[0]), doubled(colour[1]), doubled(colour[2]), colour[3]};
}

gltf_influences_t gltf_influences(const kmg_bytes4_t &bones, const kmg_bytes4_t &weights) {
    std::array<unsigned, kmg_max_influences> sums{weights[0], weights[1], weights[2], weights[3]};
    for (size_t i = 0; i < sums.size(); ++i)
        for (size_t j = i + 1; j < sums.size(); ++j)
            if (bones[j] == bones[i]) {
                sums[i] += sums[j];
                sums[j] = 0;
            }
    const unsigned total = std::accumulate(sums.begin(), sums.end(), 0u);
    gltf_influences_t result{};
    unsigned rest = 255;
    for (size_t i = 0; i < sums.size(); ++i) {
        result.weights[i] = static_cast<uint8_t>(sums[i] * 255 / total);
        rest -= result.weights[i];
    }
    // What rounding down left over goes to the largest.
    const auto largest = std::max_element(result.weights.begin(), result.weights.end());
    *largest = static_cast<uint8_t>(*largest + rest);
    for (size_t i = 0; i < sums.size(); ++i)
        result.joints[i] = result.weights[i] != 0 ? bones[i] : uint8_t{0};
    return result;
}

void adapt_vertices_for_gltf(const kmg_piece_t &piece, const kmg_piece_data_t &data,
                             std::span<std::byte> vertices, gltf_changes_t &changes) {
    for (size_t i = 0; i < piece.vertex_count; ++i) {
        const auto put = [&](uint32_t offset, const auto &value) {
            little_endian::put(vertices.data() + (offset - piece.position_offset) + i * piece.vertex_stride,
                               value);
        };
        const kmg_float3_t normal = unit_normal(data.normals[i]);
        changes.normals += normal != data.normals[i];
        put(piece.normal_offset, normal);
        const kmg_bytes4_t colour = data.colours[i];
        changes.colours += std::max({colour[0], colour[1], colour[2]}) > 128;
        put(piece.colour_offset, gltf_colour(colour));
        if (!data.tangents.empty()) {
            const kmg_float4_t tangent = unit_tangent(data.tangents[i], normal);
            changes.tangents += tangent != data.tangents[i];
            put(piece.tangent_offset, tangent);
        }
        if (!data.bone_indices.empty()) {
            const kmg_bytes4_t weights = data.bone_weights[i];
            const gltf_influences_t influences = gltf_influences(data.bone_indices[i], weights);
            changes.influences += influences.weights != weights;
            put(piece.bone_index_offset, influences.joints);
            put(piece.bone_weight_offset, influences.weights);
        }
    }
}

} // namespace kestrel
