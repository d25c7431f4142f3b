#pragma once

// The paragraphs that a text model is made of, as written; counts, indices and texts are the file's own.

#include "tools/conv/intermediate/kix_stream.h"

namespace kestrel {

struct kix_header_t : kix_object_t {
    uint32_t format_version = 0;
    name_t source;
    name_t type;
    name_t name;
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
    kix_stream_t *triangles =
        nullptr; // int3 items, triangle_count of them; corners are not checked by the parser

    // The first stream with this tag, letter case included; none when there is none.
    kix_stream_t *find_stream(std::string_view stream_tag) const;
};

struct kix_part_t : kix_object_t {
    name_t name;
    uint32_t piece_count = 0;     // as declared; not compared with the list
    array_dyn_t<uint32_t> pieces; // positions among the model's pieces; not checked by the parser
    uint32_t locator_count = 0;
    array_dyn_t<uint32_t> locators;
};

} // namespace kestrel
