#pragma once

// A small complete geometry file put together by hand, and the ways to damage it.

#include "tools/kmg/kmg_reader.h"

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace kestrel {

struct vertex_t {
    kmg_float3_t position;
    kmg_float3_t normal;
    kmg_float4_t tangent{1, 0, 0, 1};
    kmg_bytes4_t colour{128, 128, 128, 255};
    kmg_bytes4_t factor{};
    std::array<kmg_float2_t, kmg_max_uv_channels> uv{};
    kmg_bytes4_t bones{};
    kmg_bytes4_t weights{255, 0, 0, 0};
};

struct piece_source_t {
    uint32_t material = 0;
    bool tangents = false;
    bool factors = false;
    uint32_t uv_channels = 0;
    uint32_t texture_coordinate_map = 0xFFFFFFFF;
    kmg_sphere_t sphere;
    kmg_box_t box;
    std::vector<vertex_t> vertices;
    std::vector<uint16_t> indices;
};

// Records as they are to stand in the file; counts and offsets are filled in by build().
struct kmg_source_t {
    kmg_header_t header;
    std::vector<kmg_bone_data_t> bones;
    std::vector<kmg_part_t> parts;
    std::vector<kmg_locator_t> locators;
    std::vector<piece_source_t> pieces;
    std::string pool;
};

using bytes_t = std::vector<std::byte>;

bytes_t build(kmg_source_t source);

// Two bones, two parts of one piece each (one with all optional fields), two locators with one hookup.
kmg_source_t small_source();
// One part and nothing else.
kmg_source_t empty_source();

uint64_t kmg_name(std::string_view name);

// Where a field of a record stands.
size_t byte_of(std::span<const std::byte> file, kmg_record_kind_t kind, size_t index, std::string_view field);

template <class T>
bytes_t planted(bytes_t file, size_t byte, T value) {
    little_endian::put(file.data() + byte, value);
    return file;
}

} // namespace kestrel
