#pragma once

// Meshes as plain values, and models of one piece a mesh: what the tests of the passes compare.

#include "tools/conv/intermediate/kim_model.h"

#include <gtest/gtest.h>

#include <array>
#include <vector>

namespace kestrel {

struct mesh_t {
    std::vector<std::array<float, 3>> positions;
    std::vector<std::array<uint32_t, 3>> triangles;

    bool operator==(const mesh_t &) const = default;
};

// The source is "m.kim"; all pieces have the index 7 and the material 'paint' with effect 'rvk2.dif'.
struct mesh_model_t {
    owner_list_t owners;
    kim_t &model = *owners.create<kim_t>();

    explicit mesh_model_t(const std::vector<mesh_t> &meshes) {
        model.source_name.assign("m.kim");
        model.materials.push_back(owners.create<kix_material_t>());
        model.materials[0]->alias.assign("paint");
        model.materials[0]->effect.assign("rvk2.dif");
        for (const mesh_t &mesh : meshes)
            add_piece(mesh);
    }

    kix_stream_t *make_stream(std::string_view tag, stream_format_t format,
                              std::span<const std::byte> items) {
        auto *stream = owners.create<kix_stream_t>();
        stream->tag.assign(tag);
        stream->allocate(format, static_cast<uint32_t>(items.size() / item_size_of(format)));
        stream->append_items(items);
        return stream;
    }
    void add_stream(kix_piece_t &piece, kix_stream_t *stream) {
        piece.streams.push_back(stream);
        ++piece.stream_count;
    }
    void add_part(std::initializer_list<uint32_t> pieces) {
        auto *part = owners.create<kix_part_t>();
        part->piece_count = static_cast<uint32_t>(pieces.size());
        for (const uint32_t piece : pieces)
            part->pieces.push_back(piece);
        model.parts.push_back(part);
    }

    mesh_t mesh(size_t number) const {
        const kix_piece_t &piece = *model.pieces[number];
        EXPECT_EQ(piece.triangles->count(), piece.triangle_count);
        EXPECT_EQ(piece.streams.size(), piece.stream_count);
        mesh_t mesh;
        for (const auto &position : piece.streams[0]->items_as<std::array<float, 3>>())
            mesh.positions.push_back(position);
        for (const auto &[corners] : piece.triangles->items_as<triangle_t>())
            mesh.triangles.push_back({corners[0], corners[1], corners[2]});
        EXPECT_EQ(mesh.positions.size(), piece.vertex_count);
        return mesh;
    }
    std::vector<mesh_t> meshes() const {
        std::vector<mesh_t> all;
        for (size_t i = 0; i < model.pieces.size(); ++i)
            all.push_back(mesh(i));
        return all;
    }

  private:
    void add_piece(const mesh_t &mesh) {
        auto *piece = owners.create<kix_piece_t>();
        piece->index = 7;
        piece->vertex_count = static_cast<uint32_t>(mesh.positions.size());
        piece->triangle_count = static_cast<uint32_t>(mesh.triangles.size());
        add_stream(*piece, make_stream(position_tag, stream_format_t::float3,
                                       std::as_bytes(std::span(mesh.positions))));
        piece->triangles = make_stream("", stream_format_t::int3, std::as_bytes(std::span(mesh.triangles)));
        model.pieces.push_back(piece);
    }
};

} // namespace kestrel
