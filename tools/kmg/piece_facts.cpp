#include "tools/kmg/piece_facts.h"

#include <algorithm>

namespace kestrel {

std::vector<vertex_field_t> vertex_fields(const kmg_piece_t &piece) {
    std::vector<vertex_field_t> fields;
    const auto add = [&](std::string name, uint32_t offset) {
        if (offset != kmg_absent)
            fields.push_back({std::move(name), offset - piece.position_offset});
    };
    add("position", piece.position_offset);
    add("normal", piece.normal_offset);
    add("tangent", piece.tangent_offset);
    add("colour", piece.colour_offset);
    add("factor", piece.factor_offset);
    for (uint32_t channel = 0; channel < piece.uv_channel_count; ++channel)
        add("uv" + std::to_string(channel),
            piece.uv_offset + channel * static_cast<uint32_t>(sizeof(kmg_float2_t)));
    add("bones", piece.bone_index_offset);
    add("weights", piece.bone_weight_offset);
    return fields;
}

std::optional<uint32_t> channel_of_slot(const kmg_piece_t &piece, uint32_t slot) {
    constexpr uint32_t none = 0xF;
    const uint32_t channel = piece.texture_coordinate_map >> (4 * slot) & 0xF;
    return channel == none ? std::nullopt : std::optional(channel);
}

std::optional<index_range_t> index_range(const kmg_view_t<uint16_t> &indices) {
    if (indices.empty())
        return std::nullopt;
    index_range_t range{indices[0], indices[0]};
    for (const uint16_t index : indices) {
        range.first = std::min(range.first, index);
        range.last = std::max(range.last, index);
    }
    return range;
}

std::vector<uint32_t> parts_of_pieces(const kmg_reader_t &file) {
    std::vector<uint32_t> parts;
    for (uint32_t i = 0; i < file.header().part_count; ++i)
        parts.insert(parts.end(), file.parts()[i].piece_count, i);
    return parts;
}

} // namespace kestrel
