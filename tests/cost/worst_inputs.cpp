#include "tests/cost/worst_inputs.h"

#include "tests/support/model_text.h"
#include "tools/kim_text/model_text.h"

#include <functional>

namespace kestrel {

namespace {

std::string number(size_t value) {
    return std::to_string(value);
}

using texts_t = std::function<std::string(size_t)>; // of an item, by its number

texts_t always(const std::string &text) {
    return [text](size_t) { return text; };
}

struct stream_t {
    std::string_view format;
    std::string tag;
    texts_t tuple;
    std::vector<std::string_view> aliases = {};
};
using streams_t = std::vector<stream_t>;

streams_t drawn_streams(const texts_t &position = always("(0. 0. 0.)")) {
    return {{"FLOAT3", "_POSITION", position},
            {"FLOAT3", "_NORMAL", always("(0. 0. 0.)")},
            {"FLOAT4", "_RGBA", always("(0. 0. 0. 0.)")}};
}

// A model, with one material when it has pieces. Items are written as tightly as the format allows.
class worst_model_t {
  public:
    explicit worst_model_t(model_counts_t counts) {
        counts.materials = counts.pieces > 0;
        text.header("", 5, "", "");
        text.global(counts, "s.kis");
        if (counts.materials > 0)
            text.material("", "");
    }

    void items(size_t count, const texts_t &tuple) {
        for (size_t i = 0; i < count; ++i) {
            out.integer(i);
            out.text(tuple(i));
        }
    }
    void piece(size_t index, size_t vertices, size_t triangles, const streams_t &streams,
               const texts_t &triangle = always("(0 0 0)")) {
        text.begin_piece(static_cast<uint32_t>(index), 0, vertices, triangles,
                         static_cast<uint32_t>(streams.size()));
        for (const stream_t &stream : streams) {
            text.begin_stream(stream.format, stream.tag, stream.aliases);
            items(vertices, stream.tuple);
            text.end_stream();
        }
        text.begin_triangles();
        items(triangles, triangle);
        text.end_triangles();
        text.end_piece();
    }
    void part(size_t pieces) {
        std::vector<uint32_t> all(pieces);
        for (uint32_t i = 0; i < pieces; ++i)
            all[i] = i;
        text.part("p", all, {});
    }
    void bones(size_t count) {
        text.begin_bones();
        for (size_t i = 0; i < count; ++i)
            text.bone_name(number(i));
        text.end_bones();
    }
    std::string content() const { return std::string(out.buffer()); }

    text_writer_t out;
    model_text_t text{out, number_style_t::shortest_decimals};
};

std::string skeleton_of(size_t bones) {
    text_writer_t out;
    model_text_t text(out, number_style_t::shortest_decimals);
    text.header("", 1, "", "");
    text.begin_skeleton(bones);
    for (size_t i = 0; i < bones; ++i)
        text.bone(number(i), "", std::array<float, 16>{1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1});
    text.end_skeleton();
    return std::string(out.buffer());
}

worst_input_t one_piece(size_t vertices, size_t triangles, const streams_t &streams,
                        const texts_t &triangle = always("(0 0 0)")) {
    worst_model_t model({.vertices = vertices, .triangles = triangles, .pieces = 1, .parts = 1});
    model.piece(0, vertices, triangles, streams, triangle);
    model.part(1);
    return {model.content(), ""};
}

worst_input_t repeated(const std::string &text, size_t bytes, const std::string &start = "") {
    worst_input_t input{start, ""};
    while (input.model.size() < bytes)
        input.model += text;
    return input;
}

worst_input_t keyword_beginnings(size_t bytes) {
    return repeated("TRIGGERRESETDELA ", bytes);
}

worst_input_t line_feeds_and_errors(size_t bytes) {
    return repeated("\n*", bytes);
}

// A number that no window holds.
worst_input_t one_long_token(size_t bytes) {
    return {"Header{FormatVersion:" + std::string(bytes, '0') + "5 Source:\"\"Type:}", ""};
}

worst_input_t empty_aliases(size_t bytes) {
    return one_piece(
        1, 1, {{"FLOAT3", "_POSITION", always("(0. 0. 0.)"), std::vector<std::string_view>(bytes / 3, "")}});
}

worst_input_t bone_names(size_t bytes) {
    worst_model_t model({.parts = 1, .bones = bytes / 16});
    model.part(0);
    model.bones(bytes / 16);
    model.out.text("Skin{StreamCount:1 SkinStream{Format:INT Tag:\"\"ItemCount:1 TotalWeightCount:0 "
                   "TotalCloneCount:0 0((0)Weights:0 Clones:0)}}");
    return {model.content(), skeleton_of(1)};
}

worst_input_t skeleton_bones(size_t bytes) {
    return {skinned_model_text(), skeleton_of(bytes / 110)};
}

worst_input_t locators(size_t bytes) {
    const size_t count = bytes / 110;
    worst_model_t model({.parts = 1, .locators = count});
    std::vector<uint32_t> all(count);
    for (uint32_t i = 0; i < count; ++i)
        all[i] = i;
    model.text.part("p", {}, all);
    for (size_t i = 0; i < count; ++i)
        model.text.locator({"", number(i), 0, {}, {}, {1, 1, 1}});
    return {model.content(), ""};
}

worst_input_t many_pieces(size_t count, size_t vertices, const std::function<streams_t(size_t)> &streams) {
    worst_model_t model({.vertices = vertices * count, .pieces = count, .parts = 1});
    for (size_t i = 0; i < count; ++i)
        model.piece(i, vertices, 0, streams(i));
    model.part(count);
    return {model.content(), ""};
}

// Streams that no other piece has all of.
streams_t distinct_streams(size_t index, streams_t streams = drawn_streams()) {
    streams.push_back({"INT", number(index), always("(0)")});
    return streams;
}

// Pieces that could be joined if any two of them had the same streams.
worst_input_t tiny_pieces(size_t bytes) {
    return many_pieces(bytes / 260, 1, [](size_t i) { return distinct_streams(i); });
}

// Pieces that are all joined into a few.
worst_input_t joined_pieces(size_t bytes) {
    return many_pieces(bytes / 260, 1, [](size_t) { return drawn_streams(); });
}

// The same piece again and again, as often as there are pieces, none of which can be joined.
worst_input_t repeated_piece(size_t bytes) {
    const size_t vertices = std::min<size_t>(bytes / 90, 60000);
    const size_t count = bytes / 2 / 260;
    worst_model_t model({.vertices = vertices + count - 1, .pieces = count, .parts = 1});
    model.piece(0, vertices, 0, drawn_streams());
    for (size_t i = 1; i < count; ++i)
        model.piece(i, 1, 0, distinct_streams(i));
    model.text.part("p", std::vector<uint32_t>(count), {});
    return {model.content(), ""};
}

worst_input_t float_streams(size_t bytes) {
    const auto position = [](size_t i) { return "(" + number(i) + ". " + number(i % 2) + ". 0.)"; };
    return one_piece(bytes / 65, bytes / 195, drawn_streams(position), always("(0 1 2)"));
}

// Three vertices, each as often as there is room.
worst_input_t equal_vertices(size_t bytes) {
    const auto position = [](size_t i) {
        const char *const corners[] = {"(0. 0. 0.)", "(1. 0. 0.)", "(0. 1. 0.)"};
        return std::string(corners[i % 3]);
    };
    return one_piece(bytes / 45, bytes / 45, drawn_streams(position), always("(0 1 2)"));
}

// Distinct positions that the rotating hash of four bits a byte sends to few places.
worst_input_t alike_vertices(size_t bytes) {
    const auto position = [](size_t i) {
        char bits[64];
        std::snprintf(bits, sizeof bits, "(&3f%02zx%02zx00 &3f%02zx%02zx00 0.)", i & 0xFF, i >> 8 & 0xFF,
                      i & 0xFF, i >> 8 & 0xFF);
        return std::string(bits);
    };
    return one_piece(bytes / 95, bytes / 285, drawn_streams(position), [](size_t i) {
        return "(" + number(3 * i) + " " + number(3 * i + 1) + " " + number(3 * i + 2) + ")";
    });
}

// Distinct vertices on a line, and triangles over them.
worst_input_t mesh(size_t vertices, const std::vector<std::array<size_t, 3>> &corners) {
    const auto position = [](size_t i) { return "(" + number(i) + ". 0. 0.)"; };
    return one_piece(vertices, corners.size(), drawn_streams(position), [&](size_t t) {
        return "(" + number(corners[t][0]) + " " + number(corners[t][1]) + " " + number(corners[t][2]) + ")";
    });
}

// One vertex in all triangles.
worst_input_t fan(size_t bytes) {
    std::vector<std::array<size_t, 3>> corners;
    for (size_t i = 0; i < bytes / 110; ++i)
        corners.push_back({0, i + 1, i + 2});
    return mesh(bytes / 110 + 2, corners);
}

// Bytes of a stream for few bytes of text: items that are longer than their tuples.
worst_input_t short_tuples(size_t bytes) {
    return one_piece(bytes / 11, 0, {{"FLOAT4X4", "", always("(.0)")}});
}

// A skin whose items come from a rule, for as many vertices as there are items, dealt out to pieces.
worst_input_t skinned(size_t items, size_t pieces, const texts_t &weights, size_t weight_count) {
    const size_t each = items / pieces;
    worst_model_t model(
        {.vertices = each * pieces, .triangles = pieces, .pieces = pieces, .parts = 1, .bones = 200});
    for (size_t p = 0; p < pieces; ++p)
        model.piece(p, each, 1, drawn_streams());
    model.part(pieces);
    model.bones(200);
    model.text.begin_skin(items, items * weight_count, items);
    model.items(items, [&](size_t i) {
        return "((0. 0. 0.)Weights:" + number(weight_count) + weights(i) + " Clones:1 " + number(i / each) +
               " " + number(i % each) + ")";
    });
    model.text.end_skin();
    return {model.content(), skeleton_of(200)};
}

worst_input_t influence_sets(size_t bytes) {
    const auto weights = [](size_t i) {
        return " " + number(i % 200) + " ." + number(i / 200 + 100) + " " + number((i + 7) % 200) + " .5";
    };
    return skinned(bytes / 110, 1, weights, 2);
}

worst_input_t heavy_items(size_t bytes) {
    std::string heavy;
    for (size_t i = 0; i < 17; ++i)
        heavy += " " + number(i) + " 1";
    const size_t items = bytes / 500;
    return skinned(items - items % 4, items / 4, always(heavy), 17);
}

worst_input_t one_item_with_all_weights(size_t bytes) {
    std::string weights;
    for (size_t i = 0; i < bytes / 6; ++i)
        weights += " 0 ." + number(100 + i % 899);
    return skinned(1, 1, always(weights), bytes / 6);
}

// Every stream declares far more than it holds.
worst_input_t boasting_skin_streams(size_t bytes) {
    worst_model_t model({.parts = 1, .bones = 1});
    model.part(0);
    model.bones(1);
    model.out.text("Skin{StreamCount:" + number(bytes / 115) + " ");
    for (size_t i = 0; i < bytes / 115; ++i)
        model.out.text("SkinStream{Format:INT Tag:\"\"ItemCount:4294967295 TotalWeightCount:4294967295 "
                       "TotalCloneCount:4294967295 0((0)Weights:0 Clones:0)}");
    model.out.text("}");
    return {model.content(), skeleton_of(1)};
}

constexpr double of_texts = 48;
constexpr double of_floats = 3.5;

constexpr worst_kind_t kinds[] = {
    {"keyword_beginnings", keyword_beginnings, of_floats, false},
    {"line_feeds_and_errors", line_feeds_and_errors, of_floats, false},
    {"one_long_token", one_long_token, of_floats, false},
    {"empty_aliases", empty_aliases, of_texts, false},
    {"bone_names", bone_names, of_texts, false},
    {"skeleton_bones", skeleton_bones, of_texts, false},
    {"locators", locators, of_texts, true},
    {"tiny_pieces", tiny_pieces, of_texts, true},
    {"joined_pieces", joined_pieces, of_texts, true},
    {"repeated_piece", repeated_piece, of_texts, false},
    {"float_streams", float_streams, of_floats, true},
    {"equal_vertices", equal_vertices, of_texts, true},
    {"alike_vertices", alike_vertices, of_texts, true},
    {"fan", fan, of_texts, true},
    {"short_tuples", short_tuples, of_texts, false},
    {"influence_sets", influence_sets, of_texts, true},
    {"heavy_items", heavy_items, of_texts, true},
    {"one_item_with_all_weights", one_item_with_all_weights, of_texts, true},
    {"boasting_skin_streams", boasting_skin_streams, of_texts, true},
};

} // namespace

std::span<const worst_kind_t> worst_kinds() {
    return kinds;
}

} // namespace kestrel
