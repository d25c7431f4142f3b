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
    uint16_t from, to;
    uint32_t triangle;
    auto operator<=>(const edge_t &) const = default;
};
struct by_start_t {
    bool operator()(const edge_t &edge, uint16_t start) const { return edge.from < start; }
    bool operator()(uint16_t start, const edge_t &edge) const { return start < edge.from; }
};

std::span<const edge_t> along(const std::vector<edge_t> &sorted, uint16_t from, uint16_t to) {
    const auto begin = std::lower_bound(sorted.begin(), sorted.end(), edge_t{from, to, 0});
    const auto end = std::upper_bound(begin, sorted.end(), edge_t{from, to, UINT32_MAX});
    return {begin, end};
}

class mesh_check_t {
  public:
    mesh_check_t(const piece_view_t &view, kmg_findings_t &findings) : view_(view), findings_(findings) {}

    void run() {
        check_triangles();
        check_corners();
        check_vertex_use();
        for (uint32_t channel = 0; channel < view_.piece.uv_channel_count; ++channel)
            check_stretch(channel);
    }

  private:
    struct keyed_t {
        uint64_t corners; // the smallest first, in the order of the triangle
        uint32_t triangle;
        auto operator<=>(const keyed_t &) const = default;
    };

    size_t triangle_count() const { return view_.data.indices.size() / 3; }
    void check_triangles();
    void check_triangle(size_t triangle, const std::array<uint16_t, 3> &corners);
    bool is_turned(const std::array<uint16_t, 3> &corners, const std::array<double, 3> &area) const;
    std::vector<uint16_t> first_at_position() const;
    void check_corners();
    void check_vertex_use();
    std::vector<float> least_stretches(uint32_t channel) const;
    void check_stretch(uint32_t channel);

    const piece_view_t &view_;
    kmg_findings_t &findings_;
};

void mesh_check_t::check_triangles() {
    std::vector<keyed_t> triangles;
    triangles.reserve(triangle_count());
    for (size_t t = 0; t < triangle_count(); ++t) {
        auto c = view_.corners(t);
        if (c[0] == c[1] || c[1] == c[2] || c[2] == c[0]) {
            findings_.add(finding_code_t::triangle_degenerate, view_.at_triangle(t), "has a vertex twice");
            continue;
        }
        check_triangle(t, c);
        std::rotate(c.begin(), std::min_element(c.begin(), c.end()), c.end());
        triangles.push_back({uint64_t{c[0]} << 32 | uint64_t{c[1]} << 16 | c[2], static_cast<uint32_t>(t)});
    }
    std::sort(triangles.begin(), triangles.end());
    for (size_t i = 1; i < triangles.size(); ++i)
        if (triangles[i].corners == triangles[i - 1].corners)
            findings_.add(finding_code_t::triangle_duplicate, view_.at_triangle(triangles[i].triangle),
                          [&] { return concat("repeats triangle ", triangles[i - 1].triangle); });
}

void mesh_check_t::check_triangle(size_t triangle, const std::array<uint16_t, 3> &c) {
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
    for (const uint16_t corner : corners) {
        const kmg_float3_t normal = view_.data.normals[corner];
        double dot = 0;
        for (size_t i = 0; i < 3; ++i)
            dot += static_cast<double>(normal[i]) * area[i];
        if (!(dot < turned * length(normal) * length(area)))
            return false;
    }
    return true;
}

// For each vertex the first one at its position: a surface goes on across a seam of its texture.
std::vector<uint16_t> mesh_check_t::first_at_position() const {
    using bits_t = std::array<uint32_t, 3>;
    const auto position = [&](uint16_t vertex) {
        return std::bit_cast<bits_t>(kmg_float3_t(view_.data.positions[vertex]));
    };
    std::vector<uint16_t> sorted(view_.piece.vertex_count);
    std::iota(sorted.begin(), sorted.end(), uint16_t{0});
    std::sort(sorted.begin(), sorted.end(),
              [&](uint16_t a, uint16_t b) { return std::pair(position(a), a) < std::pair(position(b), b); });
    std::vector<uint16_t> first(sorted.size());
    for (size_t i = 0; i < sorted.size(); ++i)
        first[sorted[i]] =
            i != 0 && position(sorted[i]) == position(sorted[i - 1]) ? first[sorted[i - 1]] : sorted[i];
    return first;
}

// Neighbours in a surface run along their common edge in opposite directions; edges along which there is no
// neighbour form its borders. A wrong corner d in the place of c tears a hole b, d, a, c of four such edges:
// two are the triangle's own, the other two belong to its former neighbours.
void mesh_check_t::check_corners() {
    const std::vector<uint16_t> first = first_at_position();
    const auto edge_of = [&](size_t triangle, size_t k) {
        const auto c = view_.corners(triangle);
        return edge_t{first[c[k % 3]], first[c[(k + 1) % 3]], static_cast<uint32_t>(triangle)};
    };
    std::vector<edge_t> edges;
    edges.reserve(3 * triangle_count());
    for (size_t t = 0; t < triangle_count(); ++t)
        for (size_t k = 0; k < 3; ++k)
            edges.push_back(edge_of(t, k));
    std::sort(edges.begin(), edges.end());
    std::vector<bool> has_neighbour(edges.size());
    for (size_t i = 0; i < edges.size(); ++i)
        has_neighbour[i] = !along(edges, edges[i].to, edges[i].from).empty();
    size_t next = 0;
    std::erase_if(edges, [&](const edge_t &) { return has_neighbour[next++]; });

    for (size_t t = 0; t < triangle_count(); ++t)
        for (size_t k = 0; k < 3; ++k) {
            const edge_t in = edge_of(t, k), out = edge_of(t, k + 1); // b to d, d to a
            if (along(edges, in.from, in.to).empty() || along(edges, out.from, out.to).empty())
                continue;
            const auto [begin, end] = std::equal_range(edges.begin(), edges.end(), out.to, by_start_t());
            if (end - begin != 1 || begin->triangle == t)
                continue;
            const auto back = along(edges, begin->to, in.from); // c to b
            if (back.size() == 1 && back[0].triangle != begin->triangle && back[0].triangle != t)
                findings_.add(finding_code_t::triangle_corner, view_.at_triangle(t, (k + 1) % 3), [&] {
                    return concat("corner ", (k + 1) % 3, " is vertex ", view_.corners(t)[(k + 1) % 3],
                                  ", which tears a hole into the surface; vertex ", begin->to,
                                  ", or another at its position, would close it");
                });
        }
}

void mesh_check_t::check_vertex_use() {
    const std::vector<bool> used = used_vertices(view_.piece, view_.data);
    for (size_t i = 0; i < used.size(); ++i)
        if (!used[i])
            findings_.add(finding_code_t::vertex_unused, view_.at_vertex(view_.piece.position_offset, i),
                          "no triangle uses it");
    if (const auto copies = copied_vertices(view_.file, view_.piece); !copies.empty())
        findings_.add(finding_code_t::vertex_copied,
                      view_.at_vertex(view_.piece.position_offset, copies.front()),
                      concat(copies.size(), " of ", counted_t{view_.piece.vertex_count, "vertex", "vertices"},
                             " are copies of others in all they hold, this one the first"));
}

// For each vertex the way in the texture for a unit of length, along that of its edges where it is shortest.
// Infinite for vertices without edges.
std::vector<float> mesh_check_t::least_stretches(uint32_t channel) const {
    std::vector<float> least(view_.piece.vertex_count, std::numeric_limits<float>::infinity());
    const auto &values = view_.data.uv_channels[channel];
    for (size_t t = 0; t < triangle_count(); ++t)
        for (size_t k = 0; k < 3; ++k) {
            const auto corners = view_.corners(t);
            const uint16_t a = corners[k], b = corners[(k + 1) % 3];
            const kmg_float2_t from = values[a], to = values[b];
            const double way = std::hypot(static_cast<double>(to[0]) - static_cast<double>(from[0]),
                                          static_cast<double>(to[1]) - static_cast<double>(from[1]));
            const auto stretch = static_cast<float>(
                way / length(difference(view_.data.positions[b], view_.data.positions[a])));
            least[a] = std::min(least[a], stretch); // what is no number, on an edge without length, counts
            least[b] = std::min(least[b], stretch); // for none
        }
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
