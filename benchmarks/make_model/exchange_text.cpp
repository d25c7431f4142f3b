#include "benchmarks/make_model/exchange_text.h"

#include <span>

namespace kestrel {

template <class visit_t>
static void visit_vertices(const grid_t &grid, visit_t visit) {
    for (uint32_t row = 0; row < grid.rows(); ++row)
        for (uint32_t column = 0; column < grid.columns(); ++column)
            visit(grid.vertex(row, column));
}

static void write_obj_line(std::string_view keyword, std::span<const float> values, text_writer_t &out) {
    out.text(keyword);
    for (const float value : values) {
        out.text(" ");
        out.decimal(value);
    }
    out.text("\n");
}

void write_obj(const grid_t &grid, text_writer_t &out) {
    visit_vertices(grid, [&](const grid_vertex_t &vertex) { write_obj_line("v", vertex.position, out); });
    visit_vertices(grid, [&](const grid_vertex_t &vertex) { write_obj_line("vn", vertex.normal, out); });
    visit_vertices(grid, [&](const grid_vertex_t &vertex) { write_obj_line("vt", vertex.uv, out); });
    grid.visit_triangles(grid.rows(), [&](uint64_t a, uint64_t b, uint64_t c) {
        out.text("f");
        for (const uint64_t corner : {a, b, c}) {
            for (const char *before : {" ", "/", "/"}) {
                out.text(before);
                out.integer(corner + 1);
            }
        }
        out.text("\n");
    });
}

static void write_attributes(std::string_view tag, std::string_view names, std::span<const float> values,
                             text_writer_t &out) {
    out.text("<");
    out.text(tag);
    for (size_t i = 0; i < values.size(); ++i) {
        out.text(" ");
        out.text(names.substr(i, 1));
        out.text("=\"");
        out.decimal(values[i]);
        out.text("\"");
    }
    out.text("/>");
}

void write_ogre_xml(const grid_t &grid, text_writer_t &out) {
    out.text(
        "<mesh>\n<submeshes>\n<submesh material=\"m\" usesharedvertices=\"false\" use32bitindexes=\"true\" "
        "operationtype=\"triangle_list\">\n<faces count=\"");
    out.integer(grid.triangle_count());
    out.text("\">\n");
    grid.visit_triangles(grid.rows(), [&](uint64_t a, uint64_t b, uint64_t c) {
        out.text("<face v1=\"");
        out.integer(a);
        out.text("\" v2=\"");
        out.integer(b);
        out.text("\" v3=\"");
        out.integer(c);
        out.text("\"/>\n");
    });
    out.text("</faces>\n<geometry vertexcount=\"");
    out.integer(grid.vertex_count());
    out.text("\">\n<vertexbuffer positions=\"true\" normals=\"true\" texture_coords=\"1\" "
             "texture_coord_dimensions_0=\"2\">\n");
    visit_vertices(grid, [&](const grid_vertex_t &vertex) {
        out.text("<vertex>");
        write_attributes("position", "xyz", vertex.position, out);
        write_attributes("normal", "xyz", vertex.normal, out);
        write_attributes("texcoord", "uv", vertex.uv, out);
        out.text("</vertex>\n");
    });
    out.text("</vertexbuffer>\n</geometry>\n</submesh>\n</submeshes>\n</mesh>\n");
}

} // namespace kestrel
