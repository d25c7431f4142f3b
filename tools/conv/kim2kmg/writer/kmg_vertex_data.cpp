#include "tools/conv/kim2kmg/writer/kmg_writer_steps.h"
#include "tools/conv/kim2kmg/writer/uv_channels.h"
#include "tools/conv/kim2kmg/writer/vertex_packing.h"

#include <cstring>

namespace kestrel {

namespace {

// The streams that a piece's vertices are made of; those that the piece does not have are null.
struct vertex_streams_t {
    const kix_stream_t *position = nullptr;
    const kix_stream_t *normal = nullptr;
    const kix_stream_t *tangent = nullptr;
    const kix_stream_t *colour = nullptr;
    const kix_stream_t *factor = nullptr;
    std::array<const kix_stream_t *, kmg_max_uv_channels> uv{};
};

bool find_streams(const kmg_writer_t &writer, const kix_piece_t &piece, const kmg_piece_t &record,
                  vertex_streams_t &streams) {
    const auto require = [&](std::string_view tag, stream_format_t format, const kix_stream_t *&stream) {
        stream = piece.find_stream(tag);
        if (stream && stream->format() == format)
            return true;
        return msg_error("[kim2kmg] %s: unavailable/incorrect format %s stream in piece %u.",
                         writer.source_name(), tag.data(), piece.index);
    };
    if (!require(position_tag, stream_format_t::float3, streams.position) ||
        !require(normal_tag, stream_format_t::float3, streams.normal))
        return false;
    streams.tangent = writer.tangents ? piece.find_stream(tangent_tag) : nullptr;
    if (streams.tangent && streams.tangent->format() != stream_format_t::float4)
        return msg_error("[kim2kmg] %s: incorrect %s stream format in piece %u.", writer.source_name(),
                         tangent_tag.data(), piece.index);
    if (!require(colour_tag, stream_format_t::float4, streams.colour))
        return false;
    for (uint32_t channel = 0; channel < record.uv_channel_count; ++channel)
        if (!require(uv_tags[channel], stream_format_t::float2, streams.uv[channel]))
            return false;
    return record.factor_offset == kmg_absent || require(factor_tag, stream_format_t::float4, streams.factor);
}

// A piece's vertex data in memory, filled field by field. Vertices come in the order given, in their own when
// it is empty.
class interleaver_t {
  public:
    interleaver_t(std::span<std::byte> vertices, const kmg_piece_t &record,
                  std::span<const skinned_vertex_t> order)
        : vertices_(vertices), record_(record), order_(order) {}

    // Items of N bytes.
    template <size_t N>
    void copy(const kix_stream_t &stream, uint32_t offset) const {
        const std::byte *const items = stream.bytes().data();
        for_each_vertex(offset, [items](std::byte *place, uint32_t, uint32_t source) {
            std::memcpy(place, items + source * N, N);
        });
    }
    template <class pack_t>
    void pack(const kix_stream_t &stream, uint32_t offset, pack_t pack_item) const {
        const auto items = stream.items_as<std::array<float, 4>>();
        for_each_vertex(offset, [&](std::byte *place, uint32_t, uint32_t source) {
            const std::array<uint8_t, 4> bytes = pack_item(items[source]);
            std::memcpy(place, bytes.data(), bytes.size());
        });
    }
    void copy_influences(std::span<const influence_set_t> sets) const {
        for_each_vertex(record_.bone_index_offset, [&](std::byte *place, uint32_t vertex, uint32_t) {
            const influence_set_t &set = sets[order_[vertex].set];
            std::memcpy(place, set.bones.data(), set.bones.size());
            std::memcpy(place + set.bones.size(), set.weights.data(), set.weights.size());
        });
    }

  private:
    template <class visit_t>
    void for_each_vertex(uint32_t offset, visit_t visit) const {
        std::byte *place = vertices_.data() + (offset - record_.position_offset);
        for (uint32_t vertex = 0; vertex < record_.vertex_count; ++vertex) {
            visit(place, vertex, order_.empty() ? vertex : order_[vertex].source);
            place += record_.vertex_stride;
        }
    }

    std::span<std::byte> vertices_;
    const kmg_piece_t &record_;
    std::span<const skinned_vertex_t> order_;
};

} // namespace

bool write_vertex_data(const kmg_writer_t &writer, size_t i, piece_buffers_t &buffers, file_t &destination) {
    const kmg_piece_t &record = writer.pieces[i];
    vertex_streams_t streams;
    if (!find_streams(writer, *writer.piece_order[i], record, streams))
        return false;
    array_dyn_t<std::byte> &vertices = buffers.bytes;
    vertices.resize(size_t{record.vertex_stride} * record.vertex_count);
    const interleaver_t fill(vertices.items(), record, writer.vertex_orders[i].items());
    fill.copy<12>(*streams.position, record.position_offset);
    fill.copy<12>(*streams.normal, record.normal_offset);
    if (streams.tangent)
        fill.copy<16>(*streams.tangent, record.tangent_offset);
    fill.pack(*streams.colour, record.colour_offset, pack_colour);
    if (streams.factor)
        fill.pack(*streams.factor, record.factor_offset, pack_factors);
    for (uint32_t channel = 0; channel < record.uv_channel_count; ++channel)
        fill.copy<8>(*streams.uv[channel], record.uv_offset + 8 * channel);
    if (writer.has_bones())
        fill.copy_influences(writer.skin.influence_sets());
    if (writer.spends_streams())
        for (kix_stream_t *stream : writer.piece_order[i]->streams)
            stream->release();
    return destination.write(vertices.items()) || write_failed(destination, "piece attributes");
}

bool write_index_data(const kmg_writer_t &writer, size_t i, piece_buffers_t &buffers, file_t &destination) {
    const kix_piece_t &piece = *writer.piece_order[i];
    array_dyn_t<uint16_t> &positions = buffers.positions;
    positions.resize(piece.vertex_count);
    const auto order = writer.vertex_orders[i].items();
    for (uint32_t vertex = 0; vertex < piece.vertex_count; ++vertex)
        positions[order.empty() ? vertex : order[vertex].source] = static_cast<uint16_t>(vertex);

    array_dyn_t<std::byte> &indices = buffers.bytes;
    const auto triangles = piece.triangles->items_as<triangle_t>();
    indices.resize(triangles.size() * 3 * sizeof(uint16_t));
    std::byte *place = indices.data();
    for (const triangle_t &triangle : triangles) {
        for (const uint32_t corner : triangle.corners) {
            little_endian::put(place, positions.data()[corner]);
            place += sizeof(uint16_t);
        }
    }
    if (writer.spends_streams())
        piece.triangles->release();
    return (destination.write(indices.items()) || write_failed(destination, "index data")) &&
           write_padding(indices.size(), destination);
}

} // namespace kestrel
