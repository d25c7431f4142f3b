#include "tools/gltf/gltf_weights.h"

#include "kcore/collections/deterministic_sort.h"
#include "tools/gltf/gltf_mesh.h"

#include <algorithm>
#include <cmath>

namespace kestrel {

namespace {

// Weights stored as bytes that sum to 255, or as reals, come closer to 1 than this.
constexpr float sum_tolerance = 1e-3f;
// The converter keeps the four largest weights as bytes and warns when those are below 0.85 in sum.
constexpr float least_kept = 0.86f;

struct influence_set_t {
    std::vector<std::array<uint32_t, 4>> joints;
    std::vector<kmg_float4_t> weights;
};

std::vector<influence_set_t> read_sets(const gltf_accessors_t &accessors,
                                       const tinygltf::Primitive &primitive) {
    std::vector<influence_set_t> sets;
    for (;;) {
        const auto joints = attribute_of(primitive, concat("JOINTS_", sets.size()));
        const auto weights = attribute_of(primitive, concat("WEIGHTS_", sets.size()));
        if (!joints && !weights)
            return sets;
        if (!joints || !weights)
            gltf_fail("has only one of JOINTS_", sets.size(), " and WEIGHTS_", sets.size());
        if (accessors.components(*joints) != 4)
            gltf_fail("JOINTS_", sets.size(), " has ", accessors.components(*joints),
                      " components; 4 are expected");
        influence_set_t &set = sets.emplace_back();
        const auto numbers = accessors.integers(*joints);
        set.joints.resize(numbers.size() / 4);
        for (size_t i = 0; i < numbers.size(); ++i)
            set.joints[i / 4][i % 4] = numbers[i];
        set.weights = accessors.vectors<4>(*weights);
    }
}

float sum_of(std::span<const influence_t> influences) {
    float sum = 0;
    for (const influence_t &influence : influences)
        sum += influence.weight;
    return sum;
}

void scale_to_one(influences_t &influences) {
    const float sum = sum_of(influences);
    for (influence_t &influence : influences)
        influence.weight /= sum;
}

// Each bone once, in the order of their first mention.
void add_influence(influences_t &influences, uint32_t bone, float weight) {
    const auto known = std::find_if(influences.begin(), influences.end(),
                                    [bone](const influence_t &each) { return each.bone == bone; });
    if (known != influences.end())
        known->weight += weight;
    else
        influences.push_back({bone, weight});
}

void cut_to_four(influences_t &influences, weight_changes_t &changes) {
    if (influences.size() <= kmg_max_influences)
        return;
    influences_t sorted = influences;
    std::stable_sort(sorted.begin(), sorted.end(),
                     [](const influence_t &a, const influence_t &b) { return a.weight > b.weight; });
    constexpr size_t most_without_warning = 16;
    if (sorted.size() <= most_without_warning &&
        sum_of(std::span(sorted).first(kmg_max_influences)) >= least_kept)
        return;
    sorted.resize(kmg_max_influences);
    scale_to_one(sorted);
    influences = std::move(sorted);
    ++changes.cut;
}

} // namespace

void read_weights(const gltf_accessors_t &accessors, const gltf_skeleton_t &skeleton, int skin,
                  const tinygltf::Primitive &primitive, model_piece_t &piece, weight_changes_t &changes) {
    const auto sets = read_sets(accessors, primitive);
    if (sets.empty())
        gltf_fail("its node has a skin, and it has no JOINTS_0");
    std::map<influences_t, uint32_t> known;
    piece.influence_sets.resize(piece.vertex_count());
    for (size_t v = 0; v < piece.vertex_count(); ++v) {
        influences_t influences;
        const auto bone_at = [&](size_t set, size_t slot) {
            const uint32_t joint = sets[set].joints[v][slot];
            if (joint >= skeleton.joint_count(skin))
                gltf_fail("JOINTS_", set, ": vertex ", v, " names joint ", joint, " of ",
                          skeleton.joint_count(skin));
            return skeleton.bone_of_joint(skin, joint);
        };
        for (size_t set = 0; set < sets.size(); ++set)
            for (size_t slot = 0; slot < 4; ++slot)
                if (const float weight = sets[set].weights[v][slot]; weight > 0)
                    add_influence(influences, bone_at(set, slot), weight);
        if (!std::isfinite(sum_of(influences)))
            gltf_fail("the weights of vertex ", v, " are too large for single precision");
        if (influences.empty()) {
            influences.push_back({bone_at(0, 0), 1});
            ++changes.weightless;
        } else if (std::abs(sum_of(influences) - 1) > sum_tolerance) {
            scale_to_one(influences);
            ++changes.scaled;
        }
        cut_to_four(influences, changes);
        const auto [place, added] =
            known.try_emplace(std::move(influences), static_cast<uint32_t>(piece.sets.size()));
        if (added)
            piece.sets.push_back(place->first);
        piece.influence_sets[v] = place->second;
    }
}

void hang_on_bone(uint32_t bone, model_piece_t &piece) {
    piece.sets = {{{bone, 1}}};
    piece.influence_sets.assign(piece.vertex_count(), 0);
}

void order_for_converter(model_piece_t &piece) {
    struct place_t {
        uint32_t vertex;
        uint32_t set;
    };
    const auto &sets = piece.influence_sets;
    if (sets.empty() || !std::is_sorted(sets.begin(), sets.end()))
        return;
    std::vector<place_t> places;
    for (const uint32_t set : sets)
        places.push_back({static_cast<uint32_t>(places.size()), set});
    sort_records(std::span(places), [](const place_t &a, const place_t &b) {
        return a.set < b.set ? -1 : static_cast<int>(a.set > b.set);
    });
    std::vector<uint32_t> vertices(places.size());
    for (uint32_t i = 0; i < places.size(); ++i)
        vertices[places[i].vertex] = i;
    auto triangles = std::move(piece.triangles);
    for (triangle_corners_t &triangle : triangles)
        for (uint32_t &corner : triangle)
            corner = places[corner].vertex;
    piece = vertices_of(piece, vertices);
    piece.triangles = std::move(triangles);
}

} // namespace kestrel
