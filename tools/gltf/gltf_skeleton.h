#pragma once

// The bones of a model from the skins of a glTF file.
//
// The model's space is that of the scene with its joints at rest, so that what hangs on a joint stays where
// it is. A bone's matrix is the inverse of the joint's inverse bind matrix, brought from its mesh's space to
// that one. Skins whose joints are not at rest where they were bound keep the space of their mesh.

#include "tools/gltf/gltf_accessors.h"
#include "tools/gltf/gltf_nodes.h"
#include "tools/gltf/imported_model.h"

#include <map>

namespace kestrel {

class gltf_skeleton_t {
  public:
    // Of these skins, none of them twice. Throws gltf_error_t.
    gltf_skeleton_t(const tinygltf::Model &document, const gltf_accessors_t &accessors,
                    const gltf_nodes_t &nodes, std::span<const int> skins, std::vector<std::string> &notes);

    // Each after its parent.
    const std::vector<model_bone_t> &bones() const { return bones_; }
    // From the space of the meshes of a skin.
    const matrix_t &to_model(int skin) const { return to_model_.at(skin); }
    uint32_t bone_of_joint(int skin, size_t joint) const { return bone_of_node_.at(joints_.at(skin)[joint]); }
    size_t joint_count(int skin) const { return joints_.at(skin).size(); }

    // The bone that a node hangs on.
    std::optional<uint32_t> bone_above(int node) const;
    // Where a node without skin stands in the model.
    matrix_t place_of(int node) const;

  private:
    void read_skin(int skin, const tinygltf::Model &document, const gltf_accessors_t &accessors);
    matrix_t placed(int skin, const std::vector<matrix_t> &inverse_binds);
    void find_joints_above();
    void order_bones();
    int joint_above(int node) const;
    std::string name_of(int node) const;

    const gltf_nodes_t &nodes_;
    std::vector<std::string> &notes_;
    std::map<int, std::vector<int>> joints_; // of each skin
    std::map<int, matrix_t> to_model_;
    std::vector<int> joint_nodes_;       // of all skins, in the order of the file
    std::map<int, matrix_t> matrices_;   // of each of them
    std::vector<int> joint_at_or_above_; // of every node
    std::map<int, uint32_t> bone_of_node_;
    std::vector<model_bone_t> bones_;
};

} // namespace kestrel
