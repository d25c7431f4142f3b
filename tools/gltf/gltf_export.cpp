#include "tools/gltf/gltf_export.h"

#include "tools/gltf/gltf_bone.h"
#include "tools/gltf/gltf_vertices.h"
#include "tools/kmg/kmg_text.h"
#include "tools/kmg/token_text.h"

#include <algorithm>
#include <map>
#include <sstream>
#include <tiny_gltf.h>

namespace kestrel {

namespace {

namespace gltf = tinygltf;

int index_of_last(const auto &items) {
    return static_cast<int>(items.size()) - 1;
}

// Empty, which glTF does not store, for the value that glTF assumes anyway.
template <size_t N>
std::vector<double> unless_default(const std::array<double, N> &values,
                                   const std::array<double, N> &assumed) {
    if (values == assumed)
        return {};
    return {values.begin(), values.end()};
}

// A node without any property would not be written as one, so that every node needs a name.
std::string node_name(uint64_t token, kmg_record_kind_t kind, size_t index) {
    return token != 0 ? token_text(token) : to_text(kind, static_cast<uint32_t>(index));
}

class gltf_exporter_t {
  public:
    gltf_exporter_t(const kmg_reader_t &file, std::string_view name) : file_(file) {
        model_.asset.version = "2.0";
        model_.asset.generator = "kmg2glb";
        model_.scenes.resize(1);
        model_.scenes[0].name = valid_utf8(name);
        model_.defaultScene = 0;
    }

    std::string write() {
        copy_data();
        for (uint32_t part = 0; part < file_.header().part_count; ++part)
            add_part(part);
        add_skeleton();
        // An empty buffer would not be valid.
        if (model_.buffers[0].data.empty())
            model_.buffers.clear();
        std::ostringstream stream;
        gltf::TinyGLTF().WriteGltfSceneToStream(&model_, stream, false, true);
        return std::move(stream).str();
    }

  private:
    void copy_data();
    void add_part(uint32_t index);
    void add_locator(uint32_t index, int part_node);
    void add_primitive(uint32_t index, gltf::Mesh &mesh);
    void add_attributes(const kmg_piece_t &piece, const kmg_piece_data_t &data, int view,
                        gltf::Primitive &primitive);
    void add_skeleton();
    int add_bone(size_t index, int parent_node);
    int add_inverse_bind_matrices();

    int add_node(std::string name) {
        model_.nodes.emplace_back().name = std::move(name);
        return index_of_last(model_.nodes);
    }
    int add_node_below(int parent, std::string name, const gltf_transform_t &transform);
    int add_view(size_t offset, size_t size, size_t stride, int target);
    int add_accessor(int view, size_t offset, int component, int type, size_t count);
    int material_of(uint32_t number);
    std::vector<int> &roots() { return model_.scenes[0].nodes; }

    const kmg_reader_t &file_;
    gltf::Model model_;
    std::map<uint32_t, int> materials_;
};

// Vertices and indices as they lie in the file, the values in them as glTF wants them.
void gltf_exporter_t::copy_data() {
    const kmg_header_t &header = file_.header();
    const auto data = file_.bytes().subspan(header.vertex_data_offset);
    auto &buffer = model_.buffers.emplace_back().data;
    buffer.resize(data.size());
    const auto copy = std::as_writable_bytes(std::span(buffer));
    std::copy(data.begin(), data.end(), copy.begin());
    for (const kmg_piece_t piece : file_.pieces())
        adapt_vertices_for_gltf(piece, file_.data_of(piece),
                                copy.subspan(piece.position_offset - header.vertex_data_offset,
                                             size_t{piece.vertex_stride} * piece.vertex_count));
}

int gltf_exporter_t::add_view(size_t offset, size_t size, size_t stride, int target) {
    auto &view = model_.bufferViews.emplace_back();
    view.buffer = 0;
    view.byteOffset = offset;
    view.byteLength = size;
    view.byteStride = stride;
    view.target = target;
    return index_of_last(model_.bufferViews);
}

int gltf_exporter_t::add_accessor(int view, size_t offset, int component, int type, size_t count) {
    auto &accessor = model_.accessors.emplace_back();
    accessor.bufferView = view;
    accessor.byteOffset = offset;
    accessor.componentType = component;
    accessor.type = type;
    accessor.count = count;
    return index_of_last(model_.accessors);
}

int gltf_exporter_t::material_of(uint32_t number) {
    const auto [known, added] = materials_.try_emplace(number, static_cast<int>(model_.materials.size()));
    if (added) {
        auto &material = model_.materials.emplace_back();
        material.name = concat("material ", number);
        material.pbrMetallicRoughness.metallicFactor = 0;
        material.pbrMetallicRoughness.roughnessFactor = 0.8;
    }
    return known->second;
}

void gltf_exporter_t::add_part(uint32_t index) {
    const kmg_part_t part = file_.parts()[index];
    const int node = add_node(node_name(part.name, kmg_record_kind_t::part, index));
    roots().push_back(node);
    gltf::Mesh mesh;
    mesh.name = model_.nodes.back().name;
    for (uint32_t i = 0; i < part.piece_count; ++i)
        add_primitive(part.first_piece + i, mesh);
    if (!mesh.primitives.empty()) {
        model_.meshes.push_back(std::move(mesh));
        model_.nodes[static_cast<size_t>(node)].mesh = index_of_last(model_.meshes);
        if (file_.header().bone_count != 0)
            model_.nodes[static_cast<size_t>(node)].skin = 0;
    }
    for (uint32_t i = 0; i < part.locator_count; ++i)
        add_locator(part.first_locator + i, node);
}

int gltf_exporter_t::add_node_below(int parent, std::string name, const gltf_transform_t &transform) {
    const int index = add_node(std::move(name));
    gltf::Node &node = model_.nodes.back();
    const gltf_transform_t assumed;
    node.translation = unless_default(transform.translation, assumed.translation);
    node.rotation = unless_default(transform.rotation, assumed.rotation);
    node.scale = unless_default(transform.scale, assumed.scale);
    model_.nodes[static_cast<size_t>(parent)].children.push_back(index);
    return index;
}

void gltf_exporter_t::add_locator(uint32_t index, int part_node) {
    const kmg_locator_t locator = file_.locators()[index];
    gltf_transform_t transform;
    for (size_t i = 0; i < 3; ++i)
        transform.translation[i] = static_cast<double>(locator.position[i]);
    transform.rotation = gltf_rotation(locator.rotation);
    add_node_below(part_node, node_name(locator.name, kmg_record_kind_t::locator, index), transform);
    if (const auto hookup = file_.hookup_of(locator))
        model_.nodes.back().extras = gltf::Value({{"hookup", gltf::Value(valid_utf8(*hookup))}});
}

void gltf_exporter_t::add_primitive(uint32_t index, gltf::Mesh &mesh) {
    const kmg_piece_t piece = file_.pieces()[index];
    if (piece.index_count == 0)
        return; // nothing to draw, and no accessor may be empty
    const kmg_piece_data_t data = file_.data_of(piece);
    const uint32_t start = file_.header().vertex_data_offset;
    auto &primitive = mesh.primitives.emplace_back();
    primitive.mode = TINYGLTF_MODE_TRIANGLES;
    primitive.material = material_of(piece.material);
    const int vertices =
        add_view(piece.position_offset - start, size_t{piece.vertex_stride} * piece.vertex_count,
                 piece.vertex_stride, TINYGLTF_TARGET_ARRAY_BUFFER);
    add_attributes(piece, data, vertices, primitive);
    const int indices = add_view(piece.index_offset - start, data.indices.size() * sizeof(uint16_t), 0,
                                 TINYGLTF_TARGET_ELEMENT_ARRAY_BUFFER);
    primitive.indices = add_accessor(indices, 0, TINYGLTF_COMPONENT_TYPE_UNSIGNED_SHORT, TINYGLTF_TYPE_SCALAR,
                                     data.indices.size());
    primitive.extras =
        gltf::Value({{"piece", gltf::Value(static_cast<int>(index))},
                     {"texture_coordinate_map", gltf::Value(concat(hex_t{piece.texture_coordinate_map}))}});
}

void gltf_exporter_t::add_attributes(const kmg_piece_t &piece, const kmg_piece_data_t &data, int view,
                                     gltf::Primitive &primitive) {
    const auto add = [&](const std::string &name, uint32_t offset, int component, int type) {
        primitive.attributes[name] =
            add_accessor(view, offset - piece.position_offset, component, type, piece.vertex_count);
    };
    const auto add_floats = [&](const std::string &name, uint32_t offset, int type) {
        add(name, offset, TINYGLTF_COMPONENT_TYPE_FLOAT, type);
    };
    const auto add_bytes = [&](const std::string &name, uint32_t offset, bool normalised) {
        add(name, offset, TINYGLTF_COMPONENT_TYPE_UNSIGNED_BYTE, TINYGLTF_TYPE_VEC4);
        model_.accessors.back().normalized = normalised;
    };
    add_floats("POSITION", piece.position_offset, TINYGLTF_TYPE_VEC3);
    auto &bounds = model_.accessors.back();
    bounds.minValues.assign(3, std::numeric_limits<double>::infinity());
    bounds.maxValues.assign(3, -std::numeric_limits<double>::infinity());
    for (const kmg_float3_t position : data.positions)
        for (size_t i = 0; i < 3; ++i) {
            bounds.minValues[i] = std::min(bounds.minValues[i], static_cast<double>(position[i]));
            bounds.maxValues[i] = std::max(bounds.maxValues[i], static_cast<double>(position[i]));
        }
    add_floats("NORMAL", piece.normal_offset, TINYGLTF_TYPE_VEC3);
    if (!data.tangents.empty())
        add_floats("TANGENT", piece.tangent_offset, TINYGLTF_TYPE_VEC4);
    add_bytes("COLOR_0", piece.colour_offset, true);
    if (!data.factors.empty())
        add_bytes("_FACTOR", piece.factor_offset, false);
    for (uint32_t channel = 0; channel < piece.uv_channel_count; ++channel)
        add_floats(concat("TEXCOORD_", channel),
                   piece.uv_offset + channel * static_cast<uint32_t>(sizeof(kmg_float2_t)),
                   TINYGLTF_TYPE_VEC2);
    if (!data.bone_indices.empty()) {
        add_bytes("JOINTS_0", piece.bone_index_offset, false);
        add_bytes("WEIGHTS_0", piece.bone_weight_offset, true);
    }
}

int gltf_exporter_t::add_bone(size_t index, int parent_node) {
    const kmg_bone_data_t bone = file_.bones()[index];
    const gltf_bone_t nodes = gltf_bone(bone);
    const std::string name = node_name(bone.name, kmg_record_kind_t::bone, index);
    const int node = add_node_below(parent_node, name, nodes.node);
    return nodes.inner ? add_node_below(node, name + "_stretch", *nodes.inner) : node;
}

void gltf_exporter_t::add_skeleton() {
    if (file_.header().bone_count == 0)
        return;
    const int root = add_node("skeleton");
    roots().push_back(root);
    gltf::Skin skin;
    skin.skeleton = root;
    for (size_t i = 0; i < file_.bones().size(); ++i) {
        const uint8_t parent = file_.bones()[i].parent;
        skin.joints.push_back(add_bone(i, parent == kmg_no_parent ? root : skin.joints[parent]));
    }
    skin.inverseBindMatrices = add_inverse_bind_matrices();
    model_.skins.push_back(std::move(skin));
}

// Column by column, where the file goes row by row; the last row is exactly that of an affine transform.
int gltf_exporter_t::add_inverse_bind_matrices() {
    auto &buffer = model_.buffers[0].data;
    const size_t start = buffer.size();
    for (const kmg_bone_data_t bone : file_.bones()) {
        kmg_matrix_t columns;
        for (size_t r = 0; r < 4; ++r)
            for (size_t c = 0; c < 4; ++c)
                columns[4 * c + r] = r < 3 ? bone.inverse[4 * r + c] : c < 3 ? 0.0f : 1.0f;
        std::array<std::byte, sizeof columns> bytes;
        little_endian::put(bytes.data(), columns);
        for (const std::byte byte : bytes)
            buffer.push_back(static_cast<unsigned char>(byte));
    }
    const int view = add_view(start, buffer.size() - start, 0, 0);
    return add_accessor(view, 0, TINYGLTF_COMPONENT_TYPE_FLOAT, TINYGLTF_TYPE_MAT4,
                        file_.header().bone_count);
}

} // namespace

std::string export_glb(const kmg_reader_t &file, std::string_view name) {
    return gltf_exporter_t(file, name).write();
}

} // namespace kestrel
