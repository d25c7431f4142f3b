#include "tools/gltf/gltf_mesh.h"

#include "tools/gltf/gltf_matrix.h"

#include <algorithm>
#include <charconv>
#include <numeric>
#include <tuple>

namespace kestrel {

namespace {

using vector_t = std::array<double, 3>;

vector_t to_double(const kmg_float3_t &v) {
    return {static_cast<double>(v[0]), static_cast<double>(v[1]), static_cast<double>(v[2])};
}
kmg_float3_t to_single(const vector_t &v) {
    return {static_cast<float>(v[0]), static_cast<float>(v[1]), static_cast<float>(v[2])};
}
vector_t difference(const kmg_float3_t &a, const kmg_float3_t &b) {
    const vector_t x = to_double(a), y = to_double(b);
    return {x[0] - y[0], x[1] - y[1], x[2] - y[2]};
}
vector_t cross(const vector_t &a, const vector_t &b) {
    return {a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]};
}
double dot(const vector_t &a, const vector_t &b) {
    return a[0] * b[0] + a[1] * b[1] + a[2] * b[2];
}
// Of length 1, or `otherwise` when it has none.
vector_t unit(const vector_t &v, const vector_t &otherwise) {
    const double l = length(v);
    return l > 0 && std::isfinite(l) ? vector_t{v[0] / l, v[1] / l, v[2] / l} : otherwise;
}
vector_t turned(const matrix_t &matrix, const vector_t &v) {
    vector_t result;
    for (size_t r = 0; r < 3; ++r)
        result[r] = matrix.m[r][0] * v[0] + matrix.m[r][1] * v[1] + matrix.m[r][2] * v[2];
    return result;
}

bool is_identity(const matrix_t &matrix) {
    return std::equal(&matrix.m[0][0], &matrix.m[0][0] + 16, &identity_matrix.m[0][0]);
}

// COLOR_0 may have no alpha.
std::vector<kmg_float4_t> read_colours(const gltf_accessors_t &accessors, int accessor) {
    if (accessors.components(accessor) != 3)
        return accessors.vectors<4>(accessor);
    std::vector<kmg_float4_t> colours;
    for (const auto &[r, g, b] : accessors.vectors<3>(accessor))
        colours.push_back({r, g, b, 1});
    return colours;
}

std::vector<kmg_float4_t> read_factors(const gltf_accessors_t &accessors, int accessor) {
    if (accessors.components(accessor) != 4)
        gltf_fail("accessors[", accessor, "] has ", accessors.components(accessor),
                  " components where 4 are expected");
    return gltf_accessors_t::grouped<4>(accessors.plain_reals(accessor));
}

// The map that a geometry file's piece had, eight slots of four bits: which UV channel feeds it.
std::optional<uint32_t> texture_coordinate_map(const tinygltf::Primitive &primitive) {
    constexpr const char *name = "texture_coordinate_map";
    if (!primitive.extras.IsObject() || !primitive.extras.Has(name))
        return std::nullopt;
    const tinygltf::Value &value = primitive.extras.Get(name);
    if (!value.IsString())
        return std::nullopt;
    const std::string text = value.Get<std::string>();
    uint32_t map;
    if (text.size() != 10 || !text.starts_with("0x") ||
        std::from_chars(text.data() + 2, text.data() + text.size(), map, 16).ptr != text.data() + text.size())
        return std::nullopt;
    return map;
}

std::vector<uv_channel_t> read_uvs(const gltf_accessors_t &accessors, const tinygltf::Primitive &primitive) {
    const auto map = texture_coordinate_map(primitive);
    std::vector<uv_channel_t> channels;
    for (uint32_t number = 0; number < kmg_max_uv_channels; ++number) {
        const auto accessor = attribute_of(primitive, concat("TEXCOORD_", number));
        if (!accessor)
            continue;
        uint32_t slots = 1u << number;
        if (map) {
            slots = 0;
            for (uint32_t slot = 0; slot < kmg_max_uv_channels; ++slot)
                slots |= static_cast<uint32_t>((*map >> 4 * slot & 15) == channels.size()) << slot;
        }
        channels.push_back({accessors.vectors<2>(*accessor), slots});
    }
    return channels;
}

bool is_known_attribute(const std::string &name) {
    if (name == "POSITION" || name == "NORMAL" || name == "TANGENT" || name == "COLOR_0" ||
        name == "_FACTOR" || name == gltf_source_t::indices_name)
        return true;
    return name.starts_with("JOINTS_") || name.starts_with("WEIGHTS_") ||
           (name.size() == 10 && name.starts_with("TEXCOORD_") && name[9] >= '0' && name[9] <= '7');
}

std::vector<uint32_t> read_corners(const gltf_accessors_t &accessors, const tinygltf::Primitive &primitive,
                                   size_t vertices) {
    std::vector<uint32_t> corners;
    if (const auto accessor = attribute_of(primitive, gltf_source_t::indices_name)) {
        if (accessors.components(*accessor) != 1)
            gltf_fail("accessors[", *accessor, "]: indices are no scalars");
        corners = accessors.integers(*accessor);
        const auto odd =
            std::find_if(corners.begin(), corners.end(), [&](uint32_t corner) { return corner >= vertices; });
        if (odd != corners.end())
            gltf_fail("index ", odd - corners.begin(), " is ", *odd, " and there are ", vertices,
                      " vertices");
    } else {
        corners.resize(vertices);
        std::iota(corners.begin(), corners.end(), 0u);
    }
    return corners;
}

} // namespace

model_piece_t vertices_of(const model_piece_t &piece, std::span<const uint32_t> vertices) {
    const auto pick = [&](const auto &from, auto &to) {
        if (from.empty())
            return;
        to.reserve(vertices.size());
        for (const uint32_t vertex : vertices)
            to.push_back(from[vertex]);
    };
    model_piece_t result;
    result.material = piece.material;
    result.sets = piece.sets;
    pick(piece.positions, result.positions);
    pick(piece.normals, result.normals);
    pick(piece.tangents, result.tangents);
    pick(piece.colours, result.colours);
    pick(piece.factors, result.factors);
    pick(piece.influence_sets, result.influence_sets);
    for (const uv_channel_t &channel : piece.uvs)
        pick(channel.values, result.uvs.emplace_back(uv_channel_t{{}, channel.slots}).values);
    return result;
}

std::optional<gltf_mode_t> triangle_mode(int mode) {
    switch (mode) {
    case TINYGLTF_MODE_TRIANGLES:
        return gltf_mode_t::triangles;
    case TINYGLTF_MODE_TRIANGLE_STRIP:
        return gltf_mode_t::strip;
    case TINYGLTF_MODE_TRIANGLE_FAN:
        return gltf_mode_t::fan;
    case TINYGLTF_MODE_POINTS:
    case TINYGLTF_MODE_LINE:
    case TINYGLTF_MODE_LINE_LOOP:
    case TINYGLTF_MODE_LINE_STRIP:
        return std::nullopt;
    default:
        gltf_fail("mode ", mode, " is none of glTF's");
    }
}

std::vector<triangle_corners_t> triangles_of(gltf_mode_t mode, const std::vector<uint32_t> &corners) {
    std::vector<triangle_corners_t> triangles;
    if (mode == gltf_mode_t::triangles) {
        if (corners.size() % 3 != 0)
            gltf_fail(corners.size(), " corners are no whole triangles");
        for (size_t i = 0; i < corners.size(); i += 3)
            triangles.push_back({corners[i], corners[i + 1], corners[i + 2]});
        return triangles;
    }
    for (size_t i = 0; i + 2 < corners.size(); ++i) {
        // Every second triangle of a strip turns the other way.
        const triangle_corners_t triangle =
            mode == gltf_mode_t::fan
                ? triangle_corners_t{corners[i + 1], corners[i + 2], corners[0]}
                : triangle_corners_t{corners[i], corners[i + 1 + i % 2], corners[i + 2 - i % 2]};
        // Those that only lead from one part of a strip to the next have no area.
        if (triangle[0] != triangle[1] && triangle[1] != triangle[2] && triangle[2] != triangle[0])
            triangles.push_back(triangle);
    }
    return triangles;
}

model_piece_t read_primitive(const gltf_accessors_t &accessors, const tinygltf::Primitive &primitive,
                             gltf_mode_t mode, std::vector<std::string> &unknown) {
    const auto position = attribute_of(primitive, "POSITION");
    if (!position)
        gltf_fail("has no POSITION");
    const size_t count = accessors.count(*position);
    for (const auto &[name, accessor] : primitive.attributes) {
        if (name != gltf_source_t::indices_name && accessors.count(accessor) != count)
            gltf_fail(name, " has ", accessors.count(accessor), " elements and POSITION ", count);
        if (!is_known_attribute(name))
            unknown.push_back(name);
    }
    model_piece_t piece;
    piece.positions = accessors.vectors<3>(*position);
    if (const auto accessor = attribute_of(primitive, "NORMAL"))
        piece.normals = accessors.vectors<3>(*accessor);
    if (const auto accessor = attribute_of(primitive, "TANGENT"))
        piece.tangents = accessors.vectors<4>(*accessor);
    if (const auto accessor = attribute_of(primitive, "COLOR_0"))
        piece.colours = read_colours(accessors, *accessor);
    else
        piece.colours.assign(count, {1, 1, 1, 1});
    if (const auto accessor = attribute_of(primitive, "_FACTOR"))
        piece.factors = read_factors(accessors, *accessor);
    piece.uvs = read_uvs(accessors, primitive);
    piece.triangles = triangles_of(mode, read_corners(accessors, primitive, count));
    return piece;
}

void transform_piece(const matrix_t &matrix, model_piece_t &piece) {
    if (is_identity(matrix))
        return; // zeros keep their sign
    for (kmg_float3_t &position : piece.positions) {
        vector_t moved = turned(matrix, to_double(position));
        for (size_t i = 0; i < 3; ++i)
            moved[i] += matrix.m[i][3];
        position = to_single(moved);
        for (const float value : position)
            if (!std::isfinite(value))
                gltf_fail("a position is too far away for single precision");
    }
    const bool mirrors = determinant(matrix) < 0;
    if (mirrors)
        for (triangle_corners_t &triangle : piece.triangles)
            std::swap(triangle[1], triangle[2]);
    matrix_t linear = matrix;
    for (auto &row : linear.m)
        row[3] = 0;
    linear.m[3][3] = 1;
    if (is_identity(linear))
        return; // directions keep their bits
    matrix_t normals = cofactors(matrix);
    for (auto &row : normals.m)
        for (double &value : row)
            value = mirrors ? -value : value;
    for (kmg_float3_t &normal : piece.normals)
        normal = to_single(unit(turned(normals, to_double(normal)), {0, 0, 1}));
    for (kmg_float4_t &tangent : piece.tangents) {
        const kmg_float3_t direction{tangent[0], tangent[1], tangent[2]};
        const kmg_float3_t moved = to_single(unit(turned(linear, to_double(direction)), {1, 0, 0}));
        tangent = {moved[0], moved[1], moved[2], mirrors ? -tangent[3] : tangent[3]};
    }
}

// Sorted rather than looked up: a vertex may belong to every triangle there is.
void compute_flat_normals(model_piece_t &piece) {
    struct corner_t {
        uint32_t vertex;
        kmg_float3_t normal;
        size_t place; // triangle x 3 + corner
        bool same_vertex(const corner_t &other) const {
            return vertex == other.vertex && normal == other.normal;
        }
    };
    std::vector<corner_t> corners;
    corners.reserve(3 * piece.triangles.size());
    for (const auto &[a, b, c] : piece.triangles) {
        const auto &p = piece.positions;
        const kmg_float3_t normal =
            to_single(unit(cross(difference(p[b], p[a]), difference(p[c], p[a])), {0, 0, 1}));
        for (const uint32_t vertex : {a, b, c})
            corners.push_back({vertex, normal, corners.size()});
    }
    std::sort(corners.begin(), corners.end(), [](const corner_t &x, const corner_t &y) {
        return std::tie(x.vertex, x.normal, x.place) < std::tie(y.vertex, y.normal, y.place);
    });
    std::vector<triangle_corners_t> triangles(piece.triangles.size());
    std::vector<uint32_t> sources;
    std::vector<kmg_float3_t> normals;
    for (size_t i = 0; i < corners.size(); ++i) {
        const corner_t &corner = corners[i];
        if (i == 0 || !corner.same_vertex(corners[i - 1])) {
            sources.push_back(corner.vertex);
            normals.push_back(corner.normal);
        }
        triangles[corner.place / 3][corner.place % 3] = static_cast<uint32_t>(sources.size() - 1);
    }
    piece.tangents.clear();
    piece = vertices_of(piece, sources);
    piece.normals = std::move(normals);
    piece.triangles = std::move(triangles);
}

void compute_tangents(model_piece_t &piece) {
    if (piece.uvs.empty())
        return;
    const auto &uvs = piece.uvs[0].values;
    std::vector<vector_t> along_u(piece.vertex_count()), along_v(piece.vertex_count());
    for (const auto &[a, b, c] : piece.triangles) {
        const vector_t e1 = difference(piece.positions[b], piece.positions[a]);
        const vector_t e2 = difference(piece.positions[c], piece.positions[a]);
        const std::array<float, 2> origin = uvs[a];
        const auto uv = [&](uint32_t vertex, size_t i) {
            return static_cast<double>(uvs[vertex][i]) - static_cast<double>(origin[i]);
        };
        const double area = uv(b, 0) * uv(c, 1) - uv(c, 0) * uv(b, 1);
        if (area == 0)
            continue;
        vector_t s, t;
        for (size_t i = 0; i < 3; ++i) {
            s[i] = (uv(c, 1) * e1[i] - uv(b, 1) * e2[i]) / area;
            t[i] = (uv(b, 0) * e2[i] - uv(c, 0) * e1[i]) / area;
        }
        s = unit(s, {});
        t = unit(t, {});
        for (const uint32_t corner : {a, b, c})
            for (size_t i = 0; i < 3; ++i) {
                along_u[corner][i] += s[i];
                along_v[corner][i] += t[i];
            }
    }
    piece.tangents.resize(piece.vertex_count());
    for (size_t v = 0; v < piece.vertex_count(); ++v) {
        const vector_t n = to_double(piece.normals[v]);
        const vector_t any =
            unit(std::abs(n[0]) < 0.5 ? vector_t{0, n[2], -n[1]} : vector_t{-n[2], 0, n[0]}, {1, 0, 0});
        vector_t tangent = along_u[v];
        const double share = dot(n, tangent);
        for (size_t i = 0; i < 3; ++i)
            tangent[i] -= share * n[i];
        tangent = unit(tangent, any);
        const float sign = dot(cross(n, tangent), along_v[v]) < 0 ? -1.0f : 1.0f;
        const kmg_float3_t single = to_single(tangent);
        piece.tangents[v] = {single[0], single[1], single[2], sign};
    }
}

std::vector<model_piece_t> split_piece(model_piece_t piece, size_t most) {
    std::vector<model_piece_t> pieces;
    if (piece.vertex_count() <= most) {
        pieces.push_back(std::move(piece));
        return pieces;
    }
    std::vector<size_t> piece_of(piece.vertex_count(), 0); // counted from 1
    std::vector<uint32_t> number(piece.vertex_count());    // of the vertex, in its piece
    std::vector<uint32_t> vertices;
    std::vector<triangle_corners_t> triangles;
    const auto finish = [&] {
        pieces.push_back(vertices_of(piece, vertices));
        pieces.back().triangles = std::move(triangles);
        vertices.clear();
        triangles.clear();
    };
    for (const triangle_corners_t &triangle : piece.triangles) {
        const auto is_new = [&](uint32_t corner) { return piece_of[corner] != pieces.size() + 1; };
        if (vertices.size() + static_cast<size_t>(std::count_if(triangle.begin(), triangle.end(), is_new)) >
            most)
            finish();
        triangle_corners_t &corners = triangles.emplace_back();
        for (size_t i = 0; i < 3; ++i) {
            if (is_new(triangle[i])) {
                piece_of[triangle[i]] = pieces.size() + 1;
                number[triangle[i]] = static_cast<uint32_t>(vertices.size());
                vertices.push_back(triangle[i]);
            }
            corners[i] = number[triangle[i]];
        }
    }
    if (!triangles.empty())
        finish();
    return pieces;
}

} // namespace kestrel
