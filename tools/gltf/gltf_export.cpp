#include "tools/gltf/gltf_export.h"

#include "tools/gltf/gltf_bone.h"
#include "tools/gltf/gltf_vertices.h"
#include "tools/kmg/affine.h"
#include "tools/kmg/kmg_facts.h"
#include "tools/kmg/kmg_text.h"

#include <algorithm>
#include <nlohmann/json.hpp>

namespace kestrel {

namespace {

using json_t = nlohmann::ordered_json;

// Constants of glTF.
constexpr int unsigned_byte = 5121, unsigned_short = 5123, single = 5126;
constexpr int array_buffer = 34962, element_array_buffer = 34963;
constexpr int lines = 1, triangles = 4;
constexpr uint32_t glb_magic = 0x46546C67, glb_version = 2, json_chunk = 0x4E4F534A,
                   binary_chunk = 0x004E4942;
constexpr size_t glb_header_size = 12, chunk_header_size = 8;

constexpr double last_row_tolerance = 1e-5;

// A node without any property would not be written as one, so that every node needs a name.
std::string node_name(uint64_t token, kmg_record_kind_t kind, size_t index) {
    return token != 0 ? token_text(token) : to_text(kind, static_cast<uint32_t>(index));
}

// Leaves out what glTF assumes anyway.
void add_transform(json_t &node, const gltf_transform_t &transform) {
    const gltf_transform_t assumed;
    if (transform.translation != assumed.translation)
        node["translation"] = transform.translation;
    if (transform.rotation != assumed.rotation)
        node["rotation"] = transform.rotation;
    if (transform.scale != assumed.scale)
        node["scale"] = transform.scale;
}

// Colours that neighbouring numbers do not share: hues a golden section apart.
std::array<double, 4> palette_colour(uint32_t number) {
    const double hue = 6 * std::fmod(number * 0.6180339887498949, 1.0);
    std::array<double, 4> colour{0, 0, 0, 1};
    for (size_t i = 0; i < 3; ++i) {
        const double distance = std::abs(std::fmod(hue + 6 - 2 * static_cast<double>(i) + 3, 6.0) - 3);
        colour[i] = 0.45 + 0.5 * std::clamp(2 - distance, 0.0, 1.0);
    }
    return colour;
}

// Writes an object member by member and its lists element by element. A list without elements is left out, as
// glTF wants it.
class json_writer_t {
  public:
    explicit json_writer_t(const text_sink_t &sink) : sink_(sink) { begin_object(); }

    void begin_object() {
        sink_("{");
        members_.push_back(0);
    }
    void end_object() {
        sink_("}");
        members_.pop_back();
    }
    void member(const char *key, const json_t &value) {
        begin_member(key);
        write(value);
    }
    void begin_list(const char *key) { lists_.push_back({key, 0}); }
    void end_list() {
        if (lists_.back().elements != 0)
            sink_("]");
        lists_.pop_back();
    }
    void element(const json_t &value) {
        begin_element();
        write(value);
    }
    // What follows is the next element of the list.
    void begin_element() {
        list_t &list = lists_.back();
        if (list.elements++ != 0)
            return sink_(",");
        begin_member(list.key);
        sink_("[");
    }

  private:
    struct list_t {
        const char *key;
        size_t elements;
    };

    void begin_member(const char *key) { sink_(concat(members_.back()++ == 0 ? "\"" : ",\"", key, "\":")); }
    void write(const json_t &value) { sink_(value.dump(-1, ' ', false, json_t::error_handler_t::replace)); }

    const text_sink_t &sink_;
    std::vector<size_t> members_; // of each object that is open
    std::vector<list_t> lists_;
};

class gltf_exporter_t {
  public:
    gltf_exporter_t(const kmg_reader_t &file, std::string_view name, const gltf_options_t &options,
                    gltf_changes_t &changes)
        : file_(file), header_(file.header()), name_(valid_utf8(name)), changes_(changes),
          listed_(listed_locators(file)), axes_(options.axes && listed_ != 0) {
        collect_materials();
        place_bones();
        data_size_ = uint64_t{header_.vertex_data_size} + header_.index_data_size;
        axes_offset_ = data_size_;
        data_size_ += axes_ ? axes_size : 0;
        bind_offset_ = data_size_;
        data_size_ += sizeof(kmg_matrix_t) * header_.bone_count;
        changes_.locators += header_.locator_count - listed_;
    }

    bool write(const byte_sink_t &sink);

  private:
    struct material_t {
        uint32_t number;
        bool has_alpha;
        auto operator<=>(const material_t &) const = default;
    };
    static constexpr size_t axes_vertices = 6;
    static constexpr size_t axes_size = axes_vertices * (sizeof(kmg_float3_t) + sizeof(kmg_bytes4_t));

    void collect_materials();
    void place_bones();
    void write_json(const text_sink_t &sink) const;
    json_t scene() const;
    void add_part_nodes(json_writer_t &json) const;
    void add_bone_nodes(json_writer_t &json) const;
    void add_meshes(json_writer_t &json) const;
    void add_materials(json_writer_t &json) const;
    void add_accessors(json_writer_t &json) const;
    void add_piece_accessors(const kmg_piece_t &piece, size_t view, json_writer_t &json) const;
    void add_views(json_writer_t &json) const;
    json_t primitive(uint32_t index, const kmg_piece_t &piece, size_t accessor) const;
    json_t skin() const;
    // Pieces without triangles have nothing to draw, and no accessor may be empty.
    bool is_drawn(const kmg_part_t &part) const {
        for (uint32_t i = part.first_piece; i < part.first_piece + part.piece_count; ++i)
            if (file_.pieces()[i].index_count != 0)
                return true;
        return false;
    }
    void write_data(const byte_sink_t &sink);
    void write_axes(const byte_sink_t &sink) const;
    void write_bind_matrices(const byte_sink_t &sink);

    void for_each_drawn_piece(auto &&visit) const {
        for (uint32_t i = 0; i < header_.piece_count; ++i)
            if (const kmg_piece_t piece = file_.pieces()[i]; piece.index_count != 0)
                visit(i, piece);
    }
    // Calls attribute(name, offset in the file, component type, type, normalised) in the vertex's order.
    void for_each_attribute(const kmg_piece_t &piece, auto &&attribute) const;
    size_t accessor_count(const kmg_piece_t &piece) const {
        size_t count = 1; // the indices
        for_each_attribute(piece, [&](auto &&...) { ++count; });
        return count;
    }

    const kmg_reader_t &file_;
    const kmg_header_t &header_;
    const std::string name_;
    gltf_changes_t &changes_;
    const size_t listed_; // locators
    const bool axes_;
    std::vector<material_t> materials_;
    std::vector<gltf_bone_t> bones_;
    std::vector<size_t> joints_; // the node of each bone that its children and vertices follow
    size_t skeleton_node_ = 0;
    uint64_t data_size_ = 0, axes_offset_ = 0, bind_offset_ = 0;
};

void gltf_exporter_t::collect_materials() {
    for_each_drawn_piece([&](uint32_t, const kmg_piece_t &piece) {
        const auto colours = file_.data_of(piece).colours;
        bool has_alpha = false;
        for (size_t i = 0; i < colours.size() && !has_alpha; ++i)
            has_alpha = colours[i][3] != 255;
        materials_.push_back({piece.material, !has_alpha});
    });
    // Of one number, with alpha comes first and stays.
    std::sort(materials_.begin(), materials_.end());
    const auto end = std::unique(materials_.begin(), materials_.end(),
                                 [](const auto &a, const auto &b) { return a.number == b.number; });
    materials_.erase(end, materials_.end());
    for (material_t &material : materials_)
        material.has_alpha = !material.has_alpha;
}

void gltf_exporter_t::place_bones() {
    skeleton_node_ = header_.part_count + listed_;
    size_t node = skeleton_node_ + 1;
    for (const kmg_bone_data_t bone : file_.bones()) {
        bones_.push_back(gltf_bone(bone));
        changes_.bone_rotations += bones_.back().rotation_changed;
        node += bones_.back().inner ? 2 : 1;
        joints_.push_back(node - 1);
    }
}

json_t gltf_exporter_t::scene() const {
    json_t roots = json_t::array();
    for (size_t part = 0; part < header_.part_count; ++part)
        roots.push_back(part + file_.parts()[part].first_locator);
    if (header_.bone_count != 0)
        roots.push_back(skeleton_node_);
    return {{"name", name_}, {"nodes", std::move(roots)}};
}

void gltf_exporter_t::add_part_nodes(json_writer_t &json) const {
    size_t mesh = 0, meshes = 0;
    for (const kmg_part_t part : file_.parts())
        meshes += is_drawn(part);
    for (size_t index = 0; index < header_.part_count; ++index) {
        const kmg_part_t part = file_.parts()[index];
        json_t node = {{"name", node_name(part.name, kmg_record_kind_t::part, index)}};
        const bool drawn = is_drawn(part);
        if (drawn)
            node["mesh"] = mesh++;
        if (drawn && header_.bone_count != 0)
            node["skin"] = 0;
        for (size_t i = 0; i < part.locator_count; ++i)
            node["children"].push_back(index + part.first_locator + 1 + i);
        json.element(node);
        for (uint32_t i = 0; i < part.locator_count; ++i) {
            const kmg_locator_t locator = file_.locators()[part.first_locator + i];
            json_t below = {
                {"name", node_name(locator.name, kmg_record_kind_t::locator, part.first_locator + i)}};
            gltf_transform_t transform;
            for (size_t c = 0; c < 3; ++c)
                transform.translation[c] = static_cast<double>(locator.position[c]);
            transform.rotation = gltf_rotation(locator.rotation);
            add_transform(below, transform);
            if (axes_)
                below["mesh"] = meshes;
            if (const auto hookup = file_.hookup_of(locator))
                below["extras"] = {{"hookup", valid_utf8(*hookup)}};
            json.element(below);
        }
    }
}

void gltf_exporter_t::add_bone_nodes(json_writer_t &json) const {
    if (header_.bone_count == 0)
        return;
    std::vector<json_t> children(header_.bone_count);
    json_t roots;
    for (size_t i = 0; i < bones_.size(); ++i) {
        const uint8_t parent = file_.bones()[i].parent;
        (parent == kmg_no_parent ? roots : children[parent])
            .push_back(joints_[i] - (bones_[i].inner ? 1 : 0));
    }
    json.element({{"name", "skeleton"}, {"children", roots}});
    for (size_t i = 0; i < bones_.size(); ++i) {
        const std::string name = node_name(file_.bones()[i].name, kmg_record_kind_t::bone, i);
        json_t node = {{"name", name}};
        add_transform(node, bones_[i].node);
        if (bones_[i].inner) {
            node["children"] = {joints_[i]};
            json.element(node);
            node = {{"name", name + "_stretch"}};
            add_transform(node, *bones_[i].inner);
        }
        if (!children[i].empty())
            node["children"] = children[i];
        json.element(node);
    }
}

void gltf_exporter_t::for_each_attribute(const kmg_piece_t &piece, auto &&attribute) const {
    attribute("POSITION", piece.position_offset, single, "VEC3", false);
    attribute("NORMAL", piece.normal_offset, single, "VEC3", false);
    if (piece.tangent_offset != kmg_absent)
        attribute("TANGENT", piece.tangent_offset, single, "VEC4", false);
    attribute("COLOR_0", piece.colour_offset, unsigned_byte, "VEC4", true);
    if (piece.factor_offset != kmg_absent)
        attribute("_FACTOR", piece.factor_offset, unsigned_byte, "VEC4", false);
    for (uint32_t channel = 0; channel < piece.uv_channel_count; ++channel)
        attribute(concat("TEXCOORD_", channel).c_str(),
                  piece.uv_offset + channel * uint32_t{sizeof(kmg_float2_t)}, single, "VEC2", false);
    if (piece.bone_index_offset != kmg_absent) {
        attribute("JOINTS_0", piece.bone_index_offset, unsigned_byte, "VEC4", false);
        attribute("WEIGHTS_0", piece.bone_weight_offset, unsigned_byte, "VEC4", true);
    }
}

void gltf_exporter_t::add_meshes(json_writer_t &json) const {
    size_t accessor = 0;
    for (size_t index = 0; index < header_.part_count; ++index) {
        const kmg_part_t part = file_.parts()[index];
        if (!is_drawn(part))
            continue;
        json.begin_element();
        json.begin_object();
        json.member("name", node_name(part.name, kmg_record_kind_t::part, index));
        json.begin_list("primitives");
        for (uint32_t i = part.first_piece; i < part.first_piece + part.piece_count; ++i)
            if (const kmg_piece_t piece = file_.pieces()[i]; piece.index_count != 0) {
                json.element(primitive(i, piece, accessor));
                accessor += accessor_count(piece);
            }
        json.end_list();
        json.end_object();
    }
    if (axes_)
        json.element({{"name", "axes"},
                      {"primitives",
                       {{{"attributes", {{"POSITION", accessor}, {"COLOR_0", accessor + 1}}},
                         {"material", materials_.size()},
                         {"mode", lines}}}}});
}

json_t gltf_exporter_t::primitive(uint32_t index, const kmg_piece_t &piece, size_t accessor) const {
    json_t attributes;
    for_each_attribute(piece, [&](const char *name, auto &&...) { attributes[name] = accessor++; });
    const auto material =
        std::lower_bound(materials_.begin(), materials_.end(), piece.material,
                         [](const material_t &m, uint32_t number) { return m.number < number; });
    return {{"attributes", std::move(attributes)},
            {"indices", accessor},
            {"material", material - materials_.begin()},
            {"mode", triangles},
            {"extras",
             {{"piece", index}, {"texture_coordinate_map", concat(hex_t{piece.texture_coordinate_map})}}}};
}

void gltf_exporter_t::add_materials(json_writer_t &json) const {
    for (const material_t &material : materials_) {
        json_t described = {{"name", concat("material ", material.number)},
                            {"pbrMetallicRoughness",
                             {{"baseColorFactor", palette_colour(material.number)},
                              {"metallicFactor", 0.0},
                              {"roughnessFactor", 0.8}}}};
        if (material.has_alpha)
            described["alphaMode"] = "BLEND";
        json.element(described);
    }
    if (axes_)
        json.element({{"name", "axes"}, {"pbrMetallicRoughness", {{"metallicFactor", 0.0}}}});
}

void gltf_exporter_t::add_piece_accessors(const kmg_piece_t &piece, size_t view, json_writer_t &json) const {
    for_each_attribute(
        piece, [&](std::string_view name, uint32_t offset, int component, const char *type, bool normalised) {
            json_t accessor = {{"bufferView", view},
                               {"byteOffset", offset - piece.position_offset},
                               {"componentType", component},
                               {"count", piece.vertex_count},
                               {"type", type}};
            if (normalised)
                accessor["normalized"] = true;
            if (name == "POSITION") {
                const auto range = range_of(file_.data_of(piece).positions);
                accessor["min"] = range.minimum;
                accessor["max"] = range.maximum;
            }
            json.element(accessor);
        });
    json.element({{"bufferView", view + 1},
                  {"componentType", unsigned_short},
                  {"count", piece.index_count},
                  {"type", "SCALAR"}});
}

float axes_length(const kmg_header_t &header) {
    std::array<double, 3> extent{};
    for (size_t i = 0; i < 3; ++i)
        extent[i] = static_cast<double>(header.box.maximum[i]) - static_cast<double>(header.box.minimum[i]);
    const double diagonal = header.piece_count != 0 ? length(extent) : 0;
    return diagonal > 0 && std::isfinite(diagonal) ? static_cast<float>(0.05 * diagonal) : 0.1f;
}

void gltf_exporter_t::add_accessors(json_writer_t &json) const {
    size_t view = 0;
    for_each_drawn_piece([&](uint32_t, const kmg_piece_t &piece) {
        add_piece_accessors(piece, view, json);
        view += 2;
    });
    if (axes_) {
        const auto end = static_cast<double>(axes_length(header_));
        json.element({{"bufferView", view++},
                      {"componentType", single},
                      {"count", axes_vertices},
                      {"type", "VEC3"},
                      {"min", {0.0, 0.0, 0.0}},
                      {"max", {end, end, end}}});
        json.element({{"bufferView", view++},
                      {"componentType", unsigned_byte},
                      {"count", axes_vertices},
                      {"type", "VEC4"},
                      {"normalized", true}});
    }
    if (header_.bone_count != 0)
        json.element({{"bufferView", view},
                      {"componentType", single},
                      {"count", header_.bone_count},
                      {"type", "MAT4"}});
}

void gltf_exporter_t::add_views(json_writer_t &json) const {
    const auto view = [&](uint64_t offset, uint64_t size) {
        return json_t{{"buffer", 0}, {"byteOffset", offset}, {"byteLength", size}};
    };
    for_each_drawn_piece([&](uint32_t, const kmg_piece_t &piece) {
        json_t vertices = view(piece.position_offset - header_.vertex_data_offset,
                               uint64_t{piece.vertex_stride} * piece.vertex_count);
        vertices["byteStride"] = piece.vertex_stride;
        vertices["target"] = array_buffer;
        json.element(vertices);
        json_t indices = view(piece.index_offset - header_.vertex_data_offset,
                              uint64_t{piece.index_count} * sizeof(uint16_t));
        indices["target"] = element_array_buffer;
        json.element(indices);
    });
    if (axes_)
        for (const size_t size : {sizeof(kmg_float3_t), sizeof(kmg_bytes4_t)}) {
            const bool colours = size == sizeof(kmg_bytes4_t);
            json_t vertices = view(axes_offset_ + (colours ? axes_vertices * sizeof(kmg_float3_t) : 0),
                                   axes_vertices * size);
            vertices["target"] = array_buffer;
            json.element(vertices);
        }
    if (header_.bone_count != 0)
        json.element(view(bind_offset_, sizeof(kmg_matrix_t) * header_.bone_count));
}

json_t gltf_exporter_t::skin() const {
    size_t bind_accessor = axes_ ? 2 : 0; // behind all others
    for_each_drawn_piece([&](uint32_t, const kmg_piece_t &piece) { bind_accessor += accessor_count(piece); });
    return {{"skeleton", skeleton_node_}, {"joints", joints_}, {"inverseBindMatrices", bind_accessor}};
}

void gltf_exporter_t::write_json(const text_sink_t &sink) const {
    json_writer_t json(sink);
    json.member("asset", {{"version", "2.0"}, {"generator", "kmg2glb"}});
    json.member("scene", 0);
    json.begin_list("scenes");
    json.element(scene());
    json.end_list();
    const auto list = [&](const char *key, auto... add) {
        json.begin_list(key);
        ((this->*add)(json), ...);
        json.end_list();
    };
    list("nodes", &gltf_exporter_t::add_part_nodes, &gltf_exporter_t::add_bone_nodes);
    list("meshes", &gltf_exporter_t::add_meshes);
    list("materials", &gltf_exporter_t::add_materials);
    list("accessors", &gltf_exporter_t::add_accessors);
    list("bufferViews", &gltf_exporter_t::add_views);
    // An empty buffer would not be valid.
    if (data_size_ != 0)
        json.member("buffers", json_t::array({{{"byteLength", data_size_}}}));
    if (header_.bone_count != 0)
        json.member("skins", json_t::array({skin()}));
    json.end_object();
}

void put(const byte_sink_t &sink, const auto &values) {
    std::array<std::byte, sizeof values> bytes;
    little_endian::put(bytes.data(), values);
    sink(bytes);
}

bool gltf_exporter_t::write(const byte_sink_t &sink) {
    uint64_t length = 0;
    write_json([&](std::string_view text) { length += text.size(); });
    const uint64_t padded = aligned_section_size(length);
    const uint64_t binary = data_size_ != 0 ? chunk_header_size + data_size_ : 0;
    const uint64_t total = glb_header_size + chunk_header_size + padded + binary;
    if (total > UINT32_MAX)
        return false;
    put(sink, std::array{glb_magic, glb_version, static_cast<uint32_t>(total)});
    put(sink, std::array{static_cast<uint32_t>(padded), json_chunk});
    std::string text;
    const auto flush = [&] {
        sink(std::as_bytes(std::span(text)));
        text.clear();
    };
    write_json([&](std::string_view part) {
        constexpr size_t enough = 1 << 16;
        text += part;
        if (text.size() >= enough)
            flush();
    });
    text.append(padded - length, ' ');
    flush();
    if (data_size_ == 0)
        return true;
    put(sink, std::array{static_cast<uint32_t>(data_size_), binary_chunk});
    write_data(sink);
    return true;
}

// Vertices and indices as they lie in the file, the values in them as glTF wants them.
void gltf_exporter_t::write_data(const byte_sink_t &sink) {
    std::vector<std::byte> vertices;
    for (const kmg_piece_t piece : file_.pieces()) {
        const auto stored =
            file_.bytes().subspan(piece.position_offset, size_t{piece.vertex_stride} * piece.vertex_count);
        changes_.pieces += piece.index_count == 0;
        if (piece.index_count != 0) {
            vertices.assign(stored.begin(), stored.end());
            adapt_vertices_for_gltf(piece, file_.data_of(piece), vertices, changes_);
        }
        sink(piece.index_count != 0 ? vertices : stored);
    }
    sink(file_.bytes().subspan(header_.index_data_offset, header_.index_data_size));
    if (axes_)
        write_axes(sink);
    for (size_t i = 0; i < listed_; ++i)
        changes_.locator_rotations += !is_unit_rotation(file_.locators()[i].rotation);
    write_bind_matrices(sink);
}

void gltf_exporter_t::write_axes(const byte_sink_t &sink) const {
    std::array<kmg_float3_t, axes_vertices> positions{};
    std::array<kmg_bytes4_t, axes_vertices> colours{};
    for (size_t axis = 0; axis < 3; ++axis) {
        positions[2 * axis + 1][axis] = axes_length(header_);
        for (const size_t end : {2 * axis, 2 * axis + 1}) {
            colours[end][axis] = 255;
            colours[end][3] = 255;
        }
    }
    put(sink, positions);
    put(sink, colours);
}

// Column by column, where the file goes row by row; the last row is exactly that of an affine transform.
void gltf_exporter_t::write_bind_matrices(const byte_sink_t &sink) {
    for (const kmg_bone_data_t bone : file_.bones()) {
        kmg_matrix_t columns;
        double change = 0;
        for (size_t r = 0; r < 4; ++r)
            for (size_t c = 0; c < 4; ++c) {
                const float value = r < 3 ? bone.inverse[4 * r + c] : c < 3 ? 0.0f : 1.0f;
                columns[4 * c + r] = value;
                change = std::max(change, std::abs(static_cast<double>(bone.inverse[4 * r + c]) -
                                                   static_cast<double>(value)));
            }
        changes_.last_rows += change > last_row_tolerance;
        put(sink, columns);
    }
}

} // namespace

std::string to_text(const gltf_changes_t &changes) {
    std::string text;
    const auto add = [&](size_t count, std::string_view noun, std::string_view what,
                         std::string_view plural = {}) {
        if (count != 0)
            append(text, concat(text.empty() ? "" : ", ", counted_t{count, noun, plural}, " ", what));
    };
    add(changes.normals, "normal", "brought to unit length");
    add(changes.tangents, "tangent", "brought to unit length and a sign of 1 or -1");
    add(changes.colours, "colour", "brighter than 1 cut to 1");
    add(changes.influences, "vertex", "given weights that sum to 1 over different bones", "vertices");
    add(changes.bone_rotations, "bone rotation", "brought to unit length");
    add(changes.last_rows, "inverse bone matrix", "given the last row 0 0 0 1", "inverse bone matrices");
    add(changes.locator_rotations, "locator rotation", "brought to unit length");
    add(changes.pieces, "piece", "without triangles left out");
    add(changes.locators, "locator", "of no part left out");
    return text;
}

bool export_glb(const kmg_reader_t &file, std::string_view name, const gltf_options_t &options,
                gltf_changes_t &changes, const byte_sink_t &sink) {
    return gltf_exporter_t(file, name, options, changes).write(sink);
}

} // namespace kestrel
