#pragma once

// A wavy grid of any size: what the benchmarks convert.
//
// Cut into strips of rows, one a piece, that share the vertices of their border rows; every strip has at most
// as many vertices as 16-bit indices can name. Rows and columns are counted in vertices.

#include <cstdint>
#include <optional>

namespace kestrel {

struct grid_vertex_t {
    float position[3];
    float normal[3];
    float uv[2];
};

struct grid_strip_t {
    uint32_t first_row;
    uint32_t row_count;
};

class grid_t {
  public:
    static constexpr uint32_t most_piece_vertices = 65535;

    // About that many vertices, not counting the shared ones twice, in that many pieces; in as few as 16-bit
    // indices allow for 0. None when the numbers do not go together.
    static std::optional<grid_t> plan(uint64_t vertices, uint32_t pieces);

    uint32_t columns() const { return columns_; }
    uint32_t rows() const { return rows_; }
    uint32_t quad_columns() const { return columns_ - 1; }
    uint32_t quad_rows() const { return rows_ - 1; }
    uint64_t vertex_count() const { return uint64_t{columns_} * rows_; }
    uint64_t triangle_count() const { return uint64_t{2} * quad_columns() * quad_rows(); }

    uint32_t strip_count() const { return strip_count_; }
    grid_strip_t strip(uint32_t number) const;
    uint32_t vertices_of(const grid_strip_t &strip) const { return strip.row_count * columns_; }
    uint32_t triangles_of(const grid_strip_t &strip) const {
        return 2 * (strip.row_count - 1) * quad_columns();
    }

    grid_vertex_t vertex(uint32_t row, uint32_t column) const;

    // Both triangles of each quad in `row_count` rows, as vertex numbers counted from the first of them.
    template <class visit_t>
    void visit_triangles(uint32_t row_count, visit_t visit) const {
        for (uint32_t row = 0; row + 1 < row_count; ++row) {
            for (uint32_t column = 0; column < quad_columns(); ++column) {
                const uint64_t corner = uint64_t{row} * columns_ + column;
                visit(corner, corner + 1, corner + columns_);
                visit(corner + 1, corner + columns_ + 1, corner + columns_);
            }
        }
    }

  private:
    grid_t(uint32_t columns, uint32_t rows, uint32_t strip_count)
        : columns_(columns), rows_(rows), strip_count_(strip_count) {}

    uint32_t columns_;
    uint32_t rows_;
    uint32_t strip_count_;
};

} // namespace kestrel
