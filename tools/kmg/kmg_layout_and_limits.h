#pragma once

// The records of a geometry file (.kmg).
//
//   header | bones | parts | locators | pieces | string pool | vertex data | index data
//
// There are no gaps between sections, and every section starts at a multiple of 4. All numbers are
// little-endian, reals are IEEE single precision. Offsets are byte offsets from the start of the file, but
// for a locator's hookup, which counts from the start of the string pool.
//
// Each record lists its fields once, with their offset and name; packing, unpacking and printing all walk
// that list (little_endian.h), and the compiler checks that it covers the record without gap or overlap.
// These numbers are the format: never change one.

#include "tools/kmg/little_endian.h"

#include <array>
#include <cstdint>

namespace kestrel {

inline constexpr uint32_t kmg_signature = 0x4B6D6715;
inline constexpr uint32_t kmg_absent = 0xFFFFFFFF;        // an offset that leads nowhere
inline constexpr uint8_t kmg_no_parent = 255;             // of a root bone
inline constexpr uint32_t kmg_max_bones = 255;            // so that bone indices are bytes
inline constexpr uint32_t kmg_max_piece_vertices = 65535; // so that vertex indices are 16 bits wide
inline constexpr uint32_t kmg_max_influences = 4;         // bones per vertex
inline constexpr uint32_t kmg_max_uv_channels = 8;
inline constexpr uint32_t kmg_section_alignment = 4;

// What a section, or the index data of a piece, of so many bytes takes in the file.
constexpr uint64_t aligned_section_size(uint64_t bytes) {
    return (bytes + kmg_section_alignment - 1) / kmg_section_alignment * kmg_section_alignment;
}

using kmg_float3_t = std::array<float, 3>;
using kmg_float4_t = std::array<float, 4>;
using kmg_matrix_t = std::array<float, 16>;

struct kmg_sphere_t {
    kmg_float3_t centre{};
    float radius = 0;
};

struct kmg_box_t {
    kmg_float3_t minimum{};
    kmg_float3_t maximum{};
};

struct kmg_header_t {
    static constexpr size_t size = 112;

    uint32_t signature = 0;
    uint32_t piece_count = 0;
    uint32_t part_count = 0;
    uint32_t bone_count = 0;
    uint32_t influence_count = 0; // bones per vertex: 4, or 0 without bones
    uint32_t locator_count = 0;
    uint64_t skeleton_hash = 0; // of the skeleton's place in the asset tree; 0 without one
    kmg_sphere_t sphere;        // of all vertices
    kmg_box_t box;
    uint32_t bones_offset = 0;
    uint32_t parts_offset = 0;
    uint32_t locators_offset = 0;
    uint32_t pieces_offset = 0;
    uint32_t string_pool_offset = 0;
    uint32_t string_pool_size = 0;
    uint32_t vertex_data_offset = 0;
    uint32_t vertex_data_size = 0;
    uint32_t index_data_offset = 0;
    uint32_t index_data_size = 0;

    static constexpr void visit(auto &record, auto &&field) {
        field(0, "signature", record.signature);
        field(4, "piece_count", record.piece_count);
        field(8, "part_count", record.part_count);
        field(12, "bone_count", record.bone_count);
        field(16, "influence_count", record.influence_count);
        field(20, "locator_count", record.locator_count);
        field(24, "skeleton_hash", record.skeleton_hash);
        field(32, "sphere_centre", record.sphere.centre);
        field(44, "sphere_radius", record.sphere.radius);
        field(48, "box_minimum", record.box.minimum);
        field(60, "box_maximum", record.box.maximum);
        field(72, "bones_offset", record.bones_offset);
        field(76, "parts_offset", record.parts_offset);
        field(80, "locators_offset", record.locators_offset);
        field(84, "pieces_offset", record.pieces_offset);
        field(88, "string_pool_offset", record.string_pool_offset);
        field(92, "string_pool_size", record.string_pool_size);
        field(96, "vertex_data_offset", record.vertex_data_offset);
        field(100, "vertex_data_size", record.vertex_data_size);
        field(104, "index_data_offset", record.index_data_offset);
        field(108, "index_data_size", record.index_data_size);
    }
};

// One bone of the skeleton. Matrices are in the order of the skeleton file. The local transform (relative to
// the parent) is also stored in parts: mirror, rotation and stretch along axes, then translation.
struct kmg_bone_data_t {
    static constexpr size_t size = 200;

    uint64_t name = 0; // token
    kmg_matrix_t matrix{};
    kmg_matrix_t inverse{};
    kmg_float4_t stretch_rotation{}; // w, x, y, z of the stretch axes
    kmg_float4_t rotation{};         // w, x, y, z
    kmg_float3_t translation{};
    kmg_float3_t scale{}; // along the stretch axes
    float sign = 0;       // -1 when the local transform mirrors, else +1
    uint8_t parent = 0;
    std::array<uint8_t, 3> reserved{};

    static constexpr void visit(auto &record, auto &&field) {
        field(0, "name", record.name);
        field(8, "matrix", record.matrix);
        field(72, "inverse", record.inverse);
        field(136, "stretch_rotation", record.stretch_rotation);
        field(152, "rotation", record.rotation);
        field(168, "translation", record.translation);
        field(180, "scale", record.scale);
        field(192, "sign", record.sign);
        field(196, "parent", record.parent);
        field(197, "reserved", record.reserved);
    }
};

// A named group of pieces and locators that follow each other in their sections.
struct kmg_part_t {
    static constexpr size_t size = 24;

    uint64_t name = 0; // token
    uint32_t piece_count = 0;
    uint32_t first_piece = 0;
    uint32_t locator_count = 0;
    uint32_t first_locator = 0;

    static constexpr void visit(auto &record, auto &&field) {
        field(0, "name", record.name);
        field(8, "piece_count", record.piece_count);
        field(12, "first_piece", record.first_piece);
        field(16, "locator_count", record.locator_count);
        field(20, "first_locator", record.first_locator);
    }
};

struct kmg_locator_t {
    static constexpr size_t size = 44;

    uint64_t name = 0; // token
    kmg_float3_t position{};
    float scale = 0;
    kmg_float4_t rotation{}; // in the order of the model file
    uint32_t hookup = 0;     // offset within the string pool, or absent

    static constexpr void visit(auto &record, auto &&field) {
        field(0, "name", record.name);
        field(8, "position", record.position);
        field(20, "scale", record.scale);
        field(24, "rotation", record.rotation);
        field(40, "hookup", record.hookup);
    }
};

// Vertices and triangles of one material. A vertex holds, in this order and the optional ones only where
// their offset is not absent: position 3f, normal 3f, tangent 4f, colour 4 bytes, factor 4 bytes, UV channels
// 2f each, bone indices 4 bytes, bone weights 4 bytes. Offsets lead to the field of vertex 0.
struct kmg_piece_t {
    static constexpr size_t size = 100;

    uint32_t index_count = 0; // 16-bit vertex indices, three per triangle
    uint32_t vertex_count = 0;
    uint32_t texture_coordinate_map = 0; // 4 bits per slot: the UV channel that feeds it, 0xF for none
    uint32_t uv_channel_count = 0;
    uint32_t material = 0;
    kmg_sphere_t sphere;
    kmg_box_t box;
    uint32_t vertex_stride = 0;
    uint32_t position_offset = 0;
    uint32_t normal_offset = 0;
    uint32_t uv_offset = 0;
    uint32_t colour_offset = 0;
    uint32_t factor_offset = 0;
    uint32_t tangent_offset = 0;
    uint32_t bone_index_offset = 0;
    uint32_t bone_weight_offset = 0;
    uint32_t index_offset = 0;

    static constexpr void visit(auto &record, auto &&field) {
        field(0, "index_count", record.index_count);
        field(4, "vertex_count", record.vertex_count);
        field(8, "texture_coordinate_map", record.texture_coordinate_map);
        field(12, "uv_channel_count", record.uv_channel_count);
        field(16, "material", record.material);
        field(20, "sphere_centre", record.sphere.centre);
        field(32, "sphere_radius", record.sphere.radius);
        field(36, "box_minimum", record.box.minimum);
        field(48, "box_maximum", record.box.maximum);
        field(60, "vertex_stride", record.vertex_stride);
        field(64, "position_offset", record.position_offset);
        field(68, "normal_offset", record.normal_offset);
        field(72, "uv_offset", record.uv_offset);
        field(76, "colour_offset", record.colour_offset);
        field(80, "factor_offset", record.factor_offset);
        field(84, "tangent_offset", record.tangent_offset);
        field(88, "bone_index_offset", record.bone_index_offset);
        field(92, "bone_weight_offset", record.bone_weight_offset);
        field(96, "index_offset", record.index_offset);
    }
};

static_assert(fields_cover<kmg_header_t>());
static_assert(fields_cover<kmg_bone_data_t>());
static_assert(fields_cover<kmg_part_t>());
static_assert(fields_cover<kmg_locator_t>());
static_assert(fields_cover<kmg_piece_t>());

} // namespace kestrel
