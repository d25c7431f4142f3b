#include "tests/kmg/kmg_builder.h"

#include "kcore/strings/token.h"

#include <limits>
#include <stdexcept>

namespace kestrel {

uint64_t kmg_name(std::string_view name) {
    return token_t::from_string(name).value().value();
}

namespace {

template <class R>
void append_record(bytes_t &file, const R &record) {
    file.resize(file.size() + R::size);
    pack(record, std::span<std::byte, R::size>(file.data() + file.size() - R::size, R::size));
}
template <class T>
uint32_t append_value(bytes_t &file, const T &value) {
    const auto at = static_cast<uint32_t>(file.size());
    file.resize(file.size() + sizeof(T));
    little_endian::put(file.data() + at, value);
    return at;
}
void pad(bytes_t &file) {
    while (file.size() % 4 != 0)
        file.push_back(std::byte{});
}
uint32_t size_of(const bytes_t &file) {
    return static_cast<uint32_t>(file.size());
}

// Appends one vertex and notes in the record where its fields went.
void append_vertex(bytes_t &file, const piece_source_t &piece, const vertex_t &vertex, bool skinned,
                   kmg_piece_t &record) {
    record.uv_offset = record.factor_offset = record.tangent_offset = kmg_absent;
    record.bone_index_offset = record.bone_weight_offset = kmg_absent;
    record.position_offset = append_value(file, vertex.position);
    record.normal_offset = append_value(file, vertex.normal);
    if (piece.tangents)
        record.tangent_offset = append_value(file, vertex.tangent);
    record.colour_offset = append_value(file, vertex.colour);
    if (piece.factors)
        record.factor_offset = append_value(file, vertex.factor);
    if (piece.uv_channels != 0)
        record.uv_offset = size_of(file);
    for (uint32_t c = 0; c < piece.uv_channels; ++c)
        append_value(file, vertex.uv[c]);
    if (skinned) {
        record.bone_index_offset = append_value(file, vertex.bones);
        record.bone_weight_offset = append_value(file, vertex.weights);
    }
    record.vertex_stride = size_of(file) - record.position_offset;
}

void append_vertices(bytes_t &file, const piece_source_t &piece, bool skinned, kmg_piece_t &record) {
    kmg_piece_t ignored;
    for (size_t i = 0; i < piece.vertices.size(); ++i)
        append_vertex(file, piece, piece.vertices[i], skinned, i == 0 ? record : ignored);
}

vertex_t vertex_at(float x, float y, float z, kmg_bytes4_t bones = {},
                   kmg_bytes4_t weights = {255, 0, 0, 0}) {
    vertex_t vertex{{x, y, z}, {0, 0, 1}};
    vertex.bones = bones;
    vertex.weights = weights;
    return vertex;
}

kmg_bone_data_t bone_at(std::string_view name, uint8_t parent, float local_height, float height) {
    kmg_bone_data_t bone;
    bone.name = kmg_name(name);
    bone.matrix = {1, 0, 0, 0, 0, 1, 0, height, 0, 0, 1, 0, 0, 0, 0, 1};
    bone.inverse = {1, 0, 0, 0, 0, 1, 0, -height, 0, 0, 1, 0, 0, 0, 0, 1};
    bone.stretch_rotation = bone.rotation = {1, 0, 0, 0};
    bone.translation = {0, local_height, 0};
    bone.scale = {1, 1, 1};
    bone.sign = 1;
    bone.parent = parent;
    return bone;
}

} // namespace

kmg_source_t empty_source() {
    kmg_source_t source;
    source.header.box = {{3.4028235e38f, 3.4028235e38f, 3.4028235e38f},
                         {-3.4028235e38f, -3.4028235e38f, -3.4028235e38f}};
    source.parts = {{kmg_name("body"), 0, 0, 0, 0}};
    return source;
}

kmg_source_t small_source() {
    kmg_source_t source;
    source.header.skeleton_hash = 0x0123456789ABCDEF;
    source.header.sphere = {{1, 1, 0}, 2.4494898f}; // the square root of 6, to the last vertex
    source.header.box = {{0, 0, 0}, {2, 3, 1}};
    source.bones = {bone_at("root", kmg_no_parent, 1, 1), bone_at("head", 0, 2, 3)};
    source.parts = {{kmg_name("body"), 1, 0, 1, 0}, {kmg_name("hat"), 1, 1, 1, 1}};
    source.locators = {{kmg_name("hand"), {1, 2, 3}, 1, {1, 0, 0, 0}, 0},
                       {kmg_name("foot"), {0, 0, 0}, 1, {0, 1, 0, 0}, 0}};
    source.pool = std::string("slot/a\0", 7);

    piece_source_t body;
    body.sphere = {{1, 1, 0}, 1.4142135f};
    body.box = {{0, 0, 0}, {2, 2, 0}};
    body.vertices = {vertex_at(0, 0, 0), vertex_at(2, 0, 0),
                     vertex_at(2, 2, 0, {0, 1, 1, 1}, {100, 155, 0, 0}), vertex_at(0, 2, 0, {1, 1, 1, 1})};
    body.indices = {0, 1, 2, 0, 2, 3};

    piece_source_t hat;
    hat.material = 1;
    hat.tangents = hat.factors = true;
    hat.uv_channels = 2;
    hat.texture_coordinate_map = 0xFFFFFF10;
    hat.sphere = {{0.5f, 2.5f, 0.5f}, 0.8660254f};
    hat.box = {{0, 2, 0}, {1, 3, 1}};
    hat.vertices = {vertex_at(0, 2, 0, {1, 1, 1, 1}), vertex_at(1, 3, 0, {1, 1, 1, 1}),
                    vertex_at(0, 3, 1, {1, 1, 1, 1})};
    hat.vertices[1].uv = {{{0.25f, 0.5f}, {0.75f, 1}}};
    hat.vertices[1].factor = {1, 2, 3, 4};
    hat.vertices[1].colour = {64, 128, 200, 77};
    hat.indices = {0, 1, 2};
    source.pieces = {body, hat};
    return source;
}

bytes_t build(kmg_source_t source) {
    const bool skinned = !source.bones.empty();
    kmg_header_t &header = source.header;
    header.signature = 0x4B6D6715;
    header.piece_count = static_cast<uint32_t>(source.pieces.size());
    header.part_count = static_cast<uint32_t>(source.parts.size());
    header.bone_count = static_cast<uint32_t>(source.bones.size());
    header.influence_count = skinned ? 4 : 0;
    header.locator_count = static_cast<uint32_t>(source.locators.size());

    bytes_t file(112);
    header.bones_offset = size_of(file);
    for (const auto &bone : source.bones)
        append_record(file, bone);
    header.parts_offset = size_of(file);
    for (const auto &part : source.parts)
        append_record(file, part);
    header.locators_offset = size_of(file);
    for (const auto &locator : source.locators)
        append_record(file, locator);
    header.pieces_offset = size_of(file);
    file.resize(file.size() + 100 * source.pieces.size());
    header.string_pool_offset = size_of(file);
    for (const char character : source.pool)
        file.push_back(static_cast<std::byte>(character));
    pad(file);
    header.string_pool_size = size_of(file) - header.string_pool_offset;

    header.vertex_data_offset = size_of(file);
    std::vector<kmg_piece_t> records;
    for (const piece_source_t &piece : source.pieces) {
        kmg_piece_t record;
        record.index_count = static_cast<uint32_t>(piece.indices.size());
        record.vertex_count = static_cast<uint32_t>(piece.vertices.size());
        record.texture_coordinate_map = piece.texture_coordinate_map;
        record.uv_channel_count = piece.uv_channels;
        record.material = piece.material;
        record.sphere = piece.sphere;
        record.box = piece.box;
        append_vertices(file, piece, skinned, record);
        records.push_back(record);
    }
    header.vertex_data_size = size_of(file) - header.vertex_data_offset;
    header.index_data_offset = size_of(file);
    for (size_t i = 0; i < records.size(); ++i) {
        records[i].index_offset = size_of(file);
        for (const uint16_t index : source.pieces[i].indices)
            append_value(file, index);
        pad(file);
    }
    header.index_data_size = size_of(file) - header.index_data_offset;

    pack(header, std::span<std::byte, 112>(file.data(), 112));
    for (size_t i = 0; i < records.size(); ++i)
        pack(records[i], std::span<std::byte, 100>(file.data() + header.pieces_offset + 100 * i, 100));
    return file;
}

template <class R>
static size_t byte_in(size_t section, size_t index, std::string_view field) {
    const R record{};
    size_t byte = 0;
    R::visit(record, [&](size_t offset, const char *name, const auto &) {
        if (field == name)
            byte = section + index * R::size + offset;
    });
    if (byte == 0 && field != "signature")
        throw std::logic_error("no such field: " + std::string(field));
    return byte;
}

size_t byte_of(std::span<const std::byte> file, kmg_record_kind_t kind, size_t index,
               std::string_view field) {
    const auto header = unpack<kmg_header_t>(file.first<kmg_header_t::size>());
    switch (kind) {
    case kmg_record_kind_t::bone:
        return byte_in<kmg_bone_data_t>(header.bones_offset, index, field);
    case kmg_record_kind_t::part:
        return byte_in<kmg_part_t>(header.parts_offset, index, field);
    case kmg_record_kind_t::locator:
        return byte_in<kmg_locator_t>(header.locators_offset, index, field);
    case kmg_record_kind_t::piece:
        return byte_in<kmg_piece_t>(header.pieces_offset, index, field);
    default:
        return byte_in<kmg_header_t>(0, 0, field);
    }
}

} // namespace kestrel
