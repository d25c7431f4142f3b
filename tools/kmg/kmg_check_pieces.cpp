#include "tools/kmg/affine.h"
#include "tools/kmg/kmg_checks.h"
#include "tools/kmg/piece_facts.h"

#include <algorithm>
#include <limits>

namespace kestrel {

namespace {

constexpr float largest = std::numeric_limits<float>::max();
// A sphere grows point by point in single precision, and is then compared with every point.
constexpr double sphere_tolerance = 1e-4;
constexpr double direction_tolerance = 1e-2;

// The box of all positions that are numbers.
struct extent_t {
    kmg_box_t box{{largest, largest, largest}, {-largest, -largest, -largest}};

    bool empty() const { return box.minimum[0] > box.maximum[0]; }
    void add(const kmg_float3_t &position) {
        for (size_t i = 0; i < 3; ++i) {
            box.minimum[i] = std::min(box.minimum[i], position[i]);
            box.maximum[i] = std::max(box.maximum[i], position[i]);
        }
    }
};

bool holds(const kmg_sphere_t &sphere, const kmg_float3_t &position) {
    double squares = 0;
    double reach = static_cast<double>(sphere.radius);
    for (size_t i = 0; i < 3; ++i) {
        const double d = static_cast<double>(position[i]) - static_cast<double>(sphere.centre[i]);
        squares += d * d;
        reach = std::max(reach, std::abs(static_cast<double>(sphere.centre[i])));
    }
    return std::sqrt(squares) <= static_cast<double>(sphere.radius) + sphere_tolerance * reach;
}

bool holds(const kmg_box_t &box, const kmg_float3_t &position) {
    for (size_t i = 0; i < 3; ++i)
        if (position[i] < box.minimum[i] || position[i] > box.maximum[i])
            return false;
    return true;
}

// The box has to be exactly that of the positions: smaller is an error, larger a warning.
template <class R>
void check_box(const R &record, const kmg_place_t &place, const extent_t &extent, kmg_findings_t &findings) {
    const auto check_side = [&](const kmg_float3_t &found, const kmg_float3_t &wanted, bool cuts,
                                const char *side) {
        if (found == wanted)
            return;
        findings.add(cuts ? finding_code_t::box : finding_code_t::box_loose,
                     place_of_field(place, record, found),
                     concat(side, cuts ? " cuts positions off" : " is wider than the positions"));
    };
    const kmg_box_t &box = record.box;
    check_side(box.minimum, extent.box.minimum,
               !holds({box.minimum, {largest, largest, largest}}, extent.box.minimum), "box_minimum");
    check_side(box.maximum, extent.box.maximum,
               !holds({{-largest, -largest, -largest}, box.maximum}, extent.box.maximum), "box_maximum");
}

class piece_check_t {
  public:
    piece_check_t(const kmg_reader_t &file, size_t index, kmg_findings_t &findings)
        : file_(file), piece_(file.pieces()[index]), data_(file.data_of(piece_)), findings_(findings),
          place_(place_of(kmg_record_kind_t::piece, file.header().pieces_offset, kmg_piece_t::size, index)) {}

    void run(extent_t &model) {
        check_texture_map();
        const bool bounds = check_reals(piece_, place_, findings_);
        check_positions(bounds, model);
        check_directions();
        check_uv_channels();
        check_skin();
        if (check_indices()) {
            check_triangles();
            check_unused_vertices();
        }
        check_padding();
    }

  private:
    void check_texture_map();
    void check_positions(bool bounds, extent_t &model);
    void check_directions();
    void check_uv_channels();
    void check_skin();
    bool check_indices();
    void check_triangles();
    void check_unused_vertices();
    void check_padding();

    kmg_place_t at_vertex(uint32_t stream, size_t vertex) const {
        return {place_.kind,
                place_.index,
                stream + uint64_t{vertex} * piece_.vertex_stride,
                static_cast<uint32_t>(vertex),
                {}};
    }
    kmg_place_t at_triangle(size_t triangle) const {
        return {place_.kind,
                place_.index,
                piece_.index_offset + uint64_t{triangle} * 3 * sizeof(uint16_t),
                {},
                static_cast<uint32_t>(triangle)};
    }
    std::array<uint16_t, 3> corners(size_t triangle) const {
        return {data_.indices[3 * triangle], data_.indices[3 * triangle + 1],
                data_.indices[3 * triangle + 2]};
    }
    // Tells of a vertex field that is no number; gives whether it is one.
    template <class T>
    bool check_finite(const T &value, uint32_t stream, size_t vertex, std::string_view name) {
        const bool finite = all_finite(value);
        if (!finite)
            findings_.add(finding_code_t::not_finite, at_vertex(stream, vertex),
                          [&] { return concat(name, " is not a finite number"); });
        return finite;
    }

    const kmg_reader_t &file_;
    const kmg_piece_t piece_;
    const kmg_piece_data_t data_;
    kmg_findings_t &findings_;
    const kmg_place_t place_;
};

void piece_check_t::check_texture_map() {
    for (uint32_t slot = 0; slot < kmg_max_uv_channels; ++slot) {
        const auto channel = channel_of_slot(piece_, slot);
        if (channel && *channel >= piece_.uv_channel_count)
            findings_.add(
                finding_code_t::texture_map, place_of_field(place_, piece_, piece_.texture_coordinate_map),
                concat("slot ", slot, " is fed by UV channel ", *channel, " of ", piece_.uv_channel_count));
    }
}

void piece_check_t::check_positions(bool bounds, extent_t &model) {
    extent_t extent;
    for (size_t i = 0; i < data_.positions.size(); ++i) {
        const kmg_float3_t position = data_.positions[i];
        if (!check_finite(position, piece_.position_offset, i, "position"))
            continue;
        extent.add(position);
        if (bounds && !holds(piece_.sphere, position))
            findings_.add(finding_code_t::sphere, at_vertex(piece_.position_offset, i),
                          "lies outside the piece's sphere");
    }
    if (!extent.empty()) {
        model.add(extent.box.minimum);
        model.add(extent.box.maximum);
    }
    if (bounds)
        check_box(piece_, place_, extent, findings_);
}

void piece_check_t::check_directions() {
    const auto check_length = [&](const kmg_float3_t &direction, finding_code_t code, uint32_t stream,
                                  size_t vertex, const char *name) {
        const double l = length(direction);
        if (std::abs(l - 1) > direction_tolerance)
            findings_.add(code, at_vertex(stream, vertex), [&] {
                return concat(name, " has length ", static_cast<float>(l), ", expected 1");
            });
    };
    for (size_t i = 0; i < data_.normals.size(); ++i)
        if (const auto normal = data_.normals[i]; check_finite(normal, piece_.normal_offset, i, "normal"))
            check_length(normal, finding_code_t::normal_length, piece_.normal_offset, i, "normal");
    for (size_t i = 0; i < data_.tangents.size(); ++i) {
        const kmg_float4_t tangent = data_.tangents[i];
        if (!check_finite(tangent, piece_.tangent_offset, i, "tangent"))
            continue;
        check_length({tangent[0], tangent[1], tangent[2]}, finding_code_t::tangent_length,
                     piece_.tangent_offset, i, "tangent");
        if (tangent[3] != 1 && tangent[3] != -1)
            findings_.add(finding_code_t::tangent_sign, at_vertex(piece_.tangent_offset, i), [&] {
                return concat("tangent's fourth value is ", tangent[3], ", expected 1 or -1");
            });
    }
}

void piece_check_t::check_uv_channels() {
    for (uint32_t channel = 0; channel < piece_.uv_channel_count; ++channel) {
        const auto &values = data_.uv_channels[channel];
        const uint32_t offset = piece_.uv_offset + channel * static_cast<uint32_t>(sizeof(kmg_float2_t));
        for (size_t i = 0; i < values.size(); ++i)
            check_finite(values[i], offset, i, "texture coordinate");
    }
}

void piece_check_t::check_skin() {
    for (size_t i = 0; i < data_.bone_indices.size(); ++i)
        for (const uint8_t bone : data_.bone_indices[i])
            if (bone >= file_.header().bone_count) {
                findings_.add(finding_code_t::bone_index, at_vertex(piece_.bone_index_offset, i),
                              [&] { return concat("uses bone ", bone, " of ", file_.header().bone_count); });
                break;
            }
    for (size_t i = 0; i < data_.bone_weights.size(); ++i) {
        unsigned sum = 0;
        for (const uint8_t weight : data_.bone_weights[i])
            sum += weight;
        // Source weights of more than 1 in all give more, nothing gives less.
        if (sum != 255)
            findings_.add(sum < 255 ? finding_code_t::weights_below : finding_code_t::weights_above,
                          at_vertex(piece_.bone_weight_offset, i),
                          [&] { return concat("weights sum to ", sum, ", expected 255"); });
    }
}

bool piece_check_t::check_indices() {
    bool sound = true;
    for (size_t i = 0; i < data_.indices.size(); ++i)
        if (data_.indices[i] >= piece_.vertex_count) {
            sound = false;
            findings_.add(finding_code_t::index, at_triangle(i / 3), [&] {
                return concat("uses vertex ", data_.indices[i], " of ", piece_.vertex_count);
            });
        }
    return sound;
}

// Exactly: a sliver is a triangle.
bool has_area(const kmg_float3_t &a, const kmg_float3_t &b, const kmg_float3_t &c) {
    double u[3], v[3];
    for (size_t i = 0; i < 3; ++i) {
        u[i] = static_cast<double>(b[i]) - static_cast<double>(a[i]);
        v[i] = static_cast<double>(c[i]) - static_cast<double>(a[i]);
    }
    return u[1] * v[2] != u[2] * v[1] || u[2] * v[0] != u[0] * v[2] || u[0] * v[1] != u[1] * v[0];
}

void piece_check_t::check_triangles() {
    struct keyed_t {
        uint64_t corners; // the smallest first, in the order of the triangle
        uint32_t triangle;
    };
    std::vector<keyed_t> triangles;
    triangles.reserve(data_.indices.size() / 3);
    for (size_t t = 0; t < data_.indices.size() / 3; ++t) {
        auto c = corners(t);
        if (c[0] == c[1] || c[1] == c[2] || c[2] == c[0]) {
            findings_.add(finding_code_t::triangle_degenerate, at_triangle(t), "has a vertex twice");
            continue;
        }
        if (!has_area(data_.positions[c[0]], data_.positions[c[1]], data_.positions[c[2]]))
            findings_.add(finding_code_t::triangle_degenerate, at_triangle(t), "has no area");
        std::rotate(c.begin(), std::min_element(c.begin(), c.end()), c.end());
        triangles.push_back({uint64_t{c[0]} << 32 | uint64_t{c[1]} << 16 | c[2], static_cast<uint32_t>(t)});
    }
    std::sort(triangles.begin(), triangles.end(), [](const keyed_t &a, const keyed_t &b) {
        return a.corners != b.corners ? a.corners < b.corners : a.triangle < b.triangle;
    });
    for (size_t i = 1; i < triangles.size(); ++i)
        if (triangles[i].corners == triangles[i - 1].corners)
            findings_.add(finding_code_t::triangle_duplicate, at_triangle(triangles[i].triangle),
                          [&] { return concat("repeats triangle ", triangles[i - 1].triangle); });
}

void piece_check_t::check_unused_vertices() {
    std::vector<bool> used(piece_.vertex_count);
    for (const uint16_t vertex : data_.indices)
        used[vertex] = true;
    for (size_t i = 0; i < used.size(); ++i)
        if (!used[i])
            findings_.add(finding_code_t::vertex_unused, at_vertex(piece_.position_offset, i),
                          "no triangle uses it");
}

void piece_check_t::check_padding() {
    const size_t size = data_.indices.size() * sizeof(uint16_t);
    if (size % kmg_section_alignment == 0)
        return;
    const uint64_t end = uint64_t{piece_.index_offset} + size;
    uint16_t padding;
    little_endian::get(file_.bytes().data() + end, padding);
    if (padding != 0)
        findings_.add(finding_code_t::index_padding, {place_.kind, place_.index, end},
                      "padding behind the indices is not zero");
}

void check_model_bounds(const kmg_reader_t &file, const extent_t &extent, kmg_findings_t &findings) {
    const kmg_header_t &header = file.header();
    const kmg_place_t place{kmg_record_kind_t::header, 0, 0};
    if (!check_reals(header, place, findings))
        return;
    check_box(header, place, extent, findings);
    for (size_t p = 0; p < file.pieces().size(); ++p) {
        const kmg_piece_t piece = file.pieces()[p];
        const auto positions = file.data_of(piece).positions;
        for (size_t i = 0; i < positions.size(); ++i)
            if (const auto position = positions[i]; all_finite(position) && !holds(header.sphere, position))
                findings.add(
                    finding_code_t::sphere, place_of_field(place, header, header.sphere.centre), [&] {
                        return concat("vertex ", i, " of piece ", p, " lies outside the model's sphere");
                    });
    }
}

} // namespace

void check_pieces(const kmg_reader_t &file, kmg_findings_t &findings) {
    extent_t extent;
    for (size_t i = 0; i < file.pieces().size(); ++i)
        piece_check_t(file, i, findings).run(extent);
    check_model_bounds(file, extent, findings);
}

} // namespace kestrel
