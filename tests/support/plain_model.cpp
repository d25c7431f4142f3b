#include "tests/support/plain_model.h"

#include <gtest/gtest.h>

#include <bit>
#include <cstring>

namespace kestrel {

static bool same_weights(const plain_skin_item_t &a, const plain_skin_item_t &b) {
    return std::equal(a.weights.begin(), a.weights.end(), b.weights.begin(), b.weights.end(),
                      [](const auto &x, const auto &y) {
                          return x.first == y.first &&
                                 std::bit_cast<uint32_t>(x.second) == std::bit_cast<uint32_t>(y.second);
                      });
}

static bool operator==(const plain_skin_t &a, const plain_skin_t &b) {
    return a.piece_index == b.piece_index && a.vertex_items == b.vertex_items &&
           std::equal(a.items.begin(), a.items.end(), b.items.begin(), b.items.end(),
                      [](const plain_skin_item_t &x, const plain_skin_item_t &y) {
                          return same_weights(x, y) && x.position == y.position && x.vertices == y.vertices;
                      });
}

bool plain_model_t::operator==(const plain_model_t &other) const {
    return materials == other.materials && pieces == other.pieces && parts == other.parts &&
           piece_skins == other.piece_skins;
}

std::string bytes_of(std::initializer_list<float> values) {
    return {reinterpret_cast<const char *>(values.begin()), values.size() * sizeof(float)};
}

plain_stream_t position_stream(const std::vector<std::array<float, 3>> &positions) {
    plain_stream_t stream{std::string(position_tag), stream_format_t::float3, {}, {}};
    for (const auto &[x, y, z] : positions)
        stream.items.push_back(bytes_of({x, y, z}));
    return stream;
}

plain_model_t one_piece_model(const std::vector<std::array<float, 3>> &positions,
                              const std::vector<plain_triangle_t> &triangles) {
    plain_model_t model;
    model.materials = {{"paint", "rvk2.dif"}};
    const auto vertex_count = static_cast<uint32_t>(positions.size());
    model.pieces = {{7, 0, vertex_count, {position_stream(positions)}, triangles}};
    return model;
}

static std::span<const std::byte> bytes_in(const std::string &text) {
    return std::as_bytes(std::span(text.data(), text.size()));
}

static kix_stream_t *build_stream(const plain_stream_t &plain, owner_list_t &owners) {
    auto *stream = owners.create<kix_stream_t>();
    stream->tag.assign(plain.tag);
    stream->alias_count = static_cast<uint32_t>(plain.aliases.size());
    for (const std::string &alias : plain.aliases)
        stream->aliases.emplace_back(std::string_view(alias));
    stream->allocate(plain.format, static_cast<uint32_t>(plain.items.size()));
    for (const std::string &item : plain.items)
        stream->append_item(bytes_in(item));
    return stream;
}

static kix_piece_t *build_piece(const plain_piece_t &plain, owner_list_t &owners) {
    auto *piece = owners.create<kix_piece_t>();
    piece->index = plain.index;
    piece->material = plain.material;
    piece->vertex_count = plain.vertex_count;
    piece->triangle_count = static_cast<uint32_t>(plain.triangles.size());
    piece->stream_count = static_cast<uint32_t>(plain.streams.size());
    for (const plain_stream_t &stream : plain.streams)
        piece->streams.push_back(build_stream(stream, owners));
    piece->triangles = owners.create<kix_stream_t>();
    piece->triangles->allocate(stream_format_t::int3, piece->triangle_count);
    piece->triangles->append_items(std::as_bytes(std::span(plain.triangles)));
    return piece;
}

static kim_piece_skin_t *build_skin(const plain_skin_t &plain, owner_list_t &owners) {
    auto *skin = owners.create<kim_piece_skin_t>();
    skin->piece_index = plain.piece_index;
    for (uint32_t i = 0; i < plain.items.size(); ++i) {
        const plain_skin_item_t &item = plain.items[i];
        const auto [x, y, z] = item.position;
        skin->items.push_back({{x, y, z},
                               i,
                               static_cast<uint32_t>(skin->weights.size()),
                               static_cast<uint32_t>(item.weights.size()),
                               static_cast<uint32_t>(skin->vertex_indices.size()),
                               static_cast<uint32_t>(item.vertices.size())});
        for (const auto &[bone, weight] : item.weights)
            skin->weights.push_back({bone, weight});
        skin->vertex_indices.append(item.vertices);
    }
    skin->vertex_items.resize(skin->vertex_indices.size(), kim_piece_skin_t::no_item);
    for (uint32_t i = 0; i < plain.items.size(); ++i)
        for (const uint32_t vertex : plain.items[i].vertices)
            skin->vertex_items[vertex] = i;
    return skin;
}

kim_t &build_model(const plain_model_t &plain, owner_list_t &owners) {
    auto &model = *owners.create<kim_t>();
    model.source_name.assign("m.kim");
    for (const auto &[alias, effect] : plain.materials) {
        auto *material = owners.create<kix_material_t>();
        material->alias.assign(alias);
        material->effect.assign(effect);
        model.materials.push_back(material);
    }
    for (const plain_piece_t &piece : plain.pieces)
        model.pieces.push_back(build_piece(piece, owners));
    for (const plain_part_t &part : plain.parts) {
        auto *built = owners.create<kix_part_t>();
        built->piece_count = part.piece_count;
        built->pieces.append(part.pieces);
        model.parts.push_back(built);
    }
    for (const plain_skin_t &skin : plain.piece_skins)
        model.piece_skins.push_back(build_skin(skin, owners));
    return model;
}

static plain_stream_t copy_stream(const kix_stream_t &stream) {
    plain_stream_t copy{std::string(stream.tag.view()), stream.format(), {}, {}};
    EXPECT_EQ(stream.alias_count, stream.aliases.size());
    EXPECT_EQ(stream.item_size(), item_size_of(stream.format()));
    EXPECT_LE(stream.count(), stream.capacity());
    for (const string_dyn_t &alias : stream.aliases)
        copy.aliases.emplace_back(alias.view());
    for (uint32_t i = 0; i < stream.count(); ++i) {
        const auto item = stream.item(i);
        copy.items.emplace_back(reinterpret_cast<const char *>(item.data()), item.size());
    }
    return copy;
}

static plain_piece_t copy_piece(const kix_piece_t &piece) {
    plain_piece_t copy{piece.index, piece.material, piece.vertex_count, {}, {}};
    EXPECT_EQ(piece.stream_count, piece.streams.size());
    for (const kix_stream_t *stream : piece.streams) {
        EXPECT_EQ(stream->count(), piece.vertex_count);
        copy.streams.push_back(copy_stream(*stream));
    }
    EXPECT_EQ(piece.triangles->format(), stream_format_t::int3);
    EXPECT_EQ(piece.triangles->count(), piece.triangle_count);
    for (const auto &[corners] : piece.triangles->items_as<triangle_t>())
        copy.triangles.push_back({corners[0], corners[1], corners[2]});
    return copy;
}

static plain_skin_t copy_skin(const kim_piece_skin_t &skin) {
    plain_skin_t copy;
    copy.piece_index = skin.piece_index;
    size_t weights = 0, vertices = 0;
    for (const kim_piece_skin_item_t &item : skin.items) {
        EXPECT_EQ(item.item_index, copy.items.size());
        EXPECT_EQ(item.first_weight, weights);
        EXPECT_EQ(item.first_vertex_index, vertices);
        plain_skin_item_t &item_copy = copy.items.emplace_back();
        item_copy.position = {item.position.x, item.position.y, item.position.z};
        for (uint32_t i = 0; i < item.weight_count; ++i) {
            const kim_piece_skin_weight_t &weight = skin.weights[weights++];
            item_copy.weights.emplace_back(weight.bone, weight.weight);
        }
        for (uint32_t i = 0; i < item.vertex_index_count; ++i)
            item_copy.vertices.push_back(skin.vertex_indices[vertices++]);
    }
    EXPECT_EQ(weights, skin.weights.size());
    EXPECT_EQ(vertices, skin.vertex_indices.size());
    copy.vertex_items.assign(skin.vertex_items.begin(), skin.vertex_items.end());
    return copy;
}

plain_model_t plain_copy(const kim_t &model) {
    plain_model_t copy;
    for (const kix_material_t *material : model.materials)
        copy.materials.emplace_back(material->alias.view(), material->effect.view());
    for (const kix_piece_t *piece : model.pieces)
        copy.pieces.push_back(copy_piece(*piece));
    for (const kix_part_t *part : model.parts)
        copy.parts.push_back({part->piece_count, {part->pieces.begin(), part->pieces.end()}});
    for (const kim_piece_skin_t *skin : model.piece_skins)
        copy.piece_skins.push_back(copy_skin(*skin));
    return copy;
}

} // namespace kestrel
