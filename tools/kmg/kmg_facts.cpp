#include "tools/kmg/kmg_facts.h"

#include "kcore/collections/hashed_table.h"
#include "tools/kmg/kmg_text.h"

#include <cstring>

namespace kestrel {

std::array<section_t, 8> sections_of(const kmg_header_t &header) {
    return {{{"header", 0, kmg_header_t::size},
             {"bones", header.bones_offset, uint64_t{header.bone_count} * kmg_bone_data_t::size},
             {"parts", header.parts_offset, uint64_t{header.part_count} * kmg_part_t::size},
             {"locators", header.locators_offset, uint64_t{header.locator_count} * kmg_locator_t::size},
             {"pieces", header.pieces_offset, uint64_t{header.piece_count} * kmg_piece_t::size},
             {"string_pool", header.string_pool_offset, header.string_pool_size},
             {"vertex_data", header.vertex_data_offset, header.vertex_data_size},
             {"index_data", header.index_data_offset, header.index_data_size}}};
}

model_totals_t totals_of(const kmg_reader_t &file) {
    model_totals_t totals;
    for (const kmg_piece_t piece : file.pieces()) {
        totals.vertices += piece.vertex_count;
        totals.triangles += piece.index_count / 3;
    }
    return totals;
}

size_t listed_locators(const kmg_reader_t &file) {
    size_t listed = 0;
    for (const kmg_part_t part : file.parts())
        listed += part.locator_count;
    return listed;
}

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

std::vector<uint32_t> parts_of_pieces(const kmg_reader_t &file) {
    std::vector<uint32_t> parts;
    for (uint32_t i = 0; i < file.header().part_count; ++i)
        parts.insert(parts.end(), file.parts()[i].piece_count, i);
    return parts;
}

bool has_lost_its_name(uint64_t name, size_t bone) {
    std::string digits = std::to_string(bone);
    digits.insert(0, 3 - std::min<size_t>(3, digits.size()), '0');
    return token_text(name) == "unnamed_" + digits;
}

static uint64_t hash_of(std::span<const std::byte> vertex) {
    uint64_t hash = hash_secret;
    for (size_t i = 0; i < vertex.size(); i += sizeof(uint32_t)) {
        uint32_t word;
        std::memcpy(&word, vertex.data() + i, sizeof word);
        hash = mix_hash(hash, word);
    }
    return hash;
}

std::vector<bool> used_vertices(const kmg_piece_t &piece, const kmg_piece_data_t &data) {
    std::vector<bool> used(piece.vertex_count);
    for (const uint16_t vertex : data.indices)
        if (vertex < used.size())
            used[vertex] = true;
    return used;
}

std::vector<uint32_t> copied_vertices(const kmg_reader_t &file, const kmg_piece_t &piece) {
    hashed_table_t table;
    table.reset(piece.vertex_count);
    std::vector<uint32_t> copies;
    for (uint32_t i = 0; i < piece.vertex_count; ++i) {
        const auto vertex = vertex_bytes(file, piece, i);
        const auto is_same = [&](uint32_t other) {
            return std::memcmp(vertex_bytes(file, piece, other).data(), vertex.data(), vertex.size()) == 0;
        };
        if (table.find_or_add(hash_of(vertex), i, is_same) != i)
            copies.push_back(i);
    }
    return copies;
}

bone_set_t bones_used(const kmg_piece_data_t &data) {
    bone_set_t used;
    for (size_t i = 0; i < data.bone_indices.size(); ++i) {
        const kmg_bytes4_t bones = data.bone_indices[i], weights = data.bone_weights[i];
        for (size_t slot = 0; slot < bones.size(); ++slot)
            if (weights[slot] != 0)
                used.set(bones[slot]);
    }
    return used;
}

std::vector<uint32_t> members_of(const bone_set_t &bones, uint32_t bone_count) {
    std::vector<uint32_t> members;
    for (uint32_t i = 0; i < bone_count; ++i)
        if (bones[i])
            members.push_back(i);
    return members;
}

} // namespace kestrel
