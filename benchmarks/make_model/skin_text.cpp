#include "benchmarks/make_model/skin_text.h"

#include <algorithm>
#include <vector>

namespace kestrel {

namespace {

class skin_writer_t {
  public:
    skin_writer_t(const grid_t &grid, const model_style_t &style, text_writer_t &out)
        : grid_(grid), style_(style), out_(out) {}

    void bones() {
        out_.text("Bones {\n");
        for (uint32_t bone = 0; bone < style_.bones; ++bone) {
            out_.text("\t");
            out_.integer(bone, 5);
            out_.text(" ( \"");
            write_bone_name(bone, out_);
            out_.text("\" )\n");
        }
        out_.text("}\n");
    }

    void model_skin() {
        collect_places();
        out_.text("Skin {\n\tStreamCount: 1\n\tSkinStream {\n\t\tFormat: FLOAT3\n\t\tTag: \"_POSITION\"\n");
        count("ItemCount", grid_.vertex_count());
        count("TotalWeightCount", grid_.vertex_count() * weights_a_vertex());
        count("TotalCloneCount", place_count_);
        uint64_t index = 0;
        for (uint32_t row = 0; row < grid_.rows(); ++row) {
            for (uint32_t column = 0; column < grid_.columns(); ++column) {
                begin_item(index++, row, column);
                out_.text("\t\t\tClones: ");
                out_.integer(places_[row].size());
                for (const place_t &place : places_[row])
                    pair(place.strip, uint64_t{place.row} * grid_.columns() + column);
                out_.text("\n\t\t)\n");
            }
        }
        out_.text("\t}\n}\n");
    }

    void piece_skin(uint32_t number) {
        const grid_strip_t strip = grid_.strip(number);
        const uint64_t vertices = grid_.vertices_of(strip);
        out_.text("PieceSkin {\n\tPiece: ");
        out_.integer(number);
        out_.text("\n\tStreamCount: 1\n\tPieceSkinStream {\n\t\tFormat: FLOAT3\n\t\tTag: \"_POSITION\"\n");
        count("ItemCount", vertices);
        count("TotalWeightCount", vertices * weights_a_vertex());
        count("TotalVertexIndexCount", vertices);
        uint64_t index = 0;
        for (uint32_t row = 0; row < strip.row_count; ++row) {
            for (uint32_t column = 0; column < grid_.columns(); ++column) {
                begin_item(index, strip.first_row + row, column);
                out_.text("\t\t\tVertexIndices: 1  ");
                out_.integer(index++);
                out_.text("\n\t\t)\n");
            }
        }
        out_.text("\t}\n}\n");
    }

  private:
    // Where a row of the grid lies in a piece.
    struct place_t {
        uint32_t strip;
        uint32_t row; // of the strip
    };

    void collect_places() {
        places_.resize(grid_.rows());
        for (uint32_t number = 0; number < grid_.strip_count(); ++number) {
            const grid_strip_t strip = grid_.strip(number);
            for (uint32_t row = 0; row < strip.row_count; ++row)
                places_[strip.first_row + row].push_back({number, row});
            place_count_ += grid_.vertices_of(strip);
        }
    }

    void count(std::string_view name, uint64_t value) {
        out_.text("\t\t");
        out_.text(name);
        out_.text(": ");
        out_.integer(value);
        out_.text("\n");
    }
    void pair(uint64_t first, uint64_t second) {
        out_.text("  ");
        out_.integer(first);
        out_.text(" ");
        out_.integer(second);
    }

    uint32_t weights_a_vertex() const { return std::min(style_.bones, 3u); }

    // Up to the line of vertices.
    void begin_item(uint64_t index, uint32_t row, uint32_t column) {
        out_.text("\t\t");
        out_.integer(index, 5);
        out_.text(" (\n\t\t\t( ");
        write_reals(grid_.vertex(row, column).position, style_.numbers, out_);
        out_.text(" )\n\t\t\tWeights: ");
        const uint32_t weights = weights_a_vertex();
        out_.integer(weights);
        const double place = static_cast<double>(column) / grid_.columns() * style_.bones;
        const auto nearest = static_cast<uint32_t>(place);
        const uint32_t first = std::min(nearest > 0 ? nearest - 1 : 0, style_.bones - weights);
        // The last one's share varies along the columns, the others have the rest.
        const float last = weights > 1 ? static_cast<float>(place - nearest) / 2 : 1.0f;
        const float other = weights > 1 ? (1 - last) / static_cast<float>(weights - 1) : 0.0f;
        for (uint32_t i = 0; i < weights; ++i) {
            out_.text("  ");
            out_.integer(first + i);
            out_.text(" ");
            write_reals(std::span(i + 1 < weights ? &other : &last, 1), style_.numbers, out_);
        }
        out_.text("\n");
    }

    const grid_t &grid_;
    const model_style_t &style_;
    text_writer_t &out_;
    std::vector<std::vector<place_t>> places_; // of each row of the grid
    uint64_t place_count_ = 0;
};

} // namespace

void write_bone_name(uint32_t bone, text_writer_t &out) {
    out.text("bone");
    out.integer(bone);
}

void write_skin(const grid_t &grid, const model_style_t &style, text_writer_t &out) {
    skin_writer_t writer(grid, style, out);
    writer.bones();
    if (style.skin == skin_style_t::model) {
        writer.model_skin();
        return;
    }
    for (uint32_t number = 0; number < grid.strip_count(); ++number)
        writer.piece_skin(number);
}

} // namespace kestrel
