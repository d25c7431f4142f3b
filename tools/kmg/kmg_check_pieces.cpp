#include "tools/kmg/affine.h"
#include "tools/kmg/kmg_checks.h"

#include <algorithm>
#include <limits>

namespace kestrel {

namespace {

// A sphere grows point by point in single precision, and is then compared with every point.
constexpr double sphere_tolerance = 1e-4;
// A sphere needs not be larger than the box's diagonal; growing it point by point may take somewhat more.
constexpr double largest_sphere = 1.5;
constexpr double direction_tolerance = 1e-2;
constexpr float largest_texture_coordinate = 1000;

using extent_t = value_range_t<kmg_float3_t>;
constexpr char axis_names[] = "xyz";

// One of the six sides of a box; `sign` is 1 where the box ends and -1 where it begins.
struct side_t {
    size_t axis;
    float sign;

    static constexpr size_t count = 6;
    explicit side_t(size_t number) : axis(number / 2), sign(number % 2 == 0 ? -1.0f : 1.0f) {}
    auto &of(auto &range) const { return sign < 0 ? range.minimum : range.maximum; }
    // By how much the value lies beyond the other.
    float beyond(float value, float other) const { return sign * (value - other); }
};

std::string side_text(const side_t &side, float found, float wanted) {
    const char *name = side.sign < 0 ? "box_minimum" : "box_maximum";
    const float cut = side.beyond(wanted, found);
    return concat(name, " ", axis_names[side.axis], " is ", found, ", the positions ",
                  side.sign < 0 ? "begin" : "end", " at ", wanted,
                  concat(cut > 0 ? ": cuts off " : ": wider by ", std::abs(cut)));
}

// Distances of positions from a sphere's centre.
class sphere_check_t {
  public:
    explicit sphere_check_t(const kmg_sphere_t &sphere)
        : sphere_(sphere), known_(all_finite(sphere.centre) && all_finite(sphere.radius)) {
        double reach = std::abs(static_cast<double>(sphere.radius));
        for (const float value : sphere.centre)
            reach = std::max(reach, std::abs(static_cast<double>(value)));
        tolerance_ = sphere_tolerance * reach;
    }

    // How far the position lies outside.
    double distance(const kmg_float3_t &position) const {
        double squares = 0;
        for (size_t i = 0; i < 3; ++i) {
            const double d = static_cast<double>(position[i]) - static_cast<double>(sphere_.centre[i]);
            squares += d * d;
        }
        return std::sqrt(squares) - static_cast<double>(sphere_.radius);
    }
    bool is_outside(const kmg_float3_t &position) const { return distance(position) > tolerance_; }
    void add(const kmg_float3_t &position) {
        const double outside = distance(position);
        farthest_ = std::max(farthest_, outside);
        touched_ = touched_ || std::abs(outside) <= tolerance_;
        outside_ += outside > tolerance_;
    }
    size_t outside() const { return outside_; }
    bool known() const { return known_; }
    // A sphere grows until it touches the last position. If it still does, a single one outside is wrong, and
    // not the sphere.
    bool is_right_but_for_one() const { return touched_ && outside_ == 1; }

    // What is wrong with the sphere as a whole, of positions in the box.
    template <class R>
    void report(const R &record, const kmg_place_t &place, const extent_t &box,
                kmg_findings_t &findings) const {
        if (!known_ || box.empty)
            return;
        bool centre_inside = true;
        double squares = 0;
        for (size_t i = 0; i < 3; ++i) {
            const float c = sphere_.centre[i];
            centre_inside = centre_inside && c >= box.minimum[i] && c <= box.maximum[i];
            const double extent = static_cast<double>(box.maximum[i]) - static_cast<double>(box.minimum[i]);
            squares += extent * extent;
        }
        const auto at = centre_inside ? place_of_field(place, record, record.sphere.radius)
                                      : place_of_field(place, record, record.sphere.centre);
        const auto text = [&](const std::string &what) {
            return concat("sphere of radius ", sphere_.radius, " about ", short_text(sphere_.centre), what);
        };
        if (outside_ != 0)
            findings.add(finding_code_t::sphere, at,
                         text(concat(" leaves positions out, the farthest by ", rounded_t{farthest_, 3})));
        else if (!touched_)
            findings.add(finding_code_t::sphere_loose, at,
                         text(concat(" could be smaller by ", rounded_t{-farthest_, 3})));
        else if (static_cast<double>(sphere_.radius) > largest_sphere * std::sqrt(squares) / 2 + tolerance_)
            findings.add(finding_code_t::sphere_loose, at,
                         text(concat(", half the box's diagonal is ", rounded_t{std::sqrt(squares) / 2, 3})));
    }

  private:
    const kmg_sphere_t sphere_;
    bool known_;
    double tolerance_ = 0;
    double farthest_ = -std::numeric_limits<double>::infinity();
    bool touched_ = false;
    size_t outside_ = 0;
};

// What the pieces of a model make together.
struct model_t {
    extent_t extent;
    bool bounds_sound = true; // no position is to blame for where it lies
    bone_set_t bones;
};

class piece_check_t : piece_view_t {
  public:
    piece_check_t(const kmg_reader_t &from, size_t index, kmg_findings_t &findings)
        : piece_view_t(from, index), findings_(findings) {}

    void run(model_t &model) {
        check_reals(piece, place, findings_);
        check_bounds(model);
        check_directions();
        check_colours();
        check_texture_coordinates();
        check_skin();
        model.bones |= bones_used(data);
        if (check_indices())
            check_mesh(*this, findings_);
        check_padding();
    }

  private:
    void check_bounds(model_t &model);
    bool check_side(const side_t &side, extent_t &extent);
    bool check_sphere(const extent_t &extent);
    void check_directions();
    void check_colours();
    template <class T>
    void check_stray(const kmg_view_t<T> &values, uint32_t stream, auto &&differs);
    void check_texture_coordinates();
    void check_skin();
    bool check_indices();
    void check_padding();

    // Tells of a vertex field that is no number; gives whether it is one.
    template <class T>
    bool check_finite(const T &value, uint32_t stream, size_t vertex, std::string_view name) {
        const bool finite = all_finite(value);
        if (!finite)
            findings_.add(finding_code_t::not_finite, at_vertex(stream, vertex),
                          [&] { return concat(name, " is ", values_text(value)); });
        return finite;
    }
    void check_unit(const kmg_float3_t &direction, bool normal, uint32_t stream, size_t vertex) {
        const double l = length(direction);
        if (std::abs(l - 1) <= direction_tolerance)
            return;
        const auto code = !normal ? finding_code_t::tangent_length
                          : l > 0 ? finding_code_t::normal_length
                                  : finding_code_t::normal_zero;
        findings_.add(code, at_vertex(stream, vertex), [&] {
            return concat(normal ? "normal" : "tangent", " has length ", static_cast<float>(l),
                          ", expected 1");
        });
    }

    kmg_findings_t &findings_;
};

void piece_check_t::check_bounds(model_t &model) {
    for (size_t i = 0; i < data.positions.size(); ++i)
        check_finite(data.positions[i], piece.position_offset, i, "position");
    extent_t extent = range_of(data.positions);
    if (extent.empty)
        return;
    for (size_t side = 0; side < side_t::count; ++side)
        model.bounds_sound &= check_side(side_t(side), extent);
    model.bounds_sound &= check_sphere(extent);
    model.extent.add(extent.minimum);
    model.extent.add(extent.maximum);
}

// The box's sides follow from the positions, and the model's from those of its pieces. When positions lie
// beyond a side that is the model's too, or a single one beyond a side on which others lie, they are to
// blame, and not the box. Leaves in the extent what the box has to be.
bool piece_check_t::check_side(const side_t &side, extent_t &extent) {
    const float found = side.of(piece.box)[side.axis];
    float &wanted = side.of(extent)[side.axis];
    if (found == wanted || !std::isfinite(found))
        return true;
    size_t on_side = 0, beyond_side = 0;
    for (const kmg_float3_t position : data.positions) {
        on_side += position[side.axis] == found;
        beyond_side += all_finite(position) && side.beyond(position[side.axis], found) > 0;
    }
    const float models = side.of(file.header().box)[side.axis];
    const bool is_right = models == found || (models != wanted && on_side != 0 && beyond_side == 1);
    if (beyond_side == 0 || !is_right) {
        findings_.add(beyond_side != 0 ? finding_code_t::box : finding_code_t::box_loose,
                      at_field(side.of(piece.box)), side_text(side, found, wanted));
        return true;
    }
    for (size_t i = 0; i < data.positions.size(); ++i) {
        const kmg_float3_t position = data.positions[i];
        const float beyond = side.beyond(position[side.axis], found);
        if (beyond > 0 && all_finite(position))
            findings_.add(finding_code_t::box, at_vertex(piece.position_offset, i), [&] {
                return concat("position ", axis_names[side.axis], " is ", position[side.axis], ", ", beyond,
                              " outside the piece's box, which fits the others");
            });
    }
    wanted = found;
    return false;
}

// Of positions within the extent; those outside have been told.
bool piece_check_t::check_sphere(const extent_t &extent) {
    sphere_check_t sphere(piece.sphere);
    if (!sphere.known())
        return true;
    const auto within = [&](const kmg_float3_t &position) {
        extent_t larger = extent;
        larger.add(position);
        return all_finite(position) && larger.minimum == extent.minimum && larger.maximum == extent.maximum;
    };
    for (const kmg_float3_t position : data.positions)
        if (within(position))
            sphere.add(position);
    if (!sphere.is_right_but_for_one()) {
        sphere.report(piece, place, extent, findings_);
        return sphere.outside() == 0;
    }
    for (size_t i = 0; i < data.positions.size(); ++i)
        if (const auto position = data.positions[i]; within(position) && sphere.is_outside(position))
            findings_.add(finding_code_t::sphere, at_vertex(piece.position_offset, i), [&] {
                return concat("position ", short_text(position), " lies ",
                              rounded_t{sphere.distance(position), 3},
                              " outside the piece's sphere, which fits the others");
            });
    return false;
}

void piece_check_t::check_directions() {
    for (size_t i = 0; i < data.normals.size(); ++i)
        if (const auto normal = data.normals[i]; check_finite(normal, piece.normal_offset, i, "normal"))
            check_unit(normal, true, piece.normal_offset, i);
    for (size_t i = 0; i < data.tangents.size(); ++i) {
        const kmg_float4_t tangent = data.tangents[i];
        if (!check_finite(tangent, piece.tangent_offset, i, "tangent"))
            continue;
        check_unit({tangent[0], tangent[1], tangent[2]}, false, piece.tangent_offset, i);
        if (tangent[3] != 1 && tangent[3] != -1)
            findings_.add(finding_code_t::tangent_sign, at_vertex(piece.tangent_offset, i),
                          [&] { return concat("tangent's sign is ", tangent[3], ", expected 1 or -1"); });
    }
}

void piece_check_t::check_colours() {
    const auto range = range_of(data.colours);
    if (range.maximum[0] == 0 && range.maximum[1] == 0 && range.maximum[2] == 0)
        findings_.add(finding_code_t::colour_black, at_field(piece.colour_offset),
                      "red, green and blue of all vertices are 0");
    check_stray(data.colours, piece.colour_offset, [&](const kmg_bytes4_t &colour) {
        // Of three vertices one differs, so that two have the others' colour.
        const kmg_bytes4_t first = data.colours[0], second = data.colours[1], third = data.colours[2];
        return colour != (second == third ? second : first);
    });
}

// A single value that is unlike all others of its kind.
template <class T>
void piece_check_t::check_stray(const kmg_view_t<T> &values, uint32_t stream, auto &&differs) {
    constexpr size_t fewest = 4;
    size_t count = 0, stray = 0;
    for (size_t i = 0; i < values.size() && values.size() >= fewest && count < 2; ++i)
        if (differs(values[i])) {
            ++count;
            stray = i;
        }
    if (count == 1)
        findings_.add(finding_code_t::vertex_stray, at_vertex(stream, stray), [&] {
            return concat("has ", values_text(values[stray]), ", unlike all other vertices");
        });
}

void piece_check_t::check_texture_coordinates() {
    std::array<bool, kmg_max_uv_channels> feeds{};
    for (uint32_t slot = 0; slot < kmg_max_uv_channels; ++slot)
        if (const auto channel = channel_of_slot(piece, slot)) {
            if (*channel < piece.uv_channel_count)
                feeds[*channel] = true;
            else
                findings_.add(finding_code_t::texture_map, at_field(piece.texture_coordinate_map),
                              concat("slot ", slot, " is fed by uv", *channel, ", the piece has ",
                                     counted_t{piece.uv_channel_count, "UV channel"}));
        }
    for (uint32_t channel = 0; channel < piece.uv_channel_count; ++channel) {
        if (!feeds[channel])
            findings_.add(finding_code_t::uv_unused, at_field(piece.texture_coordinate_map),
                          concat("no slot is fed by uv", channel));
        const auto &values = data.uv_channels[channel];
        const uint32_t offset = piece.uv_offset + channel * uint32_t{sizeof(kmg_float2_t)};
        for (size_t i = 0; i < values.size(); ++i)
            if (const kmg_float2_t value = values[i]; check_finite(value, offset, i, "texture coordinate") &&
                                                      (std::abs(value[0]) > largest_texture_coordinate ||
                                                       std::abs(value[1]) > largest_texture_coordinate))
                findings_.add(finding_code_t::uv_range, at_vertex(offset, i),
                              [&] { return concat("uv", channel, " is ", values_text(value)); });
        check_stray(values, offset, [](const kmg_float2_t &value) {
            const auto [least, most] = std::minmax({value[0], value[1]});
            return least < 0 || most > 1;
        });
        if (const auto range = range_of(values); values.size() > 1 && !range.empty && range.is_constant())
            findings_.add(finding_code_t::uv_constant, at_vertex(offset, 0),
                          concat("uv", channel, " of all vertices is ", values_text(range.minimum)));
    }
}

void piece_check_t::check_skin() {
    const uint32_t bone_count = file.header().bone_count;
    for (size_t i = 0; i < data.bone_indices.size(); ++i) {
        const kmg_bytes4_t bones = data.bone_indices[i], weights = data.bone_weights[i];
        const auto report = [&](finding_code_t code, auto &&make_text) {
            findings_.add(code, at_vertex(piece.bone_index_offset, i), make_text);
        };
        if (const uint8_t most = *std::max_element(bones.begin(), bones.end()); most >= bone_count)
            report(finding_code_t::bone_index,
                   [&] { return concat("uses bone ", most, ", the file has bones 0 to ", bone_count - 1); });
        else
            for (size_t slot = 1; slot < bones.size(); ++slot)
                if (weights[slot] == 0 ? bones[slot] != bones[slot - 1] : bones[slot] <= bones[slot - 1])
                    report(finding_code_t::bone_slots, [&] {
                        return concat("bones are ", values_text(bones), " with weights ",
                                      values_text(weights), ": slot ", slot,
                                      weights[slot] == 0 ? " without weight does not repeat the one before it"
                                                         : " does not follow the one before it");
                    });
        unsigned sum = 0;
        for (const uint8_t weight : weights)
            sum += weight;
        // Source weights of more than 1 in all give more, nothing gives less.
        if (sum != 255)
            findings_.add(
                sum < 255 ? finding_code_t::weights_below : finding_code_t::weights_above,
                at_vertex(piece.bone_weight_offset, i),
                [&] { return concat("weights ", values_text(weights), " sum to ", sum, ", expected 255"); });
    }
}

bool piece_check_t::check_indices() {
    bool sound = true;
    for (size_t i = 0; i < data.indices.size(); ++i)
        if (data.indices[i] >= piece.vertex_count) {
            sound = false;
            findings_.add(finding_code_t::index, at_triangle(i / 3, i % 3), [&] {
                return concat("uses vertex ", data.indices[i], ", the piece has vertices 0 to ",
                              piece.vertex_count - 1);
            });
        }
    return sound;
}

void piece_check_t::check_padding() {
    const size_t size = data.indices.size() * sizeof(uint16_t);
    if (size % kmg_section_alignment == 0)
        return;
    const uint64_t end = uint64_t{piece.index_offset} + size;
    uint16_t padding;
    little_endian::get(file.bytes().data() + end, padding);
    if (padding != 0)
        findings_.add(finding_code_t::index_padding, {place.kind, place.index, end},
                      concat("padding behind the indices is ", padding, ", expected 0"));
}

void check_model_bounds(const kmg_reader_t &file, const model_t &model, kmg_findings_t &findings) {
    const kmg_header_t &header = file.header();
    check_reals(header, header_place, findings);
    constexpr float largest = std::numeric_limits<float>::max();
    const kmg_box_t empty_box{{largest, largest, largest}, {-largest, -largest, -largest}};
    for (size_t number = 0; number < side_t::count; ++number) {
        const side_t side(number);
        const float found = side.of(header.box)[side.axis];
        const float wanted =
            model.extent.empty ? side.of(empty_box)[side.axis] : side.of(model.extent)[side.axis];
        if (found != wanted && std::isfinite(found))
            findings.add(side.beyond(wanted, found) > 0 ? finding_code_t::box : finding_code_t::box_loose,
                         place_of_field(header_place, header, side.of(header.box)),
                         side_text(side, found, wanted));
    }
    if (!model.bounds_sound)
        return; // told at the pieces
    sphere_check_t sphere(header.sphere);
    for (const kmg_piece_t piece : file.pieces())
        for (const kmg_float3_t position : file.data_of(piece).positions)
            if (all_finite(position))
                sphere.add(position);
    sphere.report(header, header_place, model.extent, findings);
}

// The writer numbers the model's materials from 0.
void check_materials(const kmg_reader_t &file, kmg_findings_t &findings) {
    struct use_t {
        uint32_t material, piece;
        auto operator<=>(const use_t &) const = default;
    };
    std::vector<use_t> uses;
    uses.reserve(file.pieces().size());
    for (uint32_t i = 0; i < file.pieces().size(); ++i)
        uses.push_back({file.pieces()[i].material, i});
    std::sort(uses.begin(), uses.end());
    uint64_t next = 0;
    for (const auto &[material, index] : uses) {
        if (material > next) {
            const kmg_piece_t piece = file.pieces()[index];
            const auto place =
                place_of(kmg_record_kind_t::piece, file.header().pieces_offset, kmg_piece_t::size, index);
            findings.add(finding_code_t::material_gap, place_of_field(place, piece, piece.material), [&] {
                return concat("material is ", piece.material, ", though no piece has ", next,
                              piece.material - next > 1 ? concat(" to ", piece.material - 1) : "");
            });
        }
        next = uint64_t{material} + 1;
    }
}

void check_bone_use(const kmg_reader_t &file, const bone_set_t &used, kmg_findings_t &findings) {
    const kmg_header_t &header = file.header();
    if (header.bone_count == 0)
        return;
    const auto report = [&](finding_code_t code, uint32_t bone, std::string text) {
        findings.add(code,
                     place_of(kmg_record_kind_t::bone, header.bones_offset, kmg_bone_data_t::size, bone),
                     std::move(text));
    };
    const auto moving = members_of(used, header.bone_count);
    if (moving.size() == 1 && header.bone_count > 1)
        return report(finding_code_t::skin_one_bone, moving[0],
                      concat("moves all vertices, the other ", header.bone_count - 1, " move none"));
    if (const auto idle = members_of(~used, header.bone_count); !idle.empty())
        report(finding_code_t::bone_unused, idle[0],
               concat(idle.size(), " of ", counted_t{header.bone_count, "bone"},
                      " move no vertex: ", list_text(idle)));
}

} // namespace

void check_pieces(const kmg_reader_t &file, kmg_findings_t &findings) {
    model_t model;
    for (size_t i = 0; i < file.pieces().size(); ++i)
        piece_check_t(file, i, findings).run(model);
    check_model_bounds(file, model, findings);
    check_materials(file, findings);
    check_bone_use(file, model.bones, findings);
}

} // namespace kestrel
