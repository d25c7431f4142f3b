#pragma once

// A glTF file taken apart, without the library that reads and writes it.

#include "tools/kmg/affine.h"
#include "tools/kmg/little_endian.h"

#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string>
#include <vector>

namespace kestrel {

using json_t = nlohmann::json;

class glb_file_t {
  public:
    explicit glb_file_t(const std::string &bytes) {
        const auto word = [&](size_t at) {
            uint32_t value;
            if (at + sizeof value > bytes.size())
                throw std::runtime_error("no glb file: too short");
            little_endian::get(reinterpret_cast<const std::byte *>(bytes.data()) + at, value);
            return value;
        };
        if (word(0) != 0x46546C67 || word(4) != 2 || word(8) != bytes.size() || word(16) != 0x4E4F534A)
            throw std::runtime_error("no glb file: wrong header");
        const size_t json_size = word(12);
        json = json_t::parse(bytes.substr(20, json_size));
        if (bytes.size() > 20 + json_size)
            binary_ = bytes.substr(28 + json_size, word(20 + json_size));
    }
    // The text of a .gltf and its buffer.
    glb_file_t(const std::string &text, std::string binary)
        : json(json_t::parse(text)), binary_(std::move(binary)) {}

    const json_t &accessor(const json_t &index) const { return json.at("accessors").at(index.get<size_t>()); }
    template <class T>
    std::vector<T> elements(const json_t &accessor_index) const {
        const json_t &described = accessor(accessor_index);
        const json_t &view = json.at("bufferViews").at(described.at("bufferView").get<size_t>());
        const size_t start = view.value("byteOffset", size_t{0}) + described.value("byteOffset", size_t{0});
        const size_t stride = view.value("byteStride", sizeof(T));
        std::vector<T> values(described.at("count").get<size_t>());
        for (size_t i = 0; i < values.size(); ++i)
            little_endian::get(reinterpret_cast<const std::byte *>(binary_.data()) + start + i * stride,
                               values[i]);
        return values;
    }

    json_t json;

  private:
    std::string binary_;
};

inline matrix_t node_matrix(const json_t &node) {
    matrix_t scale = identity_matrix, translation = identity_matrix;
    matrix_t rotation = identity_matrix;
    for (size_t i = 0; i < 3; ++i) {
        if (node.contains("scale"))
            scale.m[i][i] = node.at("scale").at(i);
        if (node.contains("translation"))
            translation.m[i][3] = node.at("translation").at(i);
    }
    if (node.contains("rotation")) {
        const auto q = node.at("rotation").get<std::array<double, 4>>();
        rotation = rotation_matrix({q[3], q[0], q[1], q[2]});
    }
    return translation * rotation * scale;
}

// From the root down to each node.
inline std::vector<matrix_t> world_matrices(const json_t &gltf) {
    const json_t &nodes = gltf.at("nodes");
    std::vector<matrix_t> matrices(nodes.size(), identity_matrix);
    std::vector<size_t> open = gltf.at("scenes").at(0).at("nodes");
    for (const size_t root : open)
        matrices[root] = node_matrix(nodes.at(root));
    while (!open.empty()) {
        const size_t node = open.back();
        open.pop_back();
        for (const size_t child : nodes.at(node).value("children", std::vector<size_t>{})) {
            matrices[child] = matrices[node] * node_matrix(nodes.at(child));
            open.push_back(child);
        }
    }
    return matrices;
}

} // namespace kestrel
