#include "tools/gltf/gltf_nodes.h"

#include <algorithm>

namespace kestrel {

namespace {

template <size_t N>
std::array<double, N> values_or(const std::vector<double> &values, const std::array<double, N> &assumed,
                                const char *what) {
    if (values.empty())
        return assumed;
    if (values.size() != N)
        gltf_fail(what, " has ", values.size(), " values; ", N, " are expected");
    std::array<double, N> result;
    std::copy(values.begin(), values.end(), result.begin());
    return result;
}

matrix_t local_matrix(const tinygltf::Node &node) {
    if (!node.matrix.empty()) {
        const auto columns = values_or<16>(node.matrix, {}, "matrix");
        matrix_t matrix;
        for (size_t i = 0; i < columns.size(); ++i)
            matrix.m[i % 4][i / 4] = columns[i];
        return matrix;
    }
    const auto translation = values_or<3>(node.translation, {0, 0, 0}, "translation");
    const auto scale = values_or<3>(node.scale, {1, 1, 1}, "scale");
    auto [x, y, z, w] = values_or<4>(node.rotation, {0, 0, 0, 1}, "rotation");
    const double l = length(std::array{x, y, z, w});
    if (!(l > 0))
        gltf_fail("rotation is no quaternion");
    matrix_t matrix = rotation_matrix({w / l, x / l, y / l, z / l});
    for (size_t r = 0; r < 3; ++r) {
        for (size_t c = 0; c < 3; ++c)
            matrix.m[r][c] *= scale[c];
        matrix.m[r][3] = translation[r];
    }
    return matrix;
}

} // namespace

gltf_nodes_t::gltf_nodes_t(const tinygltf::Model &document)
    : document_(document), parents_(document.nodes.size(), none),
      worlds_(document.nodes.size(), identity_matrix) {
    find_parents();
    std::vector<int> roots;
    for (size_t i = 0; i < parents_.size(); ++i)
        if (parents_[i] == none)
            roots.push_back(static_cast<int>(i));
    const std::vector<int> reached = below(std::move(roots));
    if (reached.size() != parents_.size()) {
        std::vector<bool> seen(parents_.size());
        for (const int node : reached)
            seen[static_cast<size_t>(node)] = true;
        gltf_fail(label(static_cast<int>(std::find(seen.begin(), seen.end(), false) - seen.begin())),
                  " is below itself");
    }
    for (const int node : reached) {
        try {
            const matrix_t local = local_matrix((*this)[node]);
            matrix_t &world = worlds_[static_cast<size_t>(node)];
            world = parent(node) == none ? local : this->world(parent(node)) * local;
            if (!is_finite(world))
                gltf_fail("its transform is not finite");
        } catch (const gltf_error_t &error) {
            gltf_fail(label(node), ": ", error.what());
        }
    }
}

void gltf_nodes_t::find_parents() {
    for (size_t i = 0; i < parents_.size(); ++i)
        for (const int child : document_.nodes[i].children) {
            if (child < 0 || static_cast<size_t>(child) >= parents_.size())
                gltf_fail(label(static_cast<int>(i)), ": there is no node ", child);
            int &parent = parents_[static_cast<size_t>(child)];
            if (parent != none)
                gltf_fail(label(child), " is below both node ", parent, " and node ", i);
            parent = static_cast<int>(i);
        }
}

// Without recursion: a chain of nodes may be as long as the file.
std::vector<int> gltf_nodes_t::below(std::vector<int> open) const {
    std::reverse(open.begin(), open.end());
    std::vector<int> order;
    while (!open.empty()) {
        const int node = open.back();
        open.pop_back();
        order.push_back(node);
        const auto &children = (*this)[node].children;
        open.insert(open.end(), children.rbegin(), children.rend());
    }
    return order;
}

std::vector<int> gltf_nodes_t::in_scene(std::optional<int> scene) const {
    std::vector<int> roots;
    if (!scene) {
        for (size_t i = 0; i < count(); ++i)
            if (parents_[i] == none)
                roots.push_back(static_cast<int>(i));
        return below(std::move(roots));
    }
    if (*scene < 0 || static_cast<size_t>(*scene) >= document_.scenes.size())
        gltf_fail("there is no scene ", *scene, "; the file has ", document_.scenes.size());
    roots = document_.scenes[static_cast<size_t>(*scene)].nodes;
    std::vector<bool> seen(count());
    for (const int root : roots) {
        if (root < 0 || static_cast<size_t>(root) >= count())
            gltf_fail("scenes[", *scene, "]: there is no node ", root);
        if (parent(root) != none)
            gltf_fail("scenes[", *scene, "]: ", label(root), " is below another node");
        if (seen[static_cast<size_t>(root)])
            gltf_fail("scenes[", *scene, "]: ", label(root), " is there twice");
        seen[static_cast<size_t>(root)] = true;
    }
    return below(std::move(roots));
}

std::string gltf_nodes_t::label(int node) const {
    const std::string &name = (*this)[node].name;
    return name.empty() ? concat("nodes[", node, "]") : concat("nodes[", node, "] \"", name, "\"");
}

} // namespace kestrel
