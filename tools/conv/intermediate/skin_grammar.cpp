#include "tools/conv/intermediate/skin_grammar.h"

namespace kestrel {

bool skin_grammar_t::declaration(declaration_t &declared, token_kind_t paragraph, token_kind_t clone_count) {
    return open(paragraph) && format(declared.format) && text_field("TAG"_kw, declared.tag) &&
           integer_field("ITEMCOUNT"_kw, declared.items) &&
           integer_field("TOTALWEIGHTCOUNT"_kw, declared.weights) &&
           integer_field(clone_count, declared.clones);
}

bool skin_grammar_t::skin() {
    auto *const skin = create<kim_skin_t>();
    if (!open("SKIN"_kw) || !integer_field("STREAMCOUNT"_kw, skin->stream_count) ||
        !one_or_more("SKINSTREAM"_kw, [&] { return skin_stream(*skin); }) || !close())
        return false;
    model_.skin = skin;
    return check(skin->streams.size() == skin->stream_count, "incorrect number of Skin streams",
                 skin->stream_count, skin->streams.size());
}

bool skin_grammar_t::skin_stream(kim_skin_t &skin) {
    declaration_t declared;
    if (!declaration(declared, "SKINSTREAM"_kw, "TOTALCLONECOUNT"_kw))
        return false;
    auto *const stream = create<kim_skin_stream_t>();
    stream->initialise(declared.format, declared.items, declared.weights, declared.clones);
    stream->tag = declared.tag;
    if (!one_or_more_items([&] { return skin_item(*stream); }) || !close())
        return false;
    skin.streams.push_back(stream);
    return true;
}

bool skin_grammar_t::skin_item(kim_skin_stream_t &stream) {
    uint32_t index = 0;
    tuple_t value;
    return integer(index) && expect(token_kind_t::left_parenthesis) && tuple(value) &&
           check(index == stream.items().size(), "inconsistent SkinStream item order", index,
                 stream.items().size()) &&
           check(stream.add_item(value.data), "inconsistent SkinStream item type/count", stream.capacity(),
                 uint64_t{stream.count()} + 1) &&
           skin_weights(stream) && skin_clones(stream) && expect(token_kind_t::right_parenthesis);
}

bool skin_grammar_t::skin_weights(kim_skin_stream_t &stream) {
    uint32_t count = 0;
    if (!integer_field("WEIGHTS"_kw, count))
        return false;
    stream.set_weight_count(count);
    if (!next_is(token_kind_t::integer))
        return check(count == 0, "invalid Weights count", count, 0);
    return one_or_more(token_kind_t::integer, [&] {
        uint32_t bone = 0;
        float weight = 0;
        return integer(bone) && weight_value(weight) &&
               check(stream.add_weight(bone, weight), "cannot add weight pair");
    });
}

bool skin_grammar_t::skin_clones(kim_skin_stream_t &stream) {
    uint32_t count = 0;
    if (!integer_field("CLONES"_kw, count))
        return false;
    stream.set_clone_count(count);
    if (!next_is(token_kind_t::integer))
        return check(count == 0, "invalid Clones count", count, 0);
    return one_or_more(token_kind_t::integer, [&] {
        uint32_t piece = 0;
        uint32_t vertex = 0;
        return integer(piece) && integer(vertex) &&
               check(stream.add_clone(piece, vertex), "cannot add clone pair");
    });
}

bool skin_grammar_t::piece_skin() {
    auto *const skin = create<kim_piece_skin_t>();
    uint32_t stream_count = 0;
    if (!open("PIECESKIN"_kw) || !integer_field("PIECE"_kw, skin->piece_index) ||
        !integer_field("STREAMCOUNT"_kw, stream_count))
        return false;
    // Piece skins come in piece order, so a smaller index is one that the model already has.
    const size_t expected = model_.piece_skins.size();
    if (!check(skin->piece_index >= expected, "multiple PieceSkin-s with the same piece index",
               skin->piece_index, expected) ||
        !check(skin->piece_index == expected, "invalid PieceIndex", skin->piece_index, expected) ||
        !check(stream_count == 1, "only single piece skin stream is expected", stream_count, 1) ||
        !piece_skin_stream(*skin) || !close())
        return false;
    model_.piece_skins.push_back(skin);
    return true;
}

bool skin_grammar_t::piece_skin_stream(kim_piece_skin_t &skin) {
    declaration_t declared;
    if (!declaration(declared, "PIECESKINSTREAM"_kw, "TOTALVERTEXINDEXCOUNT"_kw) ||
        !check(declared.format == stream_format_t::float3, "only FLOAT3 is allowed") ||
        !check(declared.tag.view() == position_tag, "only _POSITION is allowed") ||
        !check(declared.items != 0, "invalid item_count") ||
        !check(declared.weights != 0, "invalid total_weight_count") ||
        !check(declared.clones != 0, "invalid total_vertex_index_count") ||
        !one_or_more_items([&] { return piece_skin_item(skin, declared); }) || !close() ||
        !check(skin.items.size() == declared.items, "input item_count and actual item count are different",
               declared.items, skin.items.size()) ||
        !check(skin.weights.size() == declared.weights,
               "input total_weight_count and actual total weight count are different", declared.weights,
               skin.weights.size()) ||
        !check(skin.vertex_indices.size() == declared.clones,
               "input total_vertex_input_count and actual total vertex index count are different",
               declared.clones, skin.vertex_indices.size()))
        return false;
    skin.vertex_items.resize(declared.clones, kim_piece_skin_t::no_item);
    for (const kim_piece_skin_item_t &item : skin.items)
        for (uint32_t i = 0; i < item.vertex_index_count; ++i)
            skin.vertex_items[skin.vertex_indices[item.first_vertex_index + i]] = item.item_index;
    return true;
}

bool skin_grammar_t::piece_skin_item(kim_piece_skin_t &skin, const declaration_t &declared) {
    uint32_t index = 0;
    float position[3];
    if (!integer(index) || !expect(token_kind_t::left_parenthesis) || !reals(position) ||
        !check(skin.items.size() < declared.items, "input item_count is smaller than actual item count",
               declared.items, skin.items.size() + 1) ||
        !check(index == skin.items.size(), "item index should be incremental from zero", index,
               skin.items.size()))
        return false;
    const auto first_weight = static_cast<uint32_t>(skin.weights.size());
    const auto first_vertex_index = static_cast<uint32_t>(skin.vertex_indices.size());
    skin.items.push_back(
        {{position[0], position[1], position[2]}, index, first_weight, 0, first_vertex_index, 0});
    return piece_skin_weights(skin, declared) && piece_skin_vertices(skin, declared) &&
           expect(token_kind_t::right_parenthesis);
}

bool skin_grammar_t::piece_skin_weights(kim_piece_skin_t &skin, const declaration_t &declared) {
    constexpr const char *differ = "weight_count and actual weight count differ";
    uint32_t &count = skin.items.back().weight_count;
    if (!integer_field("WEIGHTS"_kw, count) || !check(count != 0, "invalid weight count of item"))
        return false;
    uint32_t left = count;
    return one_or_more(token_kind_t::integer,
                       [&] {
                           uint32_t bone = 0;
                           float weight = 0;
                           if (!integer(bone) || !weight_value(weight) ||
                               !check(left-- != 0, differ, count, uint64_t{count} + 1) ||
                               !check(skin.weights.size() < declared.weights,
                                      "total_weight_count is smaller than actual weight count",
                                      declared.weights, skin.weights.size() + 1))
                               return false;
                           skin.weights.push_back({bone, weight});
                           return true;
                       }) &&
           check(left == 0, differ, count, count - left);
}

bool skin_grammar_t::piece_skin_vertices(kim_piece_skin_t &skin, const declaration_t &declared) {
    uint32_t &count = skin.items.back().vertex_index_count;
    if (!integer_field("VERTEXINDICES"_kw, count) || !check(count != 0, "invalid vertex index count of item"))
        return false;
    uint32_t left = count;
    return one_or_more(token_kind_t::integer,
                       [&] {
                           uint32_t vertex = 0;
                           if (!integer(vertex) ||
                               !check(left-- != 0, "vertex_index_count and actual vertex index count differ",
                                      count, uint64_t{count} + 1) ||
                               !check(skin.vertex_indices.size() < declared.clones,
                                      "total_vertex_index_count is smaller than actual vertex index count",
                                      declared.clones, skin.vertex_indices.size() + 1) ||
                               !check(vertex < declared.clones,
                                      "vertex index exceeds total_vertex_index_count", vertex,
                                      declared.clones))
                               return false;
                           skin.vertex_indices.push_back(vertex);
                           return true;
                       }) &&
           check(left == 0, "input vertex_index_count and actual vertex index count for the item differ",
                 count, count - left);
}

} // namespace kestrel
