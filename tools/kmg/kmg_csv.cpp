#include "tools/kmg/kmg_csv.h"

#include "tools/kmg/concat.h"

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
    columns(data.colours, "colour", {"r", "g", "b", "a"});
    columns(data.factors, "factor", {"0", "1", "2", "3"});
    for (size_t channel = 0; channel < kmg_max_uv_channels; ++channel)
        columns(data.uv_channels[channel], concat("uv", channel), {"u", "v"});
    columns(data.bone_indices, "bone", {"0", "1", "2", "3"});
    columns(data.bone_weights, "weight", {"0", "1", "2", "3"});
}

} // namespace

std::string vertices_csv(const kmg_reader_t &file, const kmg_piece_t &piece) {
    const kmg_piece_data_t data = file.data_of(piece);
    std::string text = "vertex";
    for_each_column(data,
                    [&](const std::string &name, const auto &, size_t) { append(text, concat(",", name)); });
    text += '\n';
    for (size_t i = 0; i < piece.vertex_count; ++i) {
        append(text, i);
        for_each_column(data, [&](const std::string &, const auto &stream, size_t value) {
            text += ',';
            append(text, stream[i][value]);
        });
        text += '\n';
    }
    return text;
}

std::string indices_csv(const kmg_reader_t &file, const kmg_piece_t &piece) {
    const auto indices = file.data_of(piece).indices;
    std::string text = "triangle,a,b,c\n";
    for (size_t i = 0; i < indices.size(); i += 3)
        append(text, concat(i / 3, ",", indices[i], ",", indices[i + 1], ",", indices[i + 2], "\n"));
    return text;
}

} // namespace kestrel
