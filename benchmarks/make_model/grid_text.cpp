#include "benchmarks/make_model/grid_text.h"

#include "tools/kim_text/model_text.h"

#include <algorithm>
#include <string>
#include <vector>

namespace kestrel {

namespace {

std::string bone_name(uint32_t bone) {
    return "bone" + std::to_string(bone);
}

class grid_writer_t {
  public:
    grid_writer_t(const grid_t &grid, const model_style_t &style, text_writer_t &out)
        : grid_(grid), style_(style), text_(out, style.numbers) {}

    void write() {
        text_.header("Model", 5, "make_model", "grid");
        global();
        text_.material("m", "plain.dif");
        for (uint32_t number = 0; number < grid_.strip_count(); ++number)
            piece(number);
        part();
        if (style_.skin != skin_style_t::none)
            bones();
        if (style_.skin == skin_style_t::model)
            model_skin();
        if (style_.skin == skin_style_t::pieces)
            for (uint32_t number = 0; number < grid_.strip_count(); ++number)
                piece_skin(number);
    }

  private:
    // Where a row of the grid lies in a piece.
    struct place_t {
        uint32_t strip;
        uint32_t row; // of the strip
    };

    void global() {
        const bool skinned = style_.skin != skin_style_t::none;
        model_counts_t counts{.triangles = grid_.triangle_count(),
                              .materials = 1,
                              .pieces = grid_.strip_count(),
                              .parts = 1,
                              .bones = skinned ? style_.bones : 0};
        for (uint32_t number = 0; number < grid_.strip_count(); ++number)
            counts.vertices += grid_.vertices_of(grid_.strip(number));
        if (style_.skin == skin_style_t::pieces)
            counts.piece_skins = grid_.strip_count();
        text_.global(counts, skinned ? style_.skeleton : std::string_view());
    }

    void piece(uint32_t number) {
        const grid_strip_t strip = grid_.strip(number);
        collect_vertices(strip);
        text_.begin_piece(number, 0, vertices_.size(), grid_.triangles_of(strip), 4);
        stream("FLOAT3", "_POSITION", [](const grid_vertex_t &vertex) { return std::span(vertex.position); });
        stream("FLOAT3", "_NORMAL", [](const grid_vertex_t &vertex) { return std::span(vertex.normal); });
        stream("FLOAT2", "_UV0", [](const grid_vertex_t &vertex) { return std::span(vertex.uv); });
        static constexpr float white[4] = {1, 1, 1, 1};
        stream("FLOAT4", "_RGBA", [](const grid_vertex_t &) { return std::span(white); });
        text_.begin_triangles();
        grid_.visit_triangles(strip.row_count,
                              [&](uint64_t a, uint64_t b, uint64_t c) { text_.triangle(a, b, c); });
        text_.end_triangles();
        text_.end_piece();
    }

    void collect_vertices(const grid_strip_t &strip) {
        vertices_.clear();
        for (uint32_t row = 0; row < strip.row_count; ++row)
            for (uint32_t column = 0; column < grid_.columns(); ++column)
                vertices_.push_back(grid_.vertex(strip.first_row + row, column));
    }

    template <class select_t>
    void stream(std::string_view format, std::string_view tag, select_t select) {
        text_.begin_stream(format, tag);
        for (const grid_vertex_t &vertex : vertices_)
            text_.item(select(vertex));
        text_.end_stream();
    }

    void part() {
        std::vector<uint32_t> pieces(grid_.strip_count());
        for (uint32_t number = 0; number < grid_.strip_count(); ++number)
            pieces[number] = number;
        text_.part("grid", pieces, {});
    }

    void bones() {
        text_.begin_bones();
        for (uint32_t bone = 0; bone < style_.bones; ++bone)
            text_.bone_name(bone_name(bone));
        text_.end_bones();
    }

    void model_skin() {
        std::vector<std::vector<place_t>> places(grid_.rows());
        uint64_t place_count = 0;
        for (uint32_t number = 0; number < grid_.strip_count(); ++number) {
            const grid_strip_t strip = grid_.strip(number);
            for (uint32_t row = 0; row < strip.row_count; ++row)
                places[strip.first_row + row].push_back({number, row});
            place_count += grid_.vertices_of(strip);
        }
        text_.begin_skin(grid_.vertex_count(), grid_.vertex_count() * weights_a_vertex(), place_count);
        std::vector<clone_text_t> clones;
        for (uint32_t row = 0; row < grid_.rows(); ++row) {
            for (uint32_t column = 0; column < grid_.columns(); ++column) {
                clones.clear();
                for (const place_t &place : places[row])
                    clones.push_back({place.strip, uint64_t{place.row} * grid_.columns() + column});
                text_.skin_item(grid_.vertex(row, column).position, weights_at(column), clones);
            }
        }
        text_.end_skin();
    }

    void piece_skin(uint32_t number) {
        const grid_strip_t strip = grid_.strip(number);
        const uint64_t vertices = grid_.vertices_of(strip);
        text_.begin_piece_skin(number, vertices, vertices * weights_a_vertex(), vertices);
        uint32_t vertex = 0;
        for (uint32_t row = 0; row < strip.row_count; ++row) {
            for (uint32_t column = 0; column < grid_.columns(); ++column) {
                text_.piece_skin_item(grid_.vertex(strip.first_row + row, column).position,
                                      weights_at(column), std::span(&vertex, 1));
                ++vertex;
            }
        }
        text_.end_skin();
    }

    uint32_t weights_a_vertex() const { return std::min(style_.bones, 3u); }

    // Each vertex hangs on up to three neighbouring bones. Valid until the next call.
    std::span<const weight_text_t> weights_at(uint32_t column) {
        const uint32_t weights = weights_a_vertex();
        const double place = static_cast<double>(column) / grid_.columns() * style_.bones;
        const auto nearest = static_cast<uint32_t>(place);
        const uint32_t first = std::min(nearest > 0 ? nearest - 1 : 0, style_.bones - weights);
        // The last one's share varies along the columns, the others have the rest.
        const float last = weights > 1 ? static_cast<float>(place - nearest) / 2 : 1.0f;
        const float other = weights > 1 ? (1 - last) / static_cast<float>(weights - 1) : 0.0f;
        weights_.clear();
        for (uint32_t i = 0; i < weights; ++i)
            weights_.push_back({first + i, i + 1 < weights ? other : last});
        return weights_;
    }

    const grid_t &grid_;
    const model_style_t &style_;
    model_text_t text_;
    std::vector<grid_vertex_t> vertices_; // of the piece being written
    std::vector<weight_text_t> weights_;
};

} // namespace

void write_model(const grid_t &grid, const model_style_t &style, text_writer_t &out) {
    grid_writer_t(grid, style, out).write();
}

void write_skeleton(uint32_t bones, text_writer_t &out) {
    model_text_t text(out, number_style_t::bit_patterns);
    text.header("Skeleton", 1, "make_model", "grid");
    text.begin_skeleton(bones);
    for (uint32_t bone = 0; bone < bones; ++bone) {
        const float step = bone > 0 ? 10.0f / static_cast<float>(bones) : 0.0f; // along x
        const float matrix[16] = {1, 0, 0, step, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};
        text.bone(bone_name(bone), bone > 0 ? bone_name(bone - 1) : "", matrix);
    }
    text.end_skeleton();
}

} // namespace kestrel
