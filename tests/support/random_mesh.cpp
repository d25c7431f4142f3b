#include "tests/support/random_mesh.h"

#include <algorithm>
#include <limits>

namespace kestrel {

static std::vector<plain_triangle_t> grid(uint32_t width, uint32_t height) {
    std::vector<plain_triangle_t> triangles;
    for (uint32_t y = 0; y < height; ++y)
        for (uint32_t x = 0; x < width; ++x) {
            const uint32_t a = y * (width + 1) + x, b = a + width + 1;
            triangles.push_back({a, a + 1, b});
            triangles.push_back({a + 1, b + 1, b});
        }
    return triangles;
}

std::vector<plain_triangle_t> random_mesh_t::triangles() {
    std::vector<plain_triangle_t> triangles;
    const uint32_t count = 1 + below(one_in(4) ? 200 : 20);
    switch (below(6)) {
    case 0:
        for (uint32_t i = 0; i < count; ++i)
            triangles.push_back({3 * i, 3 * i + 1, 3 * i + 2});
        break;
    case 1:
        for (uint32_t i = 0; i < count; ++i)
            triangles.push_back({0, i + 1, i + 2});
        break;
    case 2:
        for (uint32_t i = 0; i < count; ++i)
            triangles.push_back({i, i + 1 + i % 2, i + 2 - i % 2});
        break;
    case 3:
        triangles = grid(1 + below(12), 1 + below(8));
        break;
    default: {
        const uint32_t vertices = one_in(2) ? 3 + below(6) : 3 + below(300);
        for (uint32_t i = 0; i < count; ++i)
            triangles.push_back({below(vertices), below(vertices), below(vertices)});
    }
    }
    disturb(triangles);
    return triangles;
}

std::vector<plain_triangle_t> random_mesh_t::hub_triangles() {
    std::vector<plain_triangle_t> triangles;
    uint32_t next = 2 + below(3); // hubs come first
    const uint32_t hubs = next;
    const uint32_t count = 80 + below(one_in(4) ? 1200 : 200);
    const uint32_t kind = below(8);
    const uint32_t width = 3 + below(9), height = 3 + below(9);
    const uint32_t shared = next;
    next += 4;
    while (triangles.size() < count) {
        const uint32_t hub = below(hubs);
        switch (kind == 7 ? below(6) : kind) {
        case 0: // a fan
            for (uint32_t i = 1 + below(count / 2); i > 0; --i, ++next)
                triangles.push_back({hub, next, next + 1});
            next += 2;
            break;
        case 1: // between two hubs
            triangles.push_back({hub, (hub + 1) % hubs, next});
            next += below(2);
            break;
        case 2: { // a patch that touches a hub here and there, often large enough to push it out of the cache
            const uint32_t columns = 1 + below(9), rows = 1 + below(5);
            const uint32_t vertices = (columns + 1) * (rows + 1);
            for (const auto &[a, b, c] : grid(columns, rows))
                triangles.push_back({next + a, next + b, next + c});
            for (uint32_t i = below(8); i > 0; --i)
                triangles.push_back({hub, next + below(vertices), next + below(vertices)});
            next += vertices;
            break;
        }
        case 4: // patches that are all the same and that a hub sees along a side
            for (const auto &[a, b, c] : grid(width, height))
                triangles.push_back({next + a, next + b, next + c});
            for (uint32_t i = 0; i < width; ++i)
                triangles.push_back({0, next + i, next + i + 1});
            next += (width + 1) * (height + 1);
            break;
        case 5: // loose patches that push a hub out of the cache and leave some of its triangles behind
        case 6:
            for (const auto &[a, b, c] : grid(6 + below(4), 5 + below(5)))
                triangles.push_back({next + a, next + b, next + c});
            for (uint32_t i = below(40); i > 0; --i)
                triangles.push_back({hub, next + below(10), shared + below(4)});
            next += 100;
            break;
        default: // few vertices
            triangles.push_back({hub, next + below(3), next + 3 + below(3)});
        }
    }
    disturb(triangles);
    return triangles;
}

void random_mesh_t::disturb(std::vector<plain_triangle_t> &triangles) {
    if (one_in(4))
        for (uint32_t i = below(10); i > 0; --i)
            triangles.push_back(triangles[below(static_cast<uint32_t>(triangles.size()))]);
    for (plain_triangle_t &triangle : triangles) {
        if (one_in(30))
            triangle[1] = triangle[0];
        if (one_in(5))
            std::rotate(triangle.begin(), triangle.begin() + 1, triangle.end());
    }
    if (one_in(2))
        std::shuffle(triangles.begin(), triangles.end(), random_);
}

float random_mesh_t::coordinate() {
    const float choice[] = {0.0f, -0.0f, 1.0f, 0.5f, std::numeric_limits<float>::quiet_NaN(), -3.25f};
    return choice[below(one_in(8) ? 6 : 4)];
}

plain_piece_t random_mesh_t::piece() {
    plain_piece_t piece;
    piece.triangles = triangles();
    for (const plain_triangle_t &triangle : piece.triangles)
        for (const uint32_t corner : triangle)
            piece.vertex_count = std::max(piece.vertex_count, corner + 1);
    if (one_in(3))
        piece.vertex_count += below(8);
    // From all vertices different to most of them the same.
    const uint32_t kinds = 1 + below(2 * piece.vertex_count);
    std::vector<std::string> positions, colours;
    for (uint32_t i = 0; i < kinds; ++i) {
        const float distinct = one_in(3) ? 0.0f : static_cast<float>(i);
        positions.push_back(bytes_of({coordinate(), coordinate(), distinct}));
        colours.push_back(bytes_of({coordinate()}));
    }
    std::vector<plain_stream_t> streams = {
        {"_COLOUR", stream_format_t::float1, {}, {}},
        {one_in(8) ? "_PLACE" : "_POSITION", stream_format_t::float3, {}, {}},
        {"_POSITION", stream_format_t::float3, {}, {}}};
    for (uint32_t v = 0; v < piece.vertex_count; ++v) {
        const uint32_t kind = kinds < piece.vertex_count ? below(kinds) : v;
        streams[0].items.push_back(colours[one_in(2) ? kind : below(kinds)]);
        streams[1].items.push_back(positions[kind]);
        streams[2].items.push_back(positions[one_in(16) ? 0 : kind]);
    }
    const uint32_t first = below(2);
    const uint32_t count = 1 + below(3 - first);
    piece.streams.assign(streams.begin() + first, streams.begin() + first + count);
    return piece;
}

plain_skin_t random_mesh_t::skin(uint32_t vertex_count) {
    std::vector<uint32_t> vertices(vertex_count);
    for (uint32_t v = 0; v < vertex_count; ++v)
        vertices[v] = v;
    std::shuffle(vertices.begin(), vertices.end(), random_);
    if (vertex_count > 3 && one_in(2))
        vertices[0] = vertices[1]; // one twice, so another one not at all
    plain_skin_t skin;
    for (size_t next = 0; next < vertices.size();) {
        plain_skin_item_t item{{static_cast<float>(next), 0, 0}, {}, {}};
        for (uint32_t i = below(3); i > 0; --i)
            item.weights.emplace_back(below(2), coordinate());
        for (uint32_t i = 1 + below(3); i > 0 && next < vertices.size(); --i)
            item.vertices.push_back(vertices[next++]);
        skin.items.push_back(item);
    }
    return skin;
}

} // namespace kestrel
