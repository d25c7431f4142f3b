#pragma once

// A text model as plain values: tests write one down, turn it into a model for a pass, and compare what the
// pass made of it.

#include "tools/conv/intermediate/kim_model.h"

#include <array>
#include <string>
#include <vector>

namespace kestrel {

using plain_triangle_t = std::array<uint32_t, 3>;

struct plain_stream_t {
    std::string tag;
    stream_format_t format = stream_format_t::float3;
    std::vector<std::string> aliases;
    std::vector<std::string> items; // the bytes of each

    bool operator==(const plain_stream_t &) const = default;
};

struct plain_skin_item_t {
    std::array<float, 3> position{};
    std::vector<std::pair<uint32_t, float>> weights;
    std::vector<uint32_t> vertices;
};

struct plain_skin_t {
    uint32_t piece_index = 0;
    std::vector<plain_skin_item_t> items;
    std::vector<uint32_t> vertex_items;
};

struct plain_piece_t {
    uint32_t index = 0;
    uint32_t material = 0;
    uint32_t vertex_count = 0; // every stream's number of items
    std::vector<plain_stream_t> streams;
    std::vector<plain_triangle_t> triangles;

    bool operator==(const plain_piece_t &) const = default;
};

struct plain_part_t {
    uint32_t piece_count = 0; // as declared
    std::vector<uint32_t> pieces;

    bool operator==(const plain_part_t &) const = default;
};

struct plain_model_t {
    std::vector<std::pair<std::string, std::string>> materials; // alias and effect
    std::vector<plain_piece_t> pieces;
    std::vector<plain_part_t> parts;
    std::vector<plain_skin_t> piece_skins;

    // Weights compare by their bits, unlike floats.
    bool operator==(const plain_model_t &) const;
};

std::string bytes_of(std::initializer_list<float> values);
// A stream of three floats an item.
plain_stream_t position_stream(const std::vector<std::array<float, 3>> &positions);

// One piece, with index 7 and the material 'paint' with effect 'rvk2.dif', whose vertices lie at these
// positions.
plain_model_t one_piece_model(const std::vector<std::array<float, 3>> &positions,
                              const std::vector<plain_triangle_t> &triangles);

// The model, with the source name "m.kim". Every item lists its vertices; what no item lists has none.
kim_t &build_model(const plain_model_t &plain, owner_list_t &owners);
// What a model holds now. Reports as a test failure what contradicts itself: counts, positions in the tables
// of the skins, capacities.
plain_model_t plain_copy(const kim_t &model);

} // namespace kestrel
