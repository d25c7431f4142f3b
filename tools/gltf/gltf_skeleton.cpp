#include "tools/gltf/gltf_skeleton.h"

#include "tools/gltf/gltf_names.h"

#include <algorithm>

namespace kestrel {

namespace {

// Of what was computed in single precision, several times over.
constexpr double tolerance = 1e-4;
// The converter takes a bone's matrix for singular when its determinant is within a thousandth of a hundredth
// of zero; a little more is kept clear of it.
constexpr double least_determinant = 1.1e-5;

bool nearly_equal(const matrix_t &a, const matrix_t &b) {
    double largest = 1;
    for (const auto &row : a.m)
        for (const double value : row)
            largest = std::max(largest, std::abs(value));
    for (size_t r = 0; r < 3; ++r)
        for (size_t c = 0; c < 4; ++c)
            if (!(std::abs(a.m[r][c] - b.m[r][c]) <= tolerance * largest))
                return false;
    return true;
}

std::vector<matrix_t> read_inverse_binds(const tinygltf::Skin &skin, const gltf_accessors_t &accessors) {
    std::vector<matrix_t> matrices(skin.joints.size(), identity_matrix);
    if (skin.inverseBindMatrices < 0)
        return matrices;
    const auto columns = accessors.vectors<16>(skin.inverseBindMatrices);
    if (columns.size() < matrices.size())
        gltf_fail("there are ", columns.size(), " inverse bind matrices for ", matrices.size(), " joints");
    for (size_t i = 0; i < matrices.size(); ++i)
        matrices[i] = matrix_t::from(columns[i]).transposed();
    return matrices;
}

void remove_scale(matrix_t &matrix) {
    for (size_t c = 0; c < 3; ++c) {
        const double l = length(std::array{matrix.m[0][c], matrix.m[1][c], matrix.m[2][c]});
        for (size_t r = 0; r < 3; ++r)
            matrix.m[r][c] /= l;
    }
}

} // namespace

gltf_skeleton_t::gltf_skeleton_t(const tinygltf::Model &document, const gltf_accessors_t &accessors,
                                 const gltf_nodes_t &nodes, std::span<const int> skins,
                                 std::vector<std::string> &notes)
    : nodes_(nodes), notes_(notes) {
    for (const int skin : skins) {
        try {
            read_skin(skin, document, accessors);
        } catch (const gltf_error_t &error) {
            gltf_fail("skins[", skin, "]: ", error.what());
        }
    }
    find_joints_above();
    order_bones();
}

void gltf_skeleton_t::read_skin(int number, const tinygltf::Model &document,
                                const gltf_accessors_t &accessors) {
    if (number < 0 || static_cast<size_t>(number) >= document.skins.size())
        gltf_fail("there is no such skin");
    const tinygltf::Skin &skin = document.skins[static_cast<size_t>(number)];
    if (skin.joints.empty())
        gltf_fail("has no joints");
    for (const int joint : skin.joints)
        if (joint < 0 || static_cast<size_t>(joint) >= nodes_.count())
            gltf_fail("there is no node ", joint);
    joints_[number] = skin.joints;
    const auto inverse_binds = read_inverse_binds(skin, accessors);
    const matrix_t place = placed(number, inverse_binds);
    to_model_[number] = place;
    size_t shrunk = 0;
    for (size_t i = 0; i < skin.joints.size(); ++i) {
        const int node = skin.joints[i];
        if (matrices_.contains(node))
            continue;
        const auto unplaced = inverse(inverse_binds[i]);
        if (!unplaced)
            gltf_fail("the inverse bind matrix of joint ", i, " has no inverse");
        matrix_t bind = place * *unplaced;
        if (std::abs(determinant(bind)) < least_determinant) {
            remove_scale(bind);
            ++shrunk;
            if (!(std::abs(determinant(bind)) >= least_determinant))
                gltf_fail("the inverse bind matrix of joint ", i, " has no inverse but a flat one");
        }
        matrices_[node] = bind;
        joint_nodes_.push_back(node);
        if (joint_nodes_.size() > kmg_max_bones)
            gltf_fail("more than ", kmg_max_bones, " joints, which is all that a model can have");
    }
    if (shrunk > 0)
        notes_.push_back(
            concat("skins[", number, "]: ", shrunk,
                   " bones are scaled down so far that the converter would find no inverse; their "
                   "scale is left out"));
}

// What brings the skin's meshes into the model's space.
matrix_t gltf_skeleton_t::placed(int skin, const std::vector<matrix_t> &inverse_binds) {
    const std::vector<int> &joints = joints_[skin];
    const auto offset = [&](size_t i) {
        const auto known = matrices_.find(joints[i]);
        return (known != matrices_.end() ? known->second : nodes_.world(joints[i])) * inverse_binds[i];
    };
    // Joints that another skin has bound decide, wherever they are at rest.
    const auto shared =
        std::find_if(joints.begin(), joints.end(), [&](int node) { return matrices_.contains(node); });
    const bool follows = shared != joints.end();
    const matrix_t place = offset(follows ? static_cast<size_t>(shared - joints.begin()) : 0);
    bool at_rest = std::abs(determinant(place)) > 0;
    for (size_t i = 0; i < joints.size(); ++i) {
        if (nearly_equal(offset(i), place))
            continue;
        if (matrices_.contains(joints[i]) && follows)
            gltf_fail("binds ", nodes_.label(joints[i]), " elsewhere than a skin before it");
        at_rest = false;
    }
    if (!at_rest && !follows)
        notes_.push_back(concat("skins[", skin,
                                "]: its joints are not at rest where they were bound; its meshes "
                                "stay as they were bound"));
    if ((!at_rest && !follows) || nearly_equal(place, identity_matrix))
        return identity_matrix;
    return place;
}

void gltf_skeleton_t::find_joints_above() {
    joint_at_or_above_.resize(nodes_.count(), gltf_nodes_t::none);
    for (const int node : nodes_.in_scene(std::nullopt)) {
        const int parent = nodes_.parent(node);
        int &joint = joint_at_or_above_[static_cast<size_t>(node)];
        if (matrices_.contains(node))
            joint = node;
        else if (parent != gltf_nodes_t::none)
            joint = joint_at_or_above_[static_cast<size_t>(parent)];
    }
}

int gltf_skeleton_t::joint_above(int node) const {
    const int parent = nodes_.parent(node);
    return parent == gltf_nodes_t::none ? parent : joint_at_or_above_[static_cast<size_t>(parent)];
}

// kmg2glb makes two nodes of a bone whose stretch has axes of its own; the lower one is the joint.
std::string gltf_skeleton_t::name_of(int node) const {
    constexpr std::string_view ending = "_stretch";
    const std::string &name = nodes_[node].name;
    const int parent = nodes_.parent(node);
    if (parent != gltf_nodes_t::none && !matrices_.contains(parent) &&
        name == nodes_[parent].name + std::string(ending))
        return nodes_[parent].name;
    return name;
}

void gltf_skeleton_t::order_bones() {
    std::vector<int> order;
    for (const int joint : joint_nodes_) {
        std::vector<int> chain;
        for (int node = joint; node != gltf_nodes_t::none && !bone_of_node_.contains(node);
             node = joint_above(node))
            chain.push_back(node);
        for (; !chain.empty(); chain.pop_back()) {
            bone_of_node_[chain.back()] = static_cast<uint32_t>(order.size());
            order.push_back(chain.back());
        }
    }
    std::vector<std::string> wanted;
    for (const int node : order)
        wanted.push_back(name_of(node));
    const auto names = token_names(wanted, "bone", true, notes_);
    for (size_t i = 0; i < order.size(); ++i) {
        model_bone_t &bone = bones_.emplace_back();
        bone.name = names[i];
        if (const int above = joint_above(order[i]); above != gltf_nodes_t::none)
            bone.parent = bone_of_node_.at(above);
        const matrix_t &matrix = matrices_.at(order[i]);
        for (size_t k = 0; k < bone.matrix.size(); ++k) {
            bone.matrix[k] = static_cast<float>(matrix.m[k / 4][k % 4]);
            if (!std::isfinite(bone.matrix[k]))
                gltf_fail(nodes_.label(order[i]), ": its bind matrix is too large for single precision");
        }
    }
}

std::optional<uint32_t> gltf_skeleton_t::bone_above(int node) const {
    const int joint = joint_at_or_above_[static_cast<size_t>(node)];
    return joint == gltf_nodes_t::none ? std::nullopt : std::optional(bone_of_node_.at(joint));
}

matrix_t gltf_skeleton_t::place_of(int node) const {
    const int joint = joint_at_or_above_[static_cast<size_t>(node)];
    const matrix_t &world = nodes_.world(node);
    if (joint == gltf_nodes_t::none || nearly_equal(matrices_.at(joint), nodes_.world(joint)))
        return world;
    const auto from_joint = inverse(nodes_.world(joint));
    if (!from_joint)
        gltf_fail(nodes_.label(joint), " has no place at rest: its transform has no inverse");
    return matrices_.at(joint) * *from_joint * world;
}

} // namespace kestrel
