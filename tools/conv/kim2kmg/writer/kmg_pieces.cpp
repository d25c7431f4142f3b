#include "tools/conv/kim2kmg/writer/bounds.h"
#include "tools/conv/kim2kmg/writer/kmg_writer_steps.h"
#include "tools/conv/kim2kmg/writer/uv_channels.h"

#include <utility>

namespace kestrel {

namespace {

constexpr uint64_t largest_offset = kmg_absent - 1;

bool check_vertices(const kmg_writer_t &writer, const kix_piece_t &piece) {
    if (piece.vertex_count == 0)
        return msg_error("[kim2kmg] %s: piece %u has zero vertex count !", writer.source_name(), piece.index);
    if (positions_of(piece).empty())
        return msg_error("[kim2kmg] %s: unavailable/incorrect %s stream on piece %u", writer.source_name(),
                         position_tag.data(), piece.index);
    if (piece.vertex_count > kmg_max_piece_vertices)
        return msg_error("[kim2kmg] %s: piece %u has more than allowed number of vertices (%u)",
                         writer.source_name(), piece.index, kmg_max_piece_vertices);
    return true;
}

bool check_triangles(const kmg_writer_t &writer, const kix_piece_t &piece) {
    uint32_t number = 0;
    for (const triangle_t &triangle : piece.triangles->items_as<triangle_t>()) {
        for (const uint32_t corner : triangle.corners)
            if (corner >= piece.vertex_count)
                return msg_error("[kim2kmg] %s: triangle %u of piece %u uses vertex %u of %u",
                                 writer.source_name(), number, piece.index, corner, piece.vertex_count);
        ++number;
    }
    return true;
}

void lay_out_vertex(const kmg_writer_t &writer, const kix_piece_t &piece, kmg_piece_t &record) {
    uint32_t end = writer.header.vertex_data_size;
    const auto take = [&](uint32_t bytes) { return std::exchange(end, end + bytes); };
    record.position_offset = take(12);
    record.normal_offset = take(12);
    record.tangent_offset = writer.tangents && piece.find_stream(tangent_tag) ? take(16) : kmg_absent;
    record.colour_offset = take(4);
    record.factor_offset = piece.find_stream(factor_tag) ? take(4) : kmg_absent;
    record.uv_offset = record.uv_channel_count > 0 ? take(8 * record.uv_channel_count) : kmg_absent;
    record.bone_index_offset = writer.has_bones() ? take(4) : kmg_absent;
    record.bone_weight_offset = writer.has_bones() ? take(4) : kmg_absent;
    record.vertex_stride = end - writer.header.vertex_data_size;
}

// Sections of more bytes than offsets can count are refused; false then.
bool grow_section(uint32_t &size, uint64_t bytes) {
    if (bytes > largest_offset - size)
        return false;
    size += static_cast<uint32_t>(bytes);
    return true;
}

bool build_piece(kmg_writer_t &writer, const kix_piece_t &piece, kmg_piece_t &record) {
    if (!check_vertices(writer, piece) || !check_triangles(writer, piece))
        return false;
    const uv_channels_t channels = find_uv_channels(piece);
    bounds_t bounds;
    bounds.add(positions_of(piece));
    const uint64_t index_count = uint64_t{piece.triangle_count} * 3;
    record.index_count = static_cast<uint32_t>(index_count);
    record.vertex_count = piece.vertex_count;
    record.texture_coordinate_map = channels.slot_map;
    record.uv_channel_count = channels.count;
    record.material = piece.material;
    record.sphere = bounds.sphere();
    record.box = bounds.box();
    lay_out_vertex(writer, piece, record);
    record.index_offset = writer.header.index_data_size;
    return (grow_section(writer.header.vertex_data_size,
                         uint64_t{record.vertex_stride} * piece.vertex_count) &&
            grow_section(writer.header.index_data_size,
                         aligned_section_size(index_count * sizeof(uint16_t)))) ||
           geometry_too_large(writer);
}

} // namespace

bool build_pieces(kmg_writer_t &writer) {
    for (size_t i = 0; i < writer.pieces.size(); ++i) {
        const kix_piece_t &piece = *writer.piece_order[i];
        if (!build_piece(writer, piece, writer.pieces[i]))
            return false;
        if (writer.has_bones() && !writer.skin.skin_piece(piece, writer.vertex_orders[i]))
            return false;
    }
    return true;
}

bool relocate_pieces(kmg_writer_t &writer) {
    kmg_header_t &header = writer.header;
    const uint64_t index_data = uint64_t{header.vertex_data_offset} + header.vertex_data_size;
    if (index_data + header.index_data_size > largest_offset)
        return geometry_too_large(writer);
    header.index_data_offset = static_cast<uint32_t>(index_data);
    for (kmg_piece_t &record : writer.pieces) {
        for (uint32_t *offset : {&record.position_offset, &record.normal_offset, &record.uv_offset,
                                 &record.colour_offset, &record.factor_offset, &record.tangent_offset,
                                 &record.bone_index_offset, &record.bone_weight_offset})
            if (*offset != kmg_absent)
                *offset += header.vertex_data_offset;
        record.index_offset += header.index_data_offset;
    }
    return true;
}

} // namespace kestrel
