#pragma once

// A model on its way from glTF to text: plain data, everything checked, in the model's own space.

#include "tools/kmg/kmg_layout_and_limits.h"

#include <array>
#include <optional>
#include <string>
#include <vector>

namespace kestrel {

using triangle_corners_t = std::array<uint32_t, 3>;

struct influence_t {
    uint32_t bone;
    float weight;

    auto operator<=>(const influence_t &) const = default;
};
using influences_t = std::vector<influence_t>;

struct uv_channel_t {
    std::vector<std::array<float, 2>> values;
    uint32_t slots; // bit k: it feeds texture coordinate slot k
};

struct model_piece_t {
    uint32_t material = 0;
    // One of each for every vertex, or none at all.
    std::vector<kmg_float3_t> positions, normals;
    std::vector<kmg_float4_t> tangents, colours, factors;
    std::vector<uint32_t> influence_sets; // which of `sets`
    std::vector<uv_channel_t> uvs;
    std::vector<influences_t> sets;
    std::vector<triangle_corners_t> triangles;

    size_t vertex_count() const { return positions.size(); }
};

struct model_part_t {
    std::string name;
    std::vector<uint32_t> pieces, locators;
};

struct model_locator_t {
    std::string name, hookup;
    kmg_float3_t position{};
    kmg_float4_t rotation{}; // w, x, y, z
    kmg_float3_t scale{};
};

struct model_material_t {
    std::string alias, effect;
};

struct model_bone_t {
    std::string name;
    std::optional<uint32_t> parent; // before it
    kmg_matrix_t matrix{};          // row by row, the translation in the last column
};

struct imported_model_t {
    std::vector<model_material_t> materials;
    std::vector<model_piece_t> pieces;
    std::vector<model_part_t> parts;
    std::vector<model_locator_t> locators;
    std::vector<model_bone_t> bones; // none without skin
    std::vector<std::string> notes;  // what was left out or changed, a sentence each
};

} // namespace kestrel
