#pragma once

// glTF files put together by hand, right or wrong.

#include "tools/kmg/little_endian.h"

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

namespace kestrel {

class gltf_builder_t {
  public:
    using json_t = nlohmann::json;

    gltf_builder_t()
        : document(json_t::parse(R"({"asset": {"version": "2.0"}, "bufferViews": [], "accessors": [],
        "meshes": [], "nodes": []})")) {}

    json_t &operator[](const char *name) { return document[name]; }

    // Bytes of their own in the buffer.
    int view(const std::string &bytes, size_t stride = 0) {
        binary.resize((binary.size() + 3) / 4 * 4);
        json_t view{{"buffer", 0}, {"byteOffset", binary.size()}, {"byteLength", bytes.size()}};
        if (stride > 0)
            view["byteStride"] = stride;
        binary += bytes;
        return append("bufferViews", view);
    }
    template <class T>
    static std::string bytes_of(const std::vector<T> &values) {
        std::string bytes(values.size() * sizeof(T), '\0');
        for (size_t i = 0; i < values.size(); ++i)
            little_endian::put(reinterpret_cast<std::byte *>(bytes.data()) + i * sizeof(T), values[i]);
        return bytes;
    }
    template <class T>
    static constexpr int component_type = std::is_same_v<T, int8_t>     ? 5120
                                          : std::is_same_v<T, uint8_t>  ? 5121
                                          : std::is_same_v<T, int16_t>  ? 5122
                                          : std::is_same_v<T, uint16_t> ? 5123
                                          : std::is_same_v<T, uint32_t> ? 5125
                                                                        : 5126;
    // `type` is "VEC3" or the like; values are its components, one element after the other.
    template <class T>
    int accessor(const char *type, const std::vector<T> &values, const json_t &more = {}) {
        const size_t components = type[0] == 'V'   ? static_cast<size_t>(type[3] - '0')
                                  : type[0] == 'M' ? 16
                                                   : 1;
        json_t accessor{{"bufferView", view(bytes_of(values))},
                        {"componentType", component_type<T>},
                        {"type", type},
                        {"count", values.size() / components}};
        accessor.update(more.is_null() ? json_t::object() : more);
        return append("accessors", accessor);
    }
    int append(const char *list, const json_t &item) {
        document[list].push_back(item);
        return static_cast<int>(document[list].size()) - 1;
    }

    std::string glb() {
        document["buffers"] = {{{"byteLength", binary.size()}}};
        std::string json = document.dump();
        json.resize((json.size() + 3) / 4 * 4, ' ');
        binary.resize((binary.size() + 3) / 4 * 4);
        const auto words = [](std::vector<uint32_t> values) { return bytes_of(values); };
        return words({0x46546C67, 2, static_cast<uint32_t>(28 + json.size() + binary.size()),
                      static_cast<uint32_t>(json.size()), 0x4E4F534A}) +
               json + words({static_cast<uint32_t>(binary.size()), 0x004E4942}) + binary;
    }

    json_t document;
    std::string binary;
};

// One triangle in the mesh of one node.
inline gltf_builder_t one_triangle() {
    gltf_builder_t gltf;
    const int positions = gltf.accessor<float>("VEC3", {0, 0, 0, 2, 0, 0, 0, 3, 0});
    const int normals = gltf.accessor<float>("VEC3", {0, 0, 1, 0, 0, 1, 0, 0, 1});
    gltf.append("meshes",
                {{"primitives", {{{"attributes", {{"POSITION", positions}, {"NORMAL", normals}}}}}}});
    gltf.append("nodes", {{"mesh", 0}, {"name", "body"}});
    return gltf;
}

} // namespace kestrel
