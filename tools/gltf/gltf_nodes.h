#pragma once

// The nodes of a glTF file as a forest: parents, world matrices, and the order in which a scene visits them.

#include "tools/gltf/gltf_matrix.h"
#include "tools/gltf/gltf_source.h"

namespace kestrel {

class gltf_nodes_t {
  public:
    static constexpr int none = -1;

    // Throws gltf_error_t when nodes are below themselves, below two others, or say what cannot be.
    explicit gltf_nodes_t(const tinygltf::Model &document);

    size_t count() const { return parents_.size(); }
    const tinygltf::Node &operator[](int node) const { return document_.nodes[static_cast<size_t>(node)]; }
    int parent(int node) const { return parents_[static_cast<size_t>(node)]; }
    const matrix_t &world(int node) const { return worlds_[static_cast<size_t>(node)]; }

    // Those of a scene, each after its parent; of no scene, all there are.
    std::vector<int> in_scene(std::optional<int> scene) const;

    // "nodes[3] \"wheel\"", for messages.
    std::string label(int node) const;

  private:
    void find_parents();
    std::vector<int> below(std::vector<int> roots) const;

    const tinygltf::Model &document_;
    std::vector<int> parents_;
    std::vector<matrix_t> worlds_;
};

} // namespace kestrel
