#include "kcore/collections/hashed_table.h"
#include "tools/kmg/affine.h"
#include "tools/kmg/kmg_checks.h"

#include <algorithm>
#include <bit>
#include <limits>
#include <numeric>

namespace kestrel {

namespace {

// Cosine between a triangle and its corners' normals, below which it faces the other way.
constexpr double turned = -0.1;
// How many times more a texture is stretched around a vertex that is told of than around any other. Measured
// on the sample models, the most is 1.5.
constexpr float stray_stretch = 2;
constexpr size_t fewest_to_compare = 8;

std::array<double, 3> difference(const kmg_float3_t &a, const kmg_float3_t &b) {
    std::array<double, 3> d;
    for (size_t i = 0; i < 3; ++i)
        d[i] = static_cast<double>(a[i]) - static_cast<double>(b[i]);
    return d;
}

// Exactly: a sliver is a triangle. Zero for none.
std::array<double, 3> area_vector(const kmg_float3_t &a, const kmg_float3_t &b, const kmg_float3_t &c) {
    const auto u = difference(b, a), v = difference(c, a);
    return {u[1] * v[2] - u[2] * v[1], u[2] * v[0] - u[0] * v[2], u[0] * v[1] - u[1] * v[0]};
}

struct edge_t {
    uint16_t to;
    uint16_t third; // corner of its triangle
    uint32_t triangle;
    auto operator<=>(const edge_t &) const = default;
};

// Edges by the vertex where they start, in the order in which they are given.
class edges_t {
  public:
    // for_each(f) calls f(from, edge) for each, and does it twice.
    template <class F>
    edges_t(size_t vertex_count, const F &for_each) : ends_(vertex_count + 1) {
        for_each([&](uint16_t from, const edge_t &) { ++ends_[from + 1u]; });
        std::partial_sum(ends_.begin(), ends_.end(), ends_.begin());
        edges_.resize(ends_.back());
        for_each([&](uint16_t from, const edge_t &edge) { edges_[ends_[from]++] = edge; });
        ends_.pop_back(); // now each is where its list ends
    }

    std::span<const edge_t> from(size_t vertex) const {
        const uint32_t begin = vertex == 0 ? 0 : ends_[vertex - 1];
        return std::span(edges_).subspan(begin, ends_[vertex] - begin);
    }
    std::span<edge_t> from(size_t vertex) {
        const auto edges = std::as_const(*this).from(vertex);
        return std::span(edges_).subspan(static_cast<size_t>(edges.data() - edges_.data()), edges.size());
    }
    // The edges of every vertex in ascending order.
    void sort() {
        for (size_t vertex = 0; vertex < ends_.size(); ++vertex)
            std::ranges::sort(from(vertex));
    }
    // Of sorted edges.
    std::span<const edge_t> along(uint16_t vertex, uint16_t to) const {
        struct by_end_t {
            bool operator()(const edge_t &edge, uint16_t end) const { return edge.to < end; }
            bool operator()(uint16_t end, const edge_t &edge) const { return end < edge.to; }
        };
        const auto all = from(vertex);
        const auto [first, last] = std::equal_range(all.begin(), all.end(), to, by_end_t());
        return {first, last};
    }

  private:
    std::vector<uint32_t> ends_;
    std::vector<edge_t> edges_;
};

bool has_one_twice(const std::array<uint16_t, 3> &corners) {
    return corners[0] == corners[1] || corners[1] == corners[2] || corners[2] == corners[0];
}

class mesh_check_t {
  public:
    mesh_check_t(const piece_view_t &view, kmg_findings_t &findings)
        : view_(view), findings_(findings), first_(first_at_position()) {}

    void run() {
        check_triangles();
        check_corners();
        check_vertex_use();
        for (uint32_t channel = 0; channel < view_.piece.uv_channel_count; ++channel)
            check_stretch(channel);
    }

  private:
    size_t triangle_count() const { return view_.data.indices.size() / 3; }
    void check_triangles();
    void check_triangle(size_t triangle, const std::array<uint16_t, 3> &corners);
    bool is_turned(const std::array<uint16_t, 3> &corners, const std::array<double, 3> &area) const;
    std::vector<uint16_t> first_at_position() const;
    void check_corners();
    void report_corner(uint32_t triangle, uint16_t wrong, uint16_t right);
    void check_vertex_use();
    std::vector<float> least_stretches(uint32_t channel) const;
    void check_stretch(uint32_t channel);

    const piece_view_t &view_;
    kmg_findings_t &findings_;
    // For each vertex the first one at its position: a surface goes on across a seam of its texture.
    const std::vector<uint16_t> first_;
};

void mesh_check_t::check_triangles() {
    for (size_t t = 0; t < triangle_count(); ++t)
        check_triangle(t, view_.corners(t));
    edges_t smallest(view_.piece.vertex_count, [&](const auto &add) {
        for (uint32_t t = 0; t < triangle_count(); ++t)
            if (auto c = view_.corners(t); !has_one_twice(c)) {
                std::rotate(c.begin(), std::min_element(c.begin(), c.end()), c.end());
                add(c[0], {c[1], c[2], t});
            }
    });
    smallest.sort();
    for (uint32_t vertex = 0; vertex < view_.piece.vertex_count; ++vertex) {
        const auto edges = smallest.from(vertex);
        for (size_t i = 1; i < edges.size(); ++i)
            if (edges[i].to == edges[i - 1].to && edges[i].third == edges[i - 1].third)
                findings_.add(finding_code_t::triangle_duplicate, view_.at_triangle(edges[i].triangle),
                              [&] { return concat("repeats triangle ", edges[i - 1].triangle); });
    }
}

void mesh_check_t::check_triangle(size_t triangle, const std::array<uint16_t, 3> &c) {
    if (has_one_twice(c))
        return findings_.add(finding_code_t::triangle_degenerate, view_.at_triangle(triangle),
                             "has a vertex twice");
    const auto &positions = view_.data.positions;
    const auto area = area_vector(positions[c[0]], positions[c[1]], positions[c[2]]);
    if (area == std::array<double, 3>{})
        findings_.add(finding_code_t::triangle_degenerate, view_.at_triangle(triangle), "has no area");
    else if (is_turned(c, area))
        findings_.add(finding_code_t::triangle_turned, view_.at_triangle(triangle),
                      "faces away from the normals of its corners");
}

bool mesh_check_t::is_turned(const std::array<uint16_t, 3> &corners,
                             const std::array<double, 3> &area) const {
    return std::ranges::all_of(corners, [&](uint16_t corner) {
        const kmg_float3_t normal = view_.data.normals[corner];
        double dot = 0;
        for (size_t i = 0; i < 3; ++i)
            dot += static_cast<double>(normal[i]) * area[i];
        return dot < 0 && dot < turned * length(normal) * length(area);
    });
}

std::vector<uint16_t> mesh_check_t::first_at_position() const {
    const auto bits = [&](size_t vertex) {
        return std::bit_cast<std::array<uint32_t, 3>>(kmg_float3_t(view_.data.positions[vertex]));
    };
    hashed_table_t table;
    table.reset(view_.piece.vertex_count);
    std::vector<uint16_t> first(view_.piece.vertex_count);
    for (uint32_t i = 0; i < first.size(); ++i) {
        const auto position = bits(i);
        const uint64_t hash =
            mix_hash(mix_hash(mix_hash(hash_secret, position[0]), position[1]), position[2]);
        first[i] = static_cast<uint16_t>(
            table.find_or_add(hash, i, [&](uint32_t other) { return bits(other) == position; }));
    }
    return first;
}

// Neighbours in a surface run along their common edge in opposite directions; edges along which there is no
// neighbour form its borders. A wrong corner d in the place of c tears a hole b, d, a, c of four such edges:
// two are the triangle's own, the others belong to two of its former neighbours.
void mesh_check_t::check_corners() {
    const edges_t edges(first_.size(), [&](const auto &add) {
        for (uint32_t t = 0; t < triangle_count(); ++t) {
            auto c = view_.corners(t);
            for (uint16_t &corner : c)
                corner = first_[corner];
            if (!has_one_twice(c))
                for (size_t k = 0; k < 3; ++k)
                    add(c[k], {c[(k + 1) % 3], c[(k + 2) % 3], t});
        }
    });
    // Where an edge starts another of its triangle ends, which comes from the third corner.
    std::vector<uint32_t> has_edge_to(first_.size(), std::numeric_limits<uint32_t>::max());
    edges_t borders(first_.size(), [&](const auto &add) {
        for (uint32_t vertex = 0; vertex < first_.size(); ++vertex) {
            for (const edge_t &edge : edges.from(vertex))
                has_edge_to[edge.third] = vertex;
            for (const edge_t &edge : edges.from(vertex))
                if (has_edge_to[edge.to] != vertex)
                    add(static_cast<uint16_t>(vertex), edge);
        }
    });
    borders.sort();
    for (uint32_t vertex = 0; vertex < first_.size(); ++vertex) {
        const auto b = static_cast<uint16_t>(vertex);
        for (const auto &[d, a, triangle] : borders.from(b)) {
            const auto beyond = borders.from(a);
            if (borders.along(d, a).empty() || beyond.size() != 1 || beyond[0].triangle == triangle)
                continue;
            const auto back = borders.along(beyond[0].to, b);
            if (back.size() == 1 && back[0].triangle != beyond[0].triangle && back[0].triangle != triangle)
                report_corner(triangle, d, beyond[0].to);
        }
    }
}

void mesh_check_t::report_corner(uint32_t triangle, uint16_t wrong, uint16_t right) {
    const auto corners = view_.corners(triangle);
    size_t k = 0;
    while (first_[corners[k]] != wrong)
        ++k;
    findings_.add(finding_code_t::triangle_corner, view_.at_triangle(triangle, k), [&] {
        return concat("corner ", k, " is vertex ", corners[k],
                      ", which tears a hole into the surface; vertex ", right,
                      ", or another at its position, would close it");
    });
}

void mesh_check_t::check_vertex_use() {
    const std::vector<bool> used = used_vertices(view_.piece, view_.data);
    for (size_t i = 0; i < used.size(); ++i)
        if (!used[i])
            findings_.add(finding_code_t::vertex_unused, view_.at_vertex(view_.piece.position_offset, i),
                          "no triangle uses it");
    // Copies are at one position, and most meshes have but one vertex there.
    size_t vertex = 0;
    if (std::ranges::all_of(first_, [&](uint16_t first) { return first == vertex++; }))
        return;
    if (const auto copies = copied_vertices(view_.file, view_.piece); !copies.empty())
        findings_.add(finding_code_t::vertex_copied,
                      view_.at_vertex(view_.piece.position_offset, copies.front()),
                      concat(copies.size(), " of ", counted_t{view_.piece.vertex_count, "vertex", "vertices"},
                             " are copies of others in all they hold, this one the first"));
}

// For each vertex the way in the texture for a unit of length, along that of its edges where it is shortest.
// Infinite for vertices without edges.
std::vector<float> mesh_check_t::least_stretches(uint32_t channel) const {
    constexpr double none = std::numeric_limits<double>::infinity();
    std::vector<double> least_squares(view_.piece.vertex_count, none);
    const auto &values = view_.data.uv_channels[channel];
    for (size_t t = 0; t < triangle_count(); ++t) {
        const auto corners = view_.corners(t);
        for (size_t k = 0; k < 3; ++k) {
            const uint16_t a = corners[k], b = corners[(k + 1) % 3];
            const kmg_float2_t from = values[a], to = values[b];
            const double u = static_cast<double>(to[0]) - static_cast<double>(from[0]);
            const double v = static_cast<double>(to[1]) - static_cast<double>(from[1]);
            const auto way = difference(view_.data.positions[b], view_.data.positions[a]);
            const double square = (u * u + v * v) / (way[0] * way[0] + way[1] * way[1] + way[2] * way[2]);
            for (double *least : {&least_squares[a], &least_squares[b]})
                *least =
                    std::min(*least, square); // on an edge without length no number, which counts for none
        }
    }
    std::vector<float> least(least_squares.size());
    std::ranges::transform(least_squares, least.begin(),
                           [](double square) { return static_cast<float>(std::sqrt(square)); });
    return least;
}

void mesh_check_t::check_stretch(uint32_t channel) {
    const std::vector<float> stretches = least_stretches(channel);
    float most = 0, second = 0;
    size_t vertex = 0, compared = 0;
    for (size_t i = 0; i < stretches.size(); ++i) {
        if (std::isinf(stretches[i]))
            continue;
        ++compared;
        if (stretches[i] > most) {
            second = std::exchange(most, stretches[i]);
            vertex = i;
        } else
            second = std::max(second, stretches[i]);
    }
    if (compared < fewest_to_compare || !(most > stray_stretch * second))
        return;
    const uint32_t offset = view_.piece.uv_offset + channel * uint32_t{sizeof(kmg_float2_t)};
    findings_.add(finding_code_t::vertex_stray, view_.at_vertex(offset, vertex), [&] {
        return concat("along each of its edges uv", channel, " changes by ", rounded_t{double{most}, 3},
                      " or more for a unit of length, at every other vertex along one by at most ",
                      rounded_t{double{second}, 3});
    });
}

} // namespace

void check_mesh(const piece_view_t &view, kmg_findings_t &findings) {
    mesh_check_t(view, findings).run();
}

} // namespace kestrel
