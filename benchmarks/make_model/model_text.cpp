#include "benchmarks/make_model/model_text.h"

#include "benchmarks/make_model/skin_text.h"

#include <vector>

namespace kestrel {

namespace {

void write_header(std::string_view type, uint32_t version, text_writer_t &out) {
    out.text("Header {\n\tFormatVersion: ");
    out.integer(version);
    out.text("\n\tSource: \"make_model\"\n\tType: \"");
    out.text(type);
    out.text("\"\n\tName: \"grid\"\n}\n");
}

class model_writer_t {
  public:
    model_writer_t(const grid_t &grid, const model_style_t &style, text_writer_t &out)
        : grid_(grid), style_(style), out_(out) {}

    void write() {
        write_header("Model", 5, out_);
        global();
        out_.text("Material {\n\tAlias: \"m\"\n\tEffect: \"plain.dif\"\n}\n");
        for (uint32_t number = 0; number < grid_.strip_count(); ++number)
            piece(number);
        part();
        if (style_.skin != skin_style_t::none)
            write_skin(grid_, style_, out_);
    }

  private:
    void field(std::string_view name, uint64_t value) {
        out_.text(name);
        out_.integer(value);
    }

    void global() {
        uint64_t vertices = 0;
        for (uint32_t number = 0; number < grid_.strip_count(); ++number)
            vertices += grid_.vertices_of(grid_.strip(number));
        const bool skinned = style_.skin != skin_style_t::none;
        field("Global {\n\tVertexCount: ", vertices);
        field("\n\tTriangleCount: ", grid_.triangle_count());
        field("\n\tMaterialCount: 1\n\tPieceCount: ", grid_.strip_count());
        field("\n\tPartCount: 1\n\tBoneCount: ", skinned ? style_.bones : 0);
        out_.text("\n\tLocatorCount: 0\n\tSkeleton: \"");
        out_.text(skinned ? style_.skeleton : std::string_view());
        out_.text("\"\n");
        if (style_.skin == skin_style_t::pieces) {
            field("\tPieceSkinCount: ", grid_.strip_count());
            out_.text("\n");
        }
        out_.text("}\n");
    }

    void piece(uint32_t number) {
        const grid_strip_t strip = grid_.strip(number);
        collect_vertices(strip);
        field("Piece {\n\tIndex: ", number);
        field("\n\tMaterial: 0\n\tVertexCount: ", vertices_.size());
        field("\n\tTriangleCount: ", grid_.triangles_of(strip));
        out_.text("\n\tStreamCount: 4\n");
        stream("FLOAT3", "_POSITION", [](const grid_vertex_t &vertex) { return std::span(vertex.position); });
        stream("FLOAT3", "_NORMAL", [](const grid_vertex_t &vertex) { return std::span(vertex.normal); });
        stream("FLOAT2", "_UV0", [](const grid_vertex_t &vertex) { return std::span(vertex.uv); });
        static constexpr float white[4] = {1, 1, 1, 1};
        stream("FLOAT4", "_RGBA", [](const grid_vertex_t &) { return std::span(white); });
        triangles(strip);
        out_.text("}\n");
    }

    void collect_vertices(const grid_strip_t &strip) {
        vertices_.clear();
        for (uint32_t row = 0; row < strip.row_count; ++row)
            for (uint32_t column = 0; column < grid_.columns(); ++column)
                vertices_.push_back(grid_.vertex(strip.first_row + row, column));
    }

    template <class select_t>
    void stream(std::string_view format, std::string_view tag, select_t select) {
        out_.text("\tStream {\n\t\tFormat: ");
        out_.text(format);
        out_.text("\n\t\tTag: \"");
        out_.text(tag);
        out_.text("\"\n");
        uint32_t index = 0;
        for (const grid_vertex_t &vertex : vertices_) {
            begin_item(index++);
            write_reals(select(vertex), style_.numbers, out_);
            out_.text(" )\n");
        }
        out_.text("\t}\n");
    }

    void begin_item(uint64_t index) {
        out_.text("\t\t");
        out_.integer(index, 5);
        out_.text(" ( ");
    }

    void triangles(const grid_strip_t &strip) {
        out_.text("\tTriangles {\n");
        uint64_t index = 0;
        grid_.visit_triangles(strip.row_count, [&](uint64_t a, uint64_t b, uint64_t c) {
            begin_item(index++);
            field("", a);
            field(" ", b);
            field(" ", c);
            out_.text(" )\n");
        });
        out_.text("\t}\n");
    }

    void part() {
        field("Part {\n\tName: \"grid\"\n\tPieceCount: ", grid_.strip_count());
        out_.text("\n\tLocatorCount: 0\n\tPieces:");
        for (uint32_t number = 0; number < grid_.strip_count(); ++number)
            field(" ", number);
        out_.text("\n\tLocators:\n}\n");
    }

    const grid_t &grid_;
    const model_style_t &style_;
    text_writer_t &out_;
    std::vector<grid_vertex_t> vertices_; // of the piece being written
};

} // namespace

void write_reals(std::span<const float> values, number_style_t style, text_writer_t &out) {
    for (size_t i = 0; i < values.size(); ++i) {
        if (i > 0)
            out.text("  ");
        style == number_style_t::decimals ? out.decimal(values[i]) : out.bits(values[i]);
    }
}

void write_model(const grid_t &grid, const model_style_t &style, text_writer_t &out) {
    model_writer_t(grid, style, out).write();
}

void write_skeleton(uint32_t bones, text_writer_t &out) {
    write_header("Skeleton", 1, out);
    out.text("Global {\n\tBoneCount: ");
    out.integer(bones);
    out.text("\n}\nBones {\n");
    for (uint32_t bone = 0; bone < bones; ++bone) {
        out.text("\t");
        out.integer(bone, 5);
        out.text(" (\n\t\tName: \"");
        write_bone_name(bone, out);
        out.text("\"\n\t\tParent: \"");
        if (bone > 0)
            write_bone_name(bone - 1, out);
        out.text("\"\n\t\tMatrix: ( ");
        const float step = bone > 0 ? 10.0f / static_cast<float>(bones) : 0.0f; // along x
        const float matrix[16] = {1, 0, 0, step, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};
        write_reals(matrix, number_style_t::bit_patterns, out);
        out.text(" )\n\t)\n");
    }
    out.text("}\n");
}

} // namespace kestrel
