#include "tools/kmg/kmg_print.h"

namespace kestrel {

namespace {

// Calls column(name, view, value index) for every column of the piece's vertices.
template <class F>
void for_each_column(const kmg_piece_data_t &data, F &&column) {
    const auto columns = [&](const auto &stream, std::string_view name,
                             std::initializer_list<const char *> values) {
        size_t i = 0;
        for (const char *value : values) {
            if (!stream.empty())
                column(concat(name, "_", value), stream, i);
            ++i;
        }
    };
    columns(data.positions, "position", {"x", "y", "z"});
    columns(data.normals, "normal", {"x", "y", "z"});
    columns(data.tangents, "tangent", {"x", "y", "z", "w"});
    columns(data.colours, "colour", {"r/128", "g/128", "b/128", "a/255"});
    columns(data.factors, "factor", {"0", "1", "2", "3"});
    for (size_t channel = 0; channel < kmg_max_uv_channels; ++channel)
        columns(data.uv_channels[channel], concat("uv", channel), {"u", "v"});
    columns(data.bone_indices, "bone", {"0", "1", "2", "3"});
    columns(data.bone_weights, "weight", {"0/255", "1/255", "2/255", "3/255"});
}

} // namespace

void vertices_csv(const kmg_reader_t &file, const kmg_piece_t &piece, const text_sink_t &sink) {
    const kmg_piece_data_t data = file.data_of(piece);
    std::string text = "vertex";
    for_each_column(data,
                    [&](const std::string &name, const auto &, size_t) { append(text, concat(",", name)); });
    if (!data.bone_indices.empty())
        text += ",bone_0_name,bone_1_name,bone_2_name,bone_3_name";
    sink(text += '\n');
    for (size_t i = 0; i < piece.vertex_count; ++i) {
        text = concat(i);
        for_each_column(data, [&](const std::string &, const auto &stream, size_t value) {
            text += ',';
            append(text, stream[i][value]);
        });
        if (!data.bone_indices.empty())
            for (const uint8_t bone : data.bone_indices[i]) {
                text += ',';
                if (bone < file.bones().size())
                    text += token_text(file.bones()[bone].name);
            }
        sink(text += '\n');
    }
}

void indices_csv(const kmg_reader_t &file, const kmg_piece_t &piece, const text_sink_t &sink) {
    const auto indices = file.data_of(piece).indices;
    sink("triangle,a,b,c\n");
    for (size_t i = 0; i < indices.size(); i += 3)
        sink(concat(i / 3, ",", indices[i], ",", indices[i + 1], ",", indices[i + 2], "\n"));
}

} // namespace kestrel
