#include "tools/gltf/gltf_import.h"

#include "tools/gltf/gltf_mesh.h"
#include "tools/gltf/gltf_names.h"
#include "tools/gltf/gltf_weights.h"

#include <algorithm>
#include <set>

namespace kestrel {

namespace {

constexpr int none = gltf_nodes_t::none;

std::string hookup_of(const tinygltf::Node &node) {
    constexpr const char *name = "hookup";
    if (!node.extras.IsObject() || !node.extras.Has(name) || !node.extras.Get(name).IsString())
        return {};
    return quotable(node.extras.Get(name).Get<std::string>());
}

kmg_float3_t position_in(const matrix_t &matrix) {
    return {static_cast<float>(matrix.m[0][3]), static_cast<float>(matrix.m[1][3]),
            static_cast<float>(matrix.m[2][3])};
}

// Of the two quaternions that are the same turn, the one on the side of the node's own.
kmg_float4_t rotation_in(const matrix_t &matrix, const tinygltf::Node &node) {
    auto q = rotation_of(matrix);
    const auto &own = node.rotation; // w last
    const bool other_side =
        own.size() == 4 && q[0] * own[3] + q[1] * own[0] + q[2] * own[1] + q[3] * own[2] < 0;
    kmg_float4_t result;
    for (size_t i = 0; i < 4; ++i)
        result[i] = static_cast<float>(other_side ? -q[i] : q[i]);
    return result;
}

kmg_float3_t scale_in(const matrix_t &matrix) {
    kmg_float3_t result;
    const auto scale = scale_of(matrix);
    for (size_t i = 0; i < 3; ++i) {
        const auto single = static_cast<float>(scale[i]);
        result[i] = single > 0 ? single : 1.0f; // nothing else is allowed
    }
    return result;
}

class gltf_importer_t {
  public:
    gltf_importer_t(const gltf_source_t &source, const gltf_import_options_t &options)
        : document_(source.document), options_(options), accessors_(source), nodes_(document_),
          order_(nodes_.in_scene(scene())) {
        model_.notes = source.left_out;
        if (document_.scenes.size() > 1)
            model_.notes.push_back(concat("scene ", *scene(), " of ", document_.scenes.size(), " is read"));
    }

    imported_model_t import() {
        find_bodies();
        if (const std::vector<int> skins = skins_used(); !skins.empty()) {
            skeleton_.emplace(document_, accessors_, nodes_, skins, model_.notes);
            model_.bones = skeleton_->bones();
        }
        add_materials();
        find_parts();
        for (size_t part = 0; part < part_nodes_.size(); ++part)
            add_part(part);
        add_locators();
        add_notes();
        if (model_.pieces.empty() && model_.locators.empty())
            gltf_fail("there are neither triangles nor locators in it");
        if (model_.pieces.empty()) {
            model_.materials.clear();
            model_.bones.clear();
        }
        return std::move(model_);
    }

  private:
    struct locator_node_t {
        int node;
        size_t part;
    };

    std::optional<int> scene() const;
    bool has_only_lines(int node) const;
    void find_bodies();
    std::vector<int> skins_used() const;
    void add_materials();
    uint32_t material_of(const tinygltf::Primitive &primitive);
    void find_parts();
    void add_part(size_t part);
    void add_primitive(int node, const tinygltf::Primitive &primitive, model_part_t &part);
    void spend(const tinygltf::Primitive &primitive, gltf_mode_t mode);
    void add_influences(int node, const tinygltf::Primitive &primitive, model_piece_t &piece);
    void add_locators();
    void add_notes();

    bool has_mesh(int node) const { return nodes_[node].mesh >= 0 && !has_only_lines(node); }
    bool is_body(int node) const { return bodies_[static_cast<size_t>(node)]; }
    bool is_top(int node) const { return nodes_.parent(node) == none; }
    matrix_t place_of(int node) const { return skeleton_ ? skeleton_->place_of(node) : nodes_.world(node); }

    const tinygltf::Model &document_;
    const gltf_import_options_t &options_;
    const gltf_accessors_t accessors_;
    const gltf_nodes_t nodes_;
    const std::vector<int> order_; // of the nodes in the scene
    // Is there a mesh, joint, camera or light in it or below it?
    std::vector<bool> bodies_;
    std::optional<gltf_skeleton_t> skeleton_;
    std::vector<int> part_nodes_;
    std::vector<locator_node_t> locator_nodes_;
    std::optional<uint32_t> default_material_;
    imported_model_t model_;

    size_t vertices_spent_ = 0, corners_spent_ = 0;
    // For the notes.
    std::vector<std::string> empty_nodes_, unknown_attributes_;
    size_t other_modes_ = 0, empty_primitives_ = 0, morphed_ = 0, split_ = 0, hung_ = 0;
    weight_changes_t weight_changes_;
};

std::optional<int> gltf_importer_t::scene() const {
    if (options_.scene)
        return options_.scene;
    if (document_.defaultScene >= 0)
        return document_.defaultScene;
    return document_.scenes.empty() ? std::nullopt : std::optional(0);
}

// Such as kmg2glb draws at locators when asked to.
bool gltf_importer_t::has_only_lines(int node) const {
    const auto mesh = static_cast<size_t>(nodes_[node].mesh);
    if (mesh >= document_.meshes.size())
        return false;
    const auto &primitives = document_.meshes[mesh].primitives;
    return std::all_of(primitives.begin(), primitives.end(),
                       [](const tinygltf::Primitive &each) { return !triangle_mode(each.mode); });
}

void gltf_importer_t::find_bodies() {
    std::set<int> joints;
    for (const tinygltf::Skin &skin : document_.skins)
        joints.insert(skin.joints.begin(), skin.joints.end());
    bodies_.resize(nodes_.count());
    for (auto node = order_.rbegin(); node != order_.rend(); ++node) {
        const tinygltf::Node &found = nodes_[*node];
        const bool light = found.extensions.contains("KHR_lights_punctual");
        if (has_mesh(*node) || found.camera >= 0 || light || joints.contains(*node))
            bodies_[static_cast<size_t>(*node)] = true;
        if (is_body(*node) && !is_top(*node))
            bodies_[static_cast<size_t>(nodes_.parent(*node))] = true;
    }
}

std::vector<int> gltf_importer_t::skins_used() const {
    std::vector<int> skins;
    std::set<int> known;
    for (const int node : order_)
        if (has_mesh(node) && nodes_[node].skin >= 0 && known.insert(nodes_[node].skin).second)
            skins.push_back(nodes_[node].skin);
    return skins;
}

void gltf_importer_t::add_materials() {
    for (size_t i = 0; i < document_.materials.size(); ++i) {
        const std::string &name = document_.materials[i].name;
        const auto effect = std::find_if(options_.effects.begin(), options_.effects.end(),
                                         [&](const auto &each) { return each.first == name; });
        model_.materials.push_back(
            {quotable(name.empty() ? concat("material ", i) : name),
             quotable(effect == options_.effects.end() ? options_.effect : effect->second)});
    }
}

uint32_t gltf_importer_t::material_of(const tinygltf::Primitive &primitive) {
    if (primitive.material >= 0) {
        if (static_cast<size_t>(primitive.material) >= document_.materials.size())
            gltf_fail("there is no material ", primitive.material);
        return static_cast<uint32_t>(primitive.material);
    }
    if (!default_material_) {
        default_material_ = static_cast<uint32_t>(model_.materials.size());
        model_.materials.push_back({"default", quotable(options_.effect)});
    }
    return *default_material_;
}

// An empty node at the top is a part as well, when nothing but locators is below it.
void gltf_importer_t::find_parts() {
    std::vector<int> part_of(nodes_.count(), none);
    std::vector<std::string> names;
    std::vector<int> homeless;
    for (const int node : order_) {
        int &part = part_of[static_cast<size_t>(node)];
        if (nodes_[node].mesh >= 0 && !has_mesh(node))
            other_modes_ += document_.meshes[static_cast<size_t>(nodes_[node].mesh)].primitives.size();
        if (!is_top(node))
            part = part_of[static_cast<size_t>(nodes_.parent(node))];
        if (has_mesh(node) || (is_top(node) && !is_body(node))) {
            part = static_cast<int>(part_nodes_.size());
            part_nodes_.push_back(node);
            names.push_back(nodes_[node].name);
        } else if (!is_body(node)) {
            if (part != none)
                locator_nodes_.push_back({node, static_cast<size_t>(part)});
            else if (!hookup_of(nodes_[node]).empty())
                homeless.push_back(node);
            else
                empty_nodes_.push_back(nodes_.label(node));
        }
    }
    if (!part_nodes_.empty())
        for (const int node : homeless)
            locator_nodes_.push_back({node, 0});
    // Part by part, as they stand in a geometry file.
    std::stable_sort(locator_nodes_.begin(), locator_nodes_.end(),
                     [](const locator_node_t &a, const locator_node_t &b) { return a.part < b.part; });
    for (std::string &name : token_names(names, "part", false, model_.notes))
        model_.parts.emplace_back().name = std::move(name);
}

void gltf_importer_t::add_part(size_t part) {
    const int node = part_nodes_[part];
    if (!has_mesh(node))
        return;
    const auto number = static_cast<size_t>(nodes_[node].mesh);
    if (number >= document_.meshes.size())
        gltf_fail(nodes_.label(node), ": there is no mesh ", number);
    const auto &primitives = document_.meshes[number].primitives;
    for (size_t i = 0; i < primitives.size(); ++i) {
        try {
            add_primitive(node, primitives[i], model_.parts[part]);
        } catch (const gltf_error_t &error) {
            gltf_fail("meshes[", number, "].primitives[", i, "]: ", error.what());
        }
    }
}

// Before anything is decoded: a small file may ask for the same large mesh many times.
void gltf_importer_t::spend(const tinygltf::Primitive &primitive, gltf_mode_t mode) {
    const auto take = [&](const char *name, size_t each, size_t &spent) {
        const auto accessor = attribute_of(primitive, name);
        if (!accessor)
            return false;
        const size_t count = accessors_.count(*accessor);
        if (count > options_.most_elements || each * count > options_.most_elements - spent)
            gltf_fail("with this, the model has more than ", options_.most_elements,
                      " vertices or corners of triangles");
        spent += each * count;
        return true;
    };
    const size_t corners = mode == gltf_mode_t::triangles ? 1 : 3; // that one index leads to
    if (!take(gltf_source_t::indices_name, corners, corners_spent_))
        take("POSITION", corners, corners_spent_);
    take("POSITION", 1, vertices_spent_);
}

void gltf_importer_t::add_influences(int node, const tinygltf::Primitive &primitive, model_piece_t &piece) {
    if (!skeleton_)
        return;
    if (const int skin = nodes_[node].skin; skin >= 0) {
        read_weights(accessors_, *skeleton_, skin, primitive, piece, weight_changes_);
        return;
    }
    const auto bone = skeleton_->bone_above(node);
    hung_ += !bone;
    hang_on_bone(bone.value_or(0), piece);
}

void gltf_importer_t::add_primitive(int node, const tinygltf::Primitive &primitive, model_part_t &part) {
    const auto mode = triangle_mode(primitive.mode);
    if (!mode) {
        ++other_modes_;
        return;
    }
    spend(primitive, *mode);
    model_piece_t piece = read_primitive(accessors_, primitive, *mode, unknown_attributes_);
    if (piece.triangles.empty()) {
        ++empty_primitives_;
        return;
    }
    morphed_ += !primitive.targets.empty();
    piece.material = material_of(primitive);
    add_influences(node, primitive, piece);
    const int skin = nodes_[node].skin;
    transform_piece(skin >= 0 ? skeleton_->to_model(skin) : place_of(node), piece);
    if (piece.normals.empty())
        compute_flat_normals(piece);
    if (options_.tangents && piece.tangents.empty())
        compute_tangents(piece);
    auto pieces = split_piece(std::move(piece), kmg_max_piece_vertices);
    split_ += pieces.size() > 1;
    for (model_piece_t &each : pieces) {
        order_for_converter(each);
        part.pieces.push_back(static_cast<uint32_t>(model_.pieces.size()));
        model_.pieces.push_back(std::move(each));
    }
}

void gltf_importer_t::add_locators() {
    std::vector<std::string> names;
    for (const auto &[node, part] : locator_nodes_) {
        const matrix_t place = place_of(node);
        model_locator_t &locator = model_.locators.emplace_back();
        locator.hookup = hookup_of(nodes_[node]);
        locator.position = position_in(place);
        locator.rotation = rotation_in(place, nodes_[node]);
        locator.scale = scale_in(place);
        for (const auto values : {locator.position, locator.scale})
            for (const float value : values)
                if (!std::isfinite(value))
                    gltf_fail(nodes_.label(node), ": it is too far away for single precision");
        model_.parts[part].locators.push_back(static_cast<uint32_t>(names.size()));
        names.push_back(nodes_[node].name);
    }
    names = token_names(names, "locator", false, model_.notes);
    for (size_t i = 0; i < names.size(); ++i)
        model_.locators[i].name = std::move(names[i]);
}

void gltf_importer_t::add_notes() {
    const auto note = [&](size_t count, const char *one, const char *many) {
        if (count > 0)
            model_.notes.push_back(concat(count, " ", count == 1 ? one : many));
    };
    note(other_modes_, "primitive of points or lines is left out",
         "primitives of points or lines are left out");
    note(empty_primitives_, "primitive without triangles is left out",
         "primitives without triangles are left out");
    note(morphed_, "primitive has morph targets, which are left out",
         "primitives have morph targets, which are left out");
    note(split_, "primitive has more vertices than a piece can have and is split",
         "primitives have more vertices than a piece can have and are split");
    note(hung_, "primitive has no skin and is below no joint; it follows the first bone",
         "primitives have no skin and are below no joint; they follow the first bone");
    note(weight_changes_.scaled, "vertex has weights that do not sum to 1; they are scaled",
         "vertices have weights that do not sum to 1; they are scaled");
    note(weight_changes_.cut, "vertex has more weights than a geometry file keeps; the four largest stay",
         "vertices have more weights than a geometry file keeps; the four largest stay");
    note(weight_changes_.weightless, "vertex has no weights; it follows its first joint",
         "vertices have no weights; they follow their first joints");
    std::sort(unknown_attributes_.begin(), unknown_attributes_.end());
    unknown_attributes_.erase(std::unique(unknown_attributes_.begin(), unknown_attributes_.end()),
                              unknown_attributes_.end());
    if (!unknown_attributes_.empty())
        model_.notes.push_back("attributes that are left out: " + listed(unknown_attributes_));
    if (!empty_nodes_.empty())
        model_.notes.push_back("empty nodes that are below no part and are left out: " +
                               listed(empty_nodes_));
}

} // namespace

imported_model_t import_gltf(const gltf_source_t &source, const gltf_import_options_t &options) {
    return gltf_importer_t(source, options).import();
}

} // namespace kestrel
