#include "tools/conv/intermediate/skin_grammar.h"

namespace kestrel {

bool skin_grammar_t::skin() {
    uint32_t stream_count = 0;
    if (!open("SKIN"_kw) || !integer_field("STREAMCOUNT"_kw, stream_count))
        return false;
    kim_skin_t *skin;
    if (!create(skin))
        return false;
    skin->stream_count = stream_count;
    do {
        if (!skin_stream(*skin))
            return false;
    } while (next_is("SKINSTREAM"_kw));
    if (!close())
        return false;
    if (skin->streams.size() != stream_count)
        return fail("incorrect number of Skin streams");
    model_.skin = skin;
    return true;
}

bool skin_grammar_t::skin_stream(kim_skin_t &skin) {
    stream_format_t stream_format = stream_format_t::none;
    name_t tag;
    uint32_t item_count = 0, weight_count = 0, clone_count = 0;
    if (!open("SKINSTREAM"_kw) || !format(stream_format) || !text_field("TAG"_kw, tag) ||
        !integer_field("ITEMCOUNT"_kw, item_count) || !integer_field("TOTALWEIGHTCOUNT"_kw, weight_count) ||
        !integer_field("TOTALCLONECOUNT"_kw, clone_count))
        return false;
    kim_skin_stream_t *stream;
    if (!create(stream))
        return false;
    // Nothing compares the counts with what comes, and there may be many such streams: none takes storage
    // ahead.
    constexpr size_t no_bytes_ahead = 0;
    stream->initialise(stream_format, item_count, weight_count, clone_count, no_bytes_ahead);
    stream->tag = tag;
    uint32_t index = 0;
    do {
        if (!skin_item(*stream, index++))
            return false;
    } while (next_is(token_kind_t::integer));
    return close() && (skin.streams.push_back(stream) || no_memory());
}

bool skin_grammar_t::skin_item(kim_skin_stream_t &stream, uint32_t expected_index) {
    uint32_t index = 0;
    tuple_t value;
    if (!integer(index) || !expect(token_kind_t::left_parenthesis) || !tuple(value))
        return false;
    if (index != expected_index)
        return fail("inconsistent SkinStream item order");
    if (!stream.add_item(value.data))
        return fail("inconsistent SkinStream item type/count");
    return skin_weights(stream) && skin_clones(stream) && expect(token_kind_t::right_parenthesis);
}

bool skin_grammar_t::skin_weights(kim_skin_stream_t &stream) {
    uint32_t count = 0;
    if (!integer_field("WEIGHTS"_kw, count))
        return false;
    stream.set_weight_count(count);
    if (!next_is(token_kind_t::integer))
        return count == 0 || fail("invalid Weights count");
    while (next_is(token_kind_t::integer)) {
        const uint32_t bone = scanner_.integer();
        float weight = 0;
        take();
        if (!weight_value(weight))
            return false;
        if (!stream.add_weight(bone, weight))
            return fail("cannot add weight pair");
    }
    return true;
}

bool skin_grammar_t::skin_clones(kim_skin_stream_t &stream) {
    uint32_t count = 0;
    if (!integer_field("CLONES"_kw, count))
        return false;
    stream.set_clone_count(count);
    if (!next_is(token_kind_t::integer))
        return count == 0 || fail("invalid Clones count");
    while (next_is(token_kind_t::integer)) {
        const uint32_t piece = scanner_.integer();
        uint32_t vertex = 0;
        take();
        if (!integer(vertex))
            return false;
        if (!stream.add_clone(piece, vertex))
            return fail("cannot add clone pair");
    }
    return true;
}

bool skin_grammar_t::piece_skin() {
    uint32_t piece_index = 0, stream_count = 0;
    if (!open("PIECESKIN"_kw) || !integer_field("PIECE"_kw, piece_index) ||
        !integer_field("STREAMCOUNT"_kw, stream_count))
        return false;
    kim_piece_skin_t *skin;
    if (!create(skin))
        return false;
    // Piece skins come in piece order, so a smaller index is one that the model already has.
    if (piece_index < model_.piece_skins.size())
        return fail("multiple PieceSkin-s with the same piece index");
    if (piece_index != model_.piece_skins.size())
        return fail("invalid PieceIndex");
    skin->piece_index = piece_index;
    if (stream_count != 1)
        return fail("only single piece skin stream is expected");
    return piece_skin_stream(*skin) && close();
}

bool skin_grammar_t::piece_skin_stream(kim_piece_skin_t &skin) {
    stream_format_t stream_format = stream_format_t::none;
    name_t tag;
    uint32_t item_count = 0, weight_count = 0, vertex_index_count = 0;
    if (!open("PIECESKINSTREAM"_kw) || !format(stream_format) || !text_field("TAG"_kw, tag) ||
        !integer_field("ITEMCOUNT"_kw, item_count) || !integer_field("TOTALWEIGHTCOUNT"_kw, weight_count) ||
        !integer_field("TOTALVERTEXINDEXCOUNT"_kw, vertex_index_count))
        return false;
    kim_piece_skin_builder_t builder(skin);
    if (!hold(builder.declare(stream_format, tag.view(), item_count, weight_count, vertex_index_count)))
        return false;
    do {
        if (!piece_skin_item(builder))
            return false;
    } while (next_is(token_kind_t::integer));
    if (!close() || !hold(builder.finish()))
        return false;
    return model_.piece_skins.push_back(&skin) || no_memory();
}

bool skin_grammar_t::piece_skin_item(kim_piece_skin_builder_t &builder) {
    uint32_t index = 0, count = 0;
    float position[3];
    if (!integer(index) || !expect(token_kind_t::left_parenthesis) || !reals(position) ||
        !hold(builder.add_item(index, {position[0], position[1], position[2]})))
        return false;

    if (!integer_field("WEIGHTS"_kw, count) || !hold(builder.set_weight_count(count)))
        return false;
    do {
        uint32_t bone = 0;
        float weight = 0;
        if (!integer(bone) || !weight_value(weight) || !hold(builder.add_weight(bone, weight)))
            return false;
    } while (next_is(token_kind_t::integer));
    if (!hold(builder.end_weights()))
        return false;

    if (!integer_field("VERTEXINDICES"_kw, count) || !hold(builder.set_vertex_index_count(count)))
        return false;
    do {
        uint32_t vertex = 0;
        if (!integer(vertex) || !hold(builder.add_vertex_index(vertex)))
            return false;
    } while (next_is(token_kind_t::integer));
    return hold(builder.end_vertex_indices()) && expect(token_kind_t::right_parenthesis);
}

} // namespace kestrel
