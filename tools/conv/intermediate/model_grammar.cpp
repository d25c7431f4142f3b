#include "tools/conv/intermediate/model_grammar.h"

namespace kestrel {

static constexpr uint32_t model_format_version = 5;

bool model_grammar_t::parse() {
    if (!header(model_.header))
        return false;
    if (model_.header->format_version != model_format_version)
        return fail("unsupported FormatVersion");
    // What follows the last paragraph is looked at only when it may be another one, so a Skin paragraph's own
    // end is where the totals of its model are checked.
    return global() && body() && final_checks() && expect(token_kind_t::end_of_input);
}

bool model_grammar_t::global() {
    kim_global_t fields;
    if (!open("GLOBAL"_kw) || !integer_field("VERTEXCOUNT"_kw, fields.vertex_count) ||
        !integer_field("TRIANGLECOUNT"_kw, fields.triangle_count) ||
        !integer_field("MATERIALCOUNT"_kw, fields.material_count) ||
        !integer_field("PIECECOUNT"_kw, fields.piece_count) ||
        !integer_field("PARTCOUNT"_kw, fields.part_count) ||
        !integer_field("BONECOUNT"_kw, fields.bone_count) ||
        !integer_field("LOCATORCOUNT"_kw, fields.locator_count) ||
        !text_field("SKELETON"_kw, fields.skeleton))
        return false;
    if (next_is("PIECESKINCOUNT"_kw) && !integer_field("PIECESKINCOUNT"_kw, fields.piece_skin_count))
        return false;
    if (!close() || !create(model_.global))
        return false;
    kim_global_t &global = *model_.global;
    global.vertex_count = fields.vertex_count;
    global.triangle_count = fields.triangle_count;
    global.material_count = fields.material_count;
    global.piece_count = fields.piece_count;
    global.part_count = fields.part_count;
    global.bone_count = fields.bone_count;
    global.locator_count = fields.locator_count;
    global.skeleton = fields.skeleton;
    global.piece_skin_count = fields.piece_skin_count;
    return true;
}

bool model_grammar_t::body() {
    const bool has_pieces = next_is("MATERIAL"_kw);
    if (has_pieces) {
        do {
            if (!material())
                return false;
        } while (next_is("MATERIAL"_kw));
        do {
            if (!piece())
                return false;
        } while (next_is("PIECE"_kw));
    }
    do {
        if (!part())
            return false;
    } while (next_is("PART"_kw));
    const bool has_locators = next_is("LOCATOR"_kw);
    while (next_is("LOCATOR"_kw))
        if (!locator())
            return false;
    if (next_is("BONES"_kw))
        return bones_and_skin();
    return has_pieces || has_locators || syntax_error();
}

bool model_grammar_t::material() {
    uint32_t unused = 0;
    name_t alias;
    name_t effect;
    if (!open("MATERIAL"_kw))
        return false;
    if (next_is("INDEX"_kw) && !integer_field("INDEX"_kw, unused))
        return false;
    if (!text_field("ALIAS"_kw, alias) || !text_field("EFFECT"_kw, effect) || !close())
        return false;
    kix_material_t *material;
    if (!create(material))
        return false;
    material->alias = alias;
    material->effect = effect;
    return model_.materials.push_back(material) || no_memory();
}

bool model_grammar_t::piece() {
    uint32_t index = 0, material = 0, vertex_count = 0, triangle_count = 0, stream_count = 0;
    if (!open("PIECE"_kw) || !integer_field("INDEX"_kw, index) || !integer_field("MATERIAL"_kw, material) ||
        !integer_field("VERTEXCOUNT"_kw, vertex_count) ||
        !integer_field("TRIANGLECOUNT"_kw, triangle_count) || !integer_field("STREAMCOUNT"_kw, stream_count))
        return false;
    kix_piece_t *piece;
    if (!create(piece))
        return false;
    piece->index = index;
    piece->material = material;
    piece->vertex_count = vertex_count;
    piece->triangle_count = triangle_count;
    piece->stream_count = stream_count;
    do {
        if (!stream(*piece))
            return false;
    } while (next_is("STREAM"_kw));
    if (!triangles(*piece) || !close())
        return false;
    if (piece->streams.size() != piece->stream_count)
        return fail("incorrect number of Piece streams");
    return model_.pieces.push_back(piece) || no_memory();
}

bool model_grammar_t::stream(kix_piece_t &piece) {
    stream_format_t stream_format = stream_format_t::none;
    name_t tag;
    if (!open("STREAM"_kw) || !format(stream_format) || !text_field("TAG"_kw, tag))
        return false;
    kix_stream_t *stream;
    if (!create(stream))
        return false;
    stream->tag = tag;
    stream->allocate(stream_format, piece.vertex_count, scanner_.bytes_left());
    if (next_is("ALIASCOUNT"_kw) && !aliases(*stream))
        return false;
    if (!items(*stream, tuple_t::any) || !close())
        return false;
    if (stream->count() != piece.vertex_count)
        return fail("mismatching Stream item count and VertexCount");
    return piece.streams.push_back(stream) || no_memory();
}

bool model_grammar_t::aliases(kix_stream_t &stream) {
    if (!integer_field("ALIASCOUNT"_kw, stream.alias_count) || !label("ALIASES"_kw))
        return false;
    while (next_is(token_kind_t::string)) {
        take();
        if (!stream.aliases.emplace_back(scanner_.string()))
            return no_memory();
    }
    return stream.aliases.size() == stream.alias_count || fail("incorrect number of Stream aliases");
}

bool model_grammar_t::triangles(kix_piece_t &piece) {
    if (!open("TRIANGLES"_kw))
        return false;
    kix_stream_t *triangles;
    if (!create(triangles))
        return false;
    triangles->allocate(stream_format_t::int3, piece.triangle_count, scanner_.bytes_left());
    if (!items(*triangles, tuple_t::integers + 3) || !close())
        return false;
    if (triangles->count() != piece.triangle_count)
        return fail("invalid number of Triangles elements");
    piece.triangles = triangles;
    return true;
}

bool model_grammar_t::part() {
    name_t name;
    uint32_t piece_count = 0, locator_count = 0;
    if (!open("PART"_kw) || !text_field("NAME"_kw, name) || !integer_field("PIECECOUNT"_kw, piece_count) ||
        !integer_field("LOCATORCOUNT"_kw, locator_count))
        return false;
    kix_part_t *part;
    if (!create(part))
        return false;
    part->name = name;
    part->piece_count = piece_count;
    part->locator_count = locator_count;
    if (!positions("PIECES"_kw, part->pieces) || !positions("LOCATORS"_kw, part->locators) || !close())
        return false;
    return model_.parts.push_back(part) || no_memory();
}

bool model_grammar_t::positions(token_kind_t keyword, array_t<uint32_t> &list) {
    if (!label(keyword))
        return false;
    while (next_is(token_kind_t::integer)) {
        take();
        if (!list.push_back(scanner_.integer()))
            return no_memory();
    }
    return true;
}

bool model_grammar_t::locator() {
    name_t name, hookup;
    uint32_t index = 0;
    float position[3], rotation[4], scale[3];
    if (!open("LOCATOR"_kw) || !text_field("NAME"_kw, name))
        return false;
    if (next_is("HOOKUP"_kw) && !text_field("HOOKUP"_kw, hookup))
        return false;
    if (!integer_field("INDEX"_kw, index) || !label("POSITION"_kw) || !reals(position) ||
        !label("ROTATION"_kw) || !reals(rotation) || !label("SCALE"_kw) || !reals(scale) || !close())
        return false;
    kim_locator_t *locator;
    if (!create(locator))
        return false;
    locator->name = name;
    locator->hookup = hookup;
    locator->index = index;
    locator->position = {position[0], position[1], position[2]};
    std::copy(std::begin(rotation), std::end(rotation), locator->rotation);
    locator->scale = {scale[0], scale[1], scale[2]};
    return model_.locators.push_back(locator) || no_memory();
}

bool model_grammar_t::bones() {
    if (!open("BONES"_kw))
        return false;
    kix_stream_t *names;
    if (!create(names))
        return false;
    const uint32_t bone_count = model_.global->bone_count;
    names->allocate(stream_format_t::string, bone_count, scanner_.bytes_left());
    if (!next_is(token_kind_t::integer))
        return syntax_error();
    if (!items(*names, tuple_t::strings + 1) || !close())
        return false;
    if (names->count() != bone_count)
        return fail("invalid number of Bones elements");
    for (uint32_t i = 0; i < bone_count; ++i)
        if (!model_.bone_names.emplace_back(reinterpret_cast<const char *>(names->item(i).data())))
            return no_memory();
    names->release();
    return true;
}

bool model_grammar_t::bones_and_skin() {
    if (!bones())
        return false;
    if (next_is("SKIN"_kw))
        return skin();
    do {
        if (!piece_skin())
            return false;
    } while (next_is("PIECESKIN"_kw));
    return true;
}

bool model_grammar_t::final_checks() {
    const kim_global_t &global = *model_.global;
    if (global.piece_count != model_.pieces.size())
        return fail("mismatching Piece count");
    if (global.part_count != model_.parts.size())
        return fail("mismatching Part count");
    if (global.locator_count != model_.locators.size())
        return fail("mismatching Locator count");
    if (global.piece_skin_count != model_.piece_skins.size())
        return fail("mismatching Piece Skin count");
    if (!model_.piece_skins.empty() && model_.pieces.size() != model_.piece_skins.size())
        return fail(
            "if defined PieceSkin, the paragraph count of PieceSkins and Pieces are expected to be the same");
    // Sums of 32-bit counts, compared as what they are rather than modulo 2^32.
    uint64_t vertices = 0;
    uint64_t triangles = 0;
    for (const kix_piece_t *piece : model_.pieces) {
        vertices += piece->vertex_count;
        triangles += piece->triangle_count;
    }
    if (vertices != global.vertex_count)
        return fail("mismatching VertexCount count");
    if (triangles != global.triangle_count)
        return fail("mismatching TriangleCount count");
    return true;
}

} // namespace kestrel
