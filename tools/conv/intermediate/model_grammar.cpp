// The grammar of text models (.kim).
//
//     Header, Global, then
//     either Material+ Piece+ Part+ [tail]  or  Part+ tail
//     tail: Locator+ [Bones skin]  or  Bones skin
//     skin: Skin  or  PieceSkin+
//
// Objects are created and attached in the order of the text; the declared counts are compared with what was
// read where a paragraph closes and, for the model's totals, at the end.

#include "tools/conv/intermediate/parse_file.h"
#include "tools/conv/intermediate/skin_grammar.h"

namespace kestrel {

namespace {

constexpr uint32_t model_format_version = 5;

class model_grammar_t : private skin_grammar_t {
  public:
    model_grammar_t(scanner_t &scanner, owner_list_t &owners, kim_t &model)
        : skin_grammar_t(scanner, owners, model) {}

    bool parse() {
        // What follows the last paragraph is looked at only when it may be another one, so a Skin paragraph's
        // own end is where the totals of its model are checked.
        return header(model_.header) &&
               check(model_.header->format_version == model_format_version, "unsupported FormatVersion",
                     model_.header->format_version, model_format_version) &&
               global() && body() && final_checks() && expect(token_kind_t::end_of_input);
    }

  private:
    bool global() {
        kim_global_t &global = *(model_.global = create<kim_global_t>());
        return open("GLOBAL"_kw) && integer_field("VERTEXCOUNT"_kw, global.vertex_count) &&
               integer_field("TRIANGLECOUNT"_kw, global.triangle_count) &&
               integer_field("MATERIALCOUNT"_kw, global.material_count) &&
               integer_field("PIECECOUNT"_kw, global.piece_count) &&
               integer_field("PARTCOUNT"_kw, global.part_count) &&
               integer_field("BONECOUNT"_kw, global.bone_count) &&
               integer_field("LOCATORCOUNT"_kw, global.locator_count) &&
               text_field("SKELETON"_kw, global.skeleton) &&
               (!next_is("PIECESKINCOUNT"_kw) ||
                integer_field("PIECESKINCOUNT"_kw, global.piece_skin_count)) &&
               close();
    }

    bool body() {
        const bool has_pieces = next_is("MATERIAL"_kw);
        if (has_pieces && (!one_or_more("MATERIAL"_kw, [&] { return material(); }) ||
                           !one_or_more("PIECE"_kw, [&] { return piece(); })))
            return false;
        if (!one_or_more("PART"_kw, [&] { return part(); }))
            return false;
        const bool has_locators = next_is("LOCATOR"_kw);
        if (has_locators && !one_or_more("LOCATOR"_kw, [&] { return locator(); }))
            return false;
        if (next_is("BONES"_kw))
            return bones() &&
                   (next_is("SKIN"_kw) ? skin() : one_or_more("PIECESKIN"_kw, [&] { return piece_skin(); }));
        return has_pieces || has_locators || syntax_error();
    }

    bool material() {
        auto *const material = create<kix_material_t>();
        uint32_t unused = 0;
        if (!open("MATERIAL"_kw) || (next_is("INDEX"_kw) && !integer_field("INDEX"_kw, unused)) ||
            !text_field("ALIAS"_kw, material->alias) || !text_field("EFFECT"_kw, material->effect) ||
            !close())
            return false;
        model_.materials.push_back(material);
        return true;
    }

    bool piece() {
        auto *const piece = create<kix_piece_t>();
        if (!open("PIECE"_kw) || !integer_field("INDEX"_kw, piece->index) ||
            !integer_field("MATERIAL"_kw, piece->material) ||
            !integer_field("VERTEXCOUNT"_kw, piece->vertex_count) ||
            !integer_field("TRIANGLECOUNT"_kw, piece->triangle_count) ||
            !integer_field("STREAMCOUNT"_kw, piece->stream_count) ||
            !one_or_more("STREAM"_kw, [&] { return stream(*piece); }) || !triangles(*piece) || !close() ||
            !check(piece->streams.size() == piece->stream_count, "incorrect number of Piece streams",
                   piece->stream_count, piece->streams.size()))
            return false;
        model_.pieces.push_back(piece);
        return true;
    }

    bool stream(kix_piece_t &piece) {
        auto *const stream = create<kix_stream_t>();
        stream_format_t stream_format = stream_format_t::none;
        if (!open("STREAM"_kw) || !format(stream_format) || !text_field("TAG"_kw, stream->tag))
            return false;
        stream->allocate(stream_format, piece.vertex_count, scanner_.bytes_left());
        if ((next_is("ALIASCOUNT"_kw) && !aliases(*stream)) || !items(*stream) || !close() ||
            !check(stream->count() == piece.vertex_count, "mismatching Stream item count and VertexCount",
                   piece.vertex_count, stream->count()))
            return false;
        piece.streams.push_back(stream);
        return true;
    }

    bool aliases(kix_stream_t &stream) {
        if (!integer_field("ALIASCOUNT"_kw, stream.alias_count) || !label("ALIASES"_kw))
            return false;
        for (; next_is(token_kind_t::string); take())
            stream.aliases.emplace_back(scanner_.string());
        return check(stream.aliases.size() == stream.alias_count, "incorrect number of Stream aliases",
                     stream.alias_count, stream.aliases.size());
    }

    bool triangles(kix_piece_t &piece) {
        if (!open("TRIANGLES"_kw))
            return false;
        auto *const triangles = create<kix_stream_t>();
        triangles->allocate(stream_format_t::int3, piece.triangle_count, scanner_.bytes_left());
        piece.triangles = triangles;
        return items(*triangles, token_kind_t::integer, 3) && close() &&
               check(triangles->count() == piece.triangle_count, "invalid number of Triangles elements",
                     piece.triangle_count, triangles->count());
    }

    bool part() {
        auto *const part = create<kix_part_t>();
        if (!open("PART"_kw) || !text_field("NAME"_kw, part->name) ||
            !integer_field("PIECECOUNT"_kw, part->piece_count) ||
            !integer_field("LOCATORCOUNT"_kw, part->locator_count) || !positions("PIECES"_kw, part->pieces) ||
            !positions("LOCATORS"_kw, part->locators) || !close())
            return false;
        model_.parts.push_back(part);
        return true;
    }

    bool positions(token_kind_t keyword, array_dyn_t<uint32_t> &list) {
        if (!label(keyword))
            return false;
        for (; next_is(token_kind_t::integer); take())
            list.push_back(scanner_.integer());
        return true;
    }

    bool locator() {
        auto *const locator = create<kim_locator_t>();
        float position[3], scale[3];
        if (!open("LOCATOR"_kw) || !text_field("NAME"_kw, locator->name) ||
            (next_is("HOOKUP"_kw) && !text_field("HOOKUP"_kw, locator->hookup)) ||
            !integer_field("INDEX"_kw, locator->index) || !label("POSITION"_kw) || !reals(position) ||
            !label("ROTATION"_kw) || !reals(locator->rotation) || !label("SCALE"_kw) || !reals(scale) ||
            !close())
            return false;
        locator->position = {position[0], position[1], position[2]};
        locator->scale = {scale[0], scale[1], scale[2]};
        model_.locators.push_back(locator);
        return true;
    }

    bool bones() {
        if (!open("BONES"_kw))
            return false;
        auto *const names = create<kix_stream_t>();
        const uint32_t bone_count = model_.global->bone_count;
        names->allocate(stream_format_t::string, bone_count, scanner_.bytes_left());
        if (!next_is(token_kind_t::integer))
            return syntax_error();
        if (!items(*names, token_kind_t::string, 1) || !close() ||
            !check(names->count() == bone_count, "invalid number of Bones elements", bone_count,
                   names->count()))
            return false;
        for (uint32_t i = 0; i < bone_count; ++i)
            model_.bone_names.emplace_back(reinterpret_cast<const char *>(names->item(i).data()));
        names->release();
        return true;
    }

    bool final_checks() {
        const kim_global_t &global = *model_.global;
        const size_t piece_skins = model_.piece_skins.size();
        // Sums of 32-bit counts, compared as what they are rather than modulo 2^32.
        uint64_t vertices = 0;
        uint64_t triangles = 0;
        for (const kix_piece_t *piece : model_.pieces) {
            vertices += piece->vertex_count;
            triangles += piece->triangle_count;
        }
        const auto same = [&](uint64_t declared, uint64_t found, const char *message) {
            return check(declared == found, message, declared, found);
        };
        return same(global.piece_count, model_.pieces.size(), "mismatching Piece count") &&
               same(global.part_count, model_.parts.size(), "mismatching Part count") &&
               same(global.locator_count, model_.locators.size(), "mismatching Locator count") &&
               same(global.piece_skin_count, piece_skins, "mismatching Piece Skin count") &&
               check(piece_skins == 0 || piece_skins == model_.pieces.size(),
                     "if defined PieceSkin, the paragraph count of PieceSkins and Pieces are expected to be "
                     "the "
                     "same",
                     piece_skins, model_.pieces.size()) &&
               same(global.vertex_count, vertices, "mismatching VertexCount count") &&
               same(global.triangle_count, triangles, "mismatching TriangleCount count");
    }
};

} // namespace

kim_t *parse_model(scanner_t &scanner, owner_list_t &owners) {
    kim_t *const model = owners.create<kim_t>();
    return model_grammar_t(scanner, owners, *model).parse() && !scanner.failed() ? model : nullptr;
}

} // namespace kestrel
