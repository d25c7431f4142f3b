#pragma once

// A text model (.kim) in memory: its paragraphs as written; counts, indices and texts are the file's own. The
// parser builds it, the passes change it in place, the writer reads it.

#include "kcore/strings/string.h"
#include "tools/conv/intermediate/kim_skin.h"
#include "tools/conv/intermediate/kix_stream.h"

namespace kestrel {

// The counts that the file declares about itself.
struct kim_global_t : kix_object_t {
    uint32_t vertex_count = 0;
    uint32_t triangle_count = 0;
    uint32_t material_count = 0;
    uint32_t piece_count = 0;
    uint32_t part_count = 0;
    uint32_t bone_count = 0;
    uint32_t locator_count = 0;
    name_t skeleton; // file name of the skeleton, relative to the model's folder
    uint32_t piece_skin_count = 0;
};

// A material's number is its position among the model's materials.
struct kix_material_t : kix_object_t {
    name_t alias;
    name_t effect;
};

struct kix_piece_t : kix_object_t {
    array_dyn_t<kix_stream_t *> streams; // each holds vertex_count items
    uint32_t index = 0;                  // as written, shown in messages
    uint32_t material = 0;               // position among the model's materials; not checked by the parser
    uint32_t vertex_count = 0;
    uint32_t triangle_count = 0;
    uint32_t stream_count = 0;
    // int3 items, triangle_count of them; corners are not checked by the parser
    kix_stream_t *triangles = nullptr;

    // The first stream with this tag, letter case included; none when there is none.
    kix_stream_t *find_stream(std::string_view stream_tag) const {
        for (kix_stream_t *stream : streams)
            if (stream->tag.view() == stream_tag)
                return stream;
        return nullptr;
    }
};

struct kix_part_t : kix_object_t {
    name_t name;
    uint32_t piece_count = 0;     // as declared; not compared with the list
    array_dyn_t<uint32_t> pieces; // positions among the model's pieces; not checked by the parser
    uint32_t locator_count = 0;
    array_dyn_t<uint32_t> locators;
};

struct kim_locator_t : kix_object_t {
    name_t name;
    name_t hookup; // empty when absent
    uint32_t index = 0;
    float3_t position{};
    float rotation[4] = {}; // in file order
    float3_t scale{};
};

struct kim_t : kix_object_t {
    kix_header_t *header = nullptr;
    kim_global_t *global = nullptr;
    kim_skin_t *skin = nullptr;                  // the model has this or piece skins, never both
    array_dyn_t<kim_piece_skin_t *> piece_skins; // entry i skins piece i
    string_dyn_t source_name;                    // the input file's display name
    array_dyn_t<kix_piece_t *> pieces;
    array_dyn_t<kix_part_t *> parts;
    array_dyn_t<kim_locator_t *> locators;
    array_dyn_t<kix_material_t *> materials;
    array_dyn_t<string_dyn_t> bone_names;

    bool has_skinning() const { return skin || !piece_skins.empty(); }
    // None for a number outside the materials.
    const kix_material_t *material_of(const kix_piece_t &piece) const {
        return piece.material < materials.size() ? materials[piece.material] : nullptr;
    }
};

} // namespace kestrel
