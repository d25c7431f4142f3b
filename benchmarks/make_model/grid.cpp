#include "benchmarks/make_model/grid.h"

#include <algorithm>
#include <cmath>

namespace kestrel {

std::optional<grid_t> grid_t::plan(uint64_t vertices, uint32_t pieces) {
    constexpr uint64_t most_vertices =
        0x7FFFFFFF; // the strips' shared rows and the triangles fit 32 bits too
    if (vertices < 4 || vertices > most_vertices)
        return std::nullopt;
    // At least two rows, and columns of which two rows fit into one piece.
    constexpr uint32_t most_columns = most_piece_vertices / 2;
    const auto columns =
        std::clamp(static_cast<uint32_t>(std::sqrt(static_cast<double>(vertices))), 2u, most_columns);
    const auto rows = static_cast<uint32_t>(vertices / columns);
    if (rows < 2)
        return std::nullopt;
    const uint32_t quad_rows = rows - 1;
    const uint32_t most_quads = most_piece_vertices / columns - 1; // rows of them in a strip
    const auto divided_up = [](uint32_t a, uint32_t b) { return (a + b - 1) / b; };
    const uint32_t strips = pieces == 0 ? divided_up(quad_rows, most_quads) : pieces;
    if (strips > quad_rows || divided_up(quad_rows, strips) > most_quads)
        return std::nullopt;
    return grid_t(columns, rows, strips);
}

grid_strip_t grid_t::strip(uint32_t number) const {
    const auto begin = [this](uint64_t strip) {
        return static_cast<uint32_t>(strip * quad_rows() / strip_count_);
    };
    return {begin(number), begin(number + uint64_t{1}) - begin(number) + 1};
}

grid_vertex_t grid_t::vertex(uint32_t row, uint32_t column) const {
    const double u = static_cast<double>(column) / columns_;
    const double v = static_cast<double>(row) / rows_;
    const double x = u * 10, y = v * 10;
    const double slope_x = 1.5 * std::cos(3 * x) * std::cos(2 * y);
    const double slope_y = -std::sin(3 * x) * std::sin(2 * y);
    const double length = std::sqrt(slope_x * slope_x + slope_y * slope_y + 1);
    const auto single = [](double value) { return static_cast<float>(value); };
    return {{single(x), single(y), single(0.5 * std::sin(3 * x) * std::cos(2 * y))},
            {single(-slope_x / length), single(-slope_y / length), single(1 / length)},
            {single(u), single(v)}};
}

} // namespace kestrel
