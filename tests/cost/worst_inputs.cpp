#include "tests/cost/worst_inputs.h"

#include "tests/support/skinned_model_text.h"

#include <array>
#include <functional>

namespace kestrel {

namespace {

// Texts are written as tightly as the formats allow.

std::string number(size_t value) {
    return std::to_string(value);
}

struct counts_t {
    size_t vertices = 0, triangles = 0, pieces = 0, parts = 1, bones = 0, locators = 0, piece_skins = 0;
};

std::string opening(const counts_t &c) {
    return "Header{FormatVersion:5 Source:\"\"Type:\"\"Name:\"\"}Global{VertexCount:" + number(c.vertices) +
           " TriangleCount:" + number(c.triangles) + " MaterialCount:1 PieceCount:" + number(c.pieces) +
           " PartCount:" + number(c.parts) + " BoneCount:" + number(c.bones) +
           " LocatorCount:" + number(c.locators) +
           " Skeleton:\"s.kis\"PieceSkinCount:" + number(c.piece_skins) + "}";
}

const std::string material = "Material{Alias:\"\"Effect:\"\"}";

std::string stream(const std::string &format, const std::string &tag, size_t count, const std::string &tuple,
                   const std::string &aliases = "") {
    std::string text = "Stream{Format:" + format + " Tag:\"" + tag + "\"" + aliases;
    for (size_t i = 0; i < count; ++i)
        text += number(i) + tuple;
    return text + "}";
}

std::string piece(size_t index, size_t vertices, size_t triangles, const std::vector<std::string> &streams,
                  const std::string &triangle = "(0 0 0)") {
    std::string text = "Piece{Index:" + number(index) + " Material:0 VertexCount:" + number(vertices) +
                       " TriangleCount:" + number(triangles) + " StreamCount:" + number(streams.size()) + " ";
    for (const std::string &each : streams)
        text += each;
    text += "Triangles{";
    for (size_t i = 0; i < triangles; ++i)
        text += number(i) + triangle;
    return text + "}}";
}

std::vector<std::string> drawn_streams(size_t vertices) {
    return {stream("FLOAT3", "_POSITION", vertices, "(0. 0. 0.)"),
            stream("FLOAT3", "_NORMAL", vertices, "(0. 0. 0.)"),
            stream("FLOAT4", "_RGBA", vertices, "(0. 0. 0. 0.)")};
}

// A part that lists the pieces by a rule.
std::string part(size_t pieces, const std::function<size_t(size_t)> &entry,
                 const std::string &locators = "") {
    std::string text = "Part{Name:\"p\"PieceCount:" + number(pieces) + " LocatorCount:0 Pieces:";
    for (size_t i = 0; i < pieces; ++i)
        text += number(entry(i)) + " ";
    return text + "Locators:" + locators + "}";
}

std::string plain_part(size_t pieces) {
    return part(pieces, [](size_t i) { return i; });
}

std::string skeleton_of(size_t bones) {
    std::string text =
        "Header{FormatVersion:1 Source:\"\"Type:\"\"Name:\"\"}Global{BoneCount:" + number(bones) + "}Bones{";
    for (size_t i = 0; i < bones; ++i)
        text += number(i) + "(Name:\"" + number(i) +
                "\"Parent:\"\"Matrix:(1. 0. 0. 0. 0. 1. 0. 0. 0. 0. 1. 0. 0. "
                "0. 0. 1.))";
    return text + "}";
}

std::string bones(size_t count) {
    std::string text = "Bones{";
    for (size_t i = 0; i < count; ++i)
        text += number(i) + "(\"" + number(i) + "\")";
    return text + "}";
}

// One piece, whose streams come from a rule.
worst_input_t one_piece(size_t vertices, size_t triangles, const std::vector<std::string> &streams,
                        const std::string &triangle = "(0 0 0)") {
    return {opening({.vertices = vertices, .triangles = triangles, .pieces = 1}) + material +
                piece(0, vertices, triangles, streams, triangle) + plain_part(1),
            ""};
}

worst_input_t unknown_bytes(size_t bytes) {
    return {std::string(bytes, '*'), ""};
}

worst_input_t keyword_beginnings(size_t bytes) {
    std::string text;
    while (text.size() < bytes)
        text += "TRIGGERRESETDELA ";
    return {text, ""};
}

worst_input_t line_feeds_and_errors(size_t bytes) {
    std::string text;
    while (text.size() < bytes)
        text += "\n*";
    return {text, ""};
}

// A number that no window holds.
worst_input_t one_long_token(size_t bytes) {
    return {"Header{FormatVersion:" + std::string(bytes, '0') + "5 Source:\"\"Type:}", ""};
}

worst_input_t dependencies(size_t bytes) {
    std::string text = "Header{FormatVersion:5 Source:\"\"Type:\"\"Name:\"\"";
    while (text.size() < bytes)
        text += "Dependency:\"\"";
    return {text + "}", ""};
}

worst_input_t empty_aliases(size_t bytes) {
    const size_t count = bytes / 3;
    std::string aliases = "AliasCount:" + number(count) + " Aliases:";
    for (size_t i = 0; i < count; ++i)
        aliases += "\"\" ";
    return one_piece(1, 1, {stream("FLOAT3", "_POSITION", 1, "(0. 0. 0.)", aliases)});
}

worst_input_t short_aliases(size_t bytes) {
    const size_t count = bytes / 3;
    std::string aliases = "AliasCount:" + number(count) + " Aliases:";
    for (size_t i = 0; i < count; ++i)
        aliases += "\"a\"";
    return one_piece(1, 1, {stream("FLOAT2", "_UV0", 1, "(0. 0.)", aliases)});
}

worst_input_t empty_text_items(size_t bytes) {
    const size_t count = bytes / 10;
    return one_piece(count, 0, {stream("STRING", "", count, "(\"\")")});
}

worst_input_t many_empty_text_streams(size_t bytes) {
    std::vector<std::string> streams(bytes / 80, stream("STRING", "", 10, "(\"\")"));
    return one_piece(10, 0, streams);
}

worst_input_t bone_names(size_t bytes) {
    const size_t count = bytes / 16;
    return {opening({.bones = count}) + plain_part(0) + bones(count) +
                "Skin{StreamCount:1 SkinStream{Format:INT Tag:\"\"ItemCount:1 TotalWeightCount:0 "
                "TotalCloneCount:0 0((0)Weights:0 Clones:0)}}",
            skeleton_of(1)};
}

worst_input_t skeleton_bones(size_t bytes) {
    return {skinned_model_text(), skeleton_of(bytes / 110)};
}

worst_input_t empty_materials(size_t bytes) {
    std::string materials;
    while (materials.size() < bytes)
        materials += material;
    return {opening({.vertices = 1, .pieces = 1}) + materials + piece(0, 1, 0, drawn_streams(1)) +
                plain_part(1),
            ""};
}

worst_input_t locators(size_t bytes) {
    const size_t count = bytes / 110;
    std::string text, list;
    for (size_t i = 0; i < count; ++i) {
        text += "Locator{Name:\"\"Hookup:\"" + number(i) +
                "\"Index:0 Position:(0. 0. 0.)Rotation:(0. 0. 0. 0.)Scale:(1. 1. 1.)}";
        list += number(i) + " ";
    }
    return {opening({.locators = count}) + part(0, nullptr, list) + text, ""};
}

worst_input_t parts(size_t bytes) {
    const size_t count = bytes / 58;
    std::string text;
    for (size_t i = 0; i < count; ++i)
        text += "Part{Name:\"\"PieceCount:0 LocatorCount:0 Pieces:Locators:}";
    return {opening({.parts = count, .locators = 1}) + text +
                "Locator{Name:\"\"Index:0 Position:(0. 0. 0.)Rotation:(0. 0. 0. 0.)Scale:(1. 1. 1.)}",
            ""};
}

worst_input_t long_part_list(size_t bytes) {
    return {opening({.vertices = 1, .pieces = 1}) + material + piece(0, 1, 0, drawn_streams(1)) +
                part(bytes / 2, [](size_t) { return 0; }),
            ""};
}

// Pieces that could be joined if any two of them had the same streams.
worst_input_t tiny_pieces(size_t bytes) {
    const size_t count = bytes / 260;
    std::string text;
    for (size_t i = 0; i < count; ++i) {
        auto streams = drawn_streams(1);
        streams.push_back(stream("INT", number(i), 1, "(0)"));
        text += piece(i, 1, 0, streams);
    }
    return {opening({.vertices = count, .pieces = count}) + material + text + plain_part(count), ""};
}

// Pieces in which a tag stands twice, and which differ by another one.
worst_input_t repeated_tags(size_t bytes) {
    const size_t count = bytes / 310;
    std::string text;
    for (size_t i = 0; i < count; ++i) {
        auto streams = drawn_streams(1);
        streams.push_back(streams[0]);
        streams.push_back(stream("INT", number(i), 1, "(0)"));
        text += piece(i, 1, 0, streams);
    }
    return {opening({.vertices = count, .pieces = count}) + material + text + plain_part(count), ""};
}

// Pieces that are all joined into a few.
worst_input_t joined_pieces(size_t bytes) {
    const size_t count = bytes / 260;
    std::string text;
    for (size_t i = 0; i < count; ++i)
        text += piece(i, 1, 0, drawn_streams(1));
    return {opening({.vertices = count, .pieces = count}) + material + text + plain_part(count), ""};
}

// So large that only thirteen fit into one.
worst_input_t pieces_that_do_not_fit(size_t bytes) {
    const size_t size = 5000;
    const std::string large = stream("FLOAT", "", size, "(.0)");
    const size_t count = std::max<size_t>(bytes / large.size(), 1);
    std::string text;
    for (size_t i = 0; i < count; ++i)
        text += piece(i, size, 0, {large});
    return {opening({.vertices = size * count, .pieces = count}) + material + text + plain_part(count), ""};
}

worst_input_t many_streams(size_t bytes) {
    std::vector<std::string> streams;
    for (size_t i = 0; i < bytes / 45; ++i)
        streams.push_back(stream("INT", number(i), 1, "(0)"));
    return {opening({.vertices = 2, .pieces = 2}) + material + piece(0, 1, 0, streams) +
                piece(1, 1, 0, streams) + plain_part(2),
            ""};
}

// The same piece again and again, as often as there are pieces.
worst_input_t repeated_piece(size_t bytes) {
    const size_t vertices = std::min<size_t>(bytes / 90, 60000);
    const size_t count = std::max<size_t>(bytes / 2 / 260, 1);
    std::string text = piece(0, vertices, 0, drawn_streams(vertices));
    for (size_t i = 1; i < count; ++i) { // none of which can be joined
        auto streams = drawn_streams(1);
        streams.push_back(stream("INT", number(i), 1, "(0)"));
        text += piece(i, 1, 0, streams);
    }
    return {opening({.vertices = vertices + count - 1, .pieces = count}) + material + text +
                part(count, [](size_t) { return 0; }),
            ""};
}

worst_input_t float_streams(size_t bytes) {
    const size_t vertices = bytes / 65;
    auto streams = drawn_streams(vertices);
    streams[0] = "Stream{Format:FLOAT3 Tag:\"_POSITION\"";
    for (size_t i = 0; i < vertices; ++i)
        streams[0] += number(i) + "(" + number(i) + ". " + number(i % 2) + ". 0.)";
    streams[0] += "}";
    return one_piece(vertices, vertices / 3, streams, "(0 1 2)");
}

// Three vertices, each as often as there is room.
worst_input_t equal_vertices(size_t bytes) {
    const size_t vertices = bytes / 45;
    const char *const corners[] = {"(0. 0. 0.)", "(1. 0. 0.)", "(0. 1. 0.)"};
    auto streams = drawn_streams(vertices);
    streams[0] = "Stream{Format:FLOAT3 Tag:\"_POSITION\"";
    for (size_t i = 0; i < vertices; ++i)
        streams[0] += number(i) + corners[i % 3];
    streams[0] += "}";
    return one_piece(vertices, vertices, streams, "(0 1 2)");
}

// Distinct positions that the rotating hash of four bits a byte sends to few places.
worst_input_t alike_vertices(size_t bytes) {
    const size_t vertices = bytes / 95;
    std::string positions = "Stream{Format:FLOAT3 Tag:\"_POSITION\"";
    for (size_t i = 0; i < vertices; ++i) {
        char bits[64];
        std::snprintf(bits, sizeof bits, "(&3f%02zx%02zx00 &3f%02zx%02zx00 0.)", i & 0xFF, i >> 8 & 0xFF,
                      i & 0xFF, i >> 8 & 0xFF);
        positions += number(i) + bits;
    }
    auto streams = drawn_streams(vertices);
    streams[0] = positions + "}";
    std::string text = "Piece{Index:0 Material:0 VertexCount:" + number(vertices) +
                       " TriangleCount:" + number(vertices / 3) + " StreamCount:3 " + streams[0] +
                       streams[1] + streams[2] + "Triangles{";
    for (size_t i = 0; i < vertices / 3; ++i)
        text += number(i) + "(" + number(3 * i) + " " + number(3 * i + 1) + " " + number(3 * i + 2) + ")";
    return {opening({.vertices = vertices, .triangles = vertices / 3, .pieces = 1}) + material + text + "}}" +
                plain_part(1),
            ""};
}

// Distinct vertices on a line, and triangles over them.
worst_input_t mesh(size_t vertices, const std::vector<std::array<size_t, 3>> &corners) {
    auto streams = drawn_streams(vertices);
    streams[0] = "Stream{Format:FLOAT3 Tag:\"_POSITION\"";
    for (size_t i = 0; i < vertices; ++i)
        streams[0] += number(i) + "(" + number(i) + ". 0. 0.)";
    streams[0] += "}";
    worst_input_t input = one_piece(vertices, corners.size(), streams, "");
    std::string triangles = "Triangles{";
    for (size_t t = 0; t < corners.size(); ++t)
        triangles += number(t) + "(" + number(corners[t][0]) + " " + number(corners[t][1]) + " " +
                     number(corners[t][2]) + ")";
    const size_t first = input.model.find("Triangles{");
    input.model.replace(first, input.model.find('}', first) - first, triangles);
    return input;
}

// One vertex in all triangles.
worst_input_t fan(size_t bytes) {
    std::vector<std::array<size_t, 3>> corners;
    for (size_t i = 0; i < bytes / 110; ++i)
        corners.push_back({0, i + 1, i + 2});
    return mesh(bytes / 110 + 2, corners);
}

// Again one vertex in all triangles but a few, and none of these beside another: the last half of them, each
// of which is as good as the next, are better than the first.
worst_input_t wings_of_two_kinds(size_t bytes) {
    std::vector<std::array<size_t, 3>> corners;
    size_t next = 1;
    for (size_t i = 0; i < bytes / 500; ++i, next += 3) {
        corners.push_back({0, next, next + 1});
        corners.push_back({next, next + 1, next + 2});
    }
    for (size_t i = 0; i < bytes / 500; ++i, next += 2)
        corners.push_back({0, next, next + 1});
    return mesh(next, corners);
}

// Bytes of a stream for few bytes of text: items that are longer than their tuples.
worst_input_t short_tuples(size_t bytes) {
    const size_t count = bytes / 11;
    return one_piece(count, 0, {stream("FLOAT4X4", "", count, "(.0)")});
}

// A skin whose items come from a rule, for as many vertices as there are items, dealt out to pieces.
worst_input_t skinned(size_t items, size_t pieces, const std::function<std::string(size_t)> &weights,
                      size_t weight_count) {
    const size_t each = items / pieces;
    std::string text, skin;
    for (size_t p = 0; p < pieces; ++p)
        text += piece(p, each, 1, drawn_streams(each));
    for (size_t i = 0; i < each * pieces; ++i)
        skin += number(i) + "((0. 0. 0.)Weights:" + number(weight_count) + weights(i) + " Clones:1 " +
                number(i / each) + " " + number(i % each) + ")";
    return {opening({.vertices = each * pieces, .triangles = pieces, .pieces = pieces, .bones = 200}) +
                material + text + plain_part(pieces) + bones(200) +
                "Skin{StreamCount:1 SkinStream{Format:FLOAT3 Tag:" + "\"_POSITION\"ItemCount:" +
                number(items) + " TotalWeightCount:" + number(items * weight_count) +
                " TotalCloneCount:" + number(items) + " " + skin + "}}",
            skeleton_of(200)};
}

worst_input_t influence_sets(size_t bytes) {
    return skinned(
        bytes / 110, 1,
        [](size_t i) {
            return " " + number(i % 200) + " ." + number(i / 200 + 100) + " " + number((i + 7) % 200) + " .5";
        },
        2);
}

worst_input_t heavy_items(size_t bytes) {
    std::string heavy;
    for (size_t i = 0; i < 17; ++i)
        heavy += " " + number(i) + " 1";
    const size_t items = bytes / 500;
    return skinned(
        items - items % 4, items / 4, [&](size_t) { return heavy; }, 17);
}

worst_input_t one_item_with_all_weights(size_t bytes) {
    const size_t count = bytes / 6;
    std::string weights;
    for (size_t i = 0; i < count; ++i)
        weights += " 0 ." + number(100 + i % 899);
    return skinned(
        1, 1, [&](size_t) { return weights; }, count);
}

worst_input_t clones_of_one_vertex(size_t bytes) {
    worst_input_t input = skinned(
        1, 1, [](size_t) { return " 0 1"; }, 1);
    std::string clones;
    const size_t count = bytes / 4;
    for (size_t i = 0; i < count; ++i)
        clones += "0 0 ";
    input.model = edited(input.model, "TotalCloneCount:1", "TotalCloneCount:" + number(count));
    input.model = edited(input.model, "Clones:1 0 0", "Clones:" + number(count) + " " + clones);
    return input;
}

// Every stream declares far more than it holds.
worst_input_t boasting_skin_streams(size_t bytes) {
    const size_t count = bytes / 115;
    std::string streams;
    for (size_t i = 0; i < count; ++i)
        streams += "SkinStream{Format:INT Tag:\"\"ItemCount:4294967295 TotalWeightCount:4294967295 "
                   "TotalCloneCount:4294967295 0((0)Weights:0 Clones:0)}";
    return {opening({.bones = 1}) + plain_part(0) + bones(1) + "Skin{StreamCount:" + number(count) + " " +
                streams + "}",
            skeleton_of(1)};
}

constexpr double of_texts = 48;
constexpr double of_floats = 3.5;

constexpr worst_kind_t kinds[] = {
    {"unknown_bytes", unknown_bytes, of_floats, false},
    {"keyword_beginnings", keyword_beginnings, of_floats, false},
    {"line_feeds_and_errors", line_feeds_and_errors, of_floats, false},
    {"dependencies", dependencies, of_floats, false},
    {"one_long_token", one_long_token, of_floats, false},
    {"empty_aliases", empty_aliases, of_texts, false},
    {"short_aliases", short_aliases, of_texts, false},
    {"empty_text_items", empty_text_items, of_texts, false},
    {"many_empty_text_streams", many_empty_text_streams, of_texts, false},
    {"bone_names", bone_names, of_texts, false},
    {"skeleton_bones", skeleton_bones, of_texts, false},
    {"empty_materials", empty_materials, of_texts, true},
    {"locators", locators, of_texts, true},
    {"parts", parts, of_texts, true},
    {"long_part_list", long_part_list, of_texts, false},
    {"tiny_pieces", tiny_pieces, of_texts, true},
    {"repeated_tags", repeated_tags, of_texts, true},
    {"joined_pieces", joined_pieces, of_texts, true},
    {"pieces_that_do_not_fit", pieces_that_do_not_fit, of_texts, false},
    {"many_streams", many_streams, of_texts, false},
    {"repeated_piece", repeated_piece, of_texts, false},
    {"float_streams", float_streams, of_floats, true},
    {"equal_vertices", equal_vertices, of_texts, true},
    {"alike_vertices", alike_vertices, of_texts, true},
    {"fan", fan, of_texts, true},
    {"wings_of_two_kinds", wings_of_two_kinds, of_texts, true},
    {"short_tuples", short_tuples, of_texts, false},
    {"influence_sets", influence_sets, of_texts, true},
    {"heavy_items", heavy_items, of_texts, true},
    {"one_item_with_all_weights", one_item_with_all_weights, of_texts, true},
    {"clones_of_one_vertex", clones_of_one_vertex, of_texts, true},
    {"boasting_skin_streams", boasting_skin_streams, of_texts, true},
};

} // namespace

std::span<const worst_kind_t> worst_kinds() {
    return kinds;
}

} // namespace kestrel
