#include "tools/conv/kim2kmg/writer/piece_skinning.h"

#include "kcore/collections/deterministic_sort.h"
#include "kcore/messages/messages.h"

#include <algorithm>
#include <cstring>

namespace kestrel {

namespace {

constexpr uint32_t suspicious_weight_count = 16;
// They are repeated for every piece, which a large model could make into terabytes.
constexpr uint32_t most_heavy_item_lines = 65536;

constexpr uint32_t unskinned = 0xFFFFFFFF;    // the set of a vertex that no item names
constexpr uint32_t not_in_piece = 0xFFFFFFFF; // the number of a set that the piece has not used

const kim_skin_stream_t *find_positions(const kim_skin_t &skin) {
    for (const kim_skin_stream_t *stream : skin.streams)
        if (stream->tag.view() == position_tag)
            return stream;
    return nullptr;
}

// Visits the items of either kind of skin: their weights, and a function that visits the vertices that share
// the item, by piece index and number. False when a visit gave false, which ends it.
template <class visit_t>
bool for_each_item(const kim_t &model, visit_t visit) {
    if (model.skin) {
        const kim_skin_stream_t &skin = *find_positions(*model.skin);
        return std::ranges::all_of(skin.items(), [&](const kim_skinitem_t &item) {
            return visit(skin.weights_of(item), [&](auto visit_vertex) {
                for (const skin_clone_t &clone : skin.clones_of(item))
                    visit_vertex(clone.piece, clone.vertex);
            });
        });
    }
    for (const kim_piece_skin_t *skin : model.piece_skins) {
        for (const kim_piece_skin_item_t &item : skin->items) {
            const auto vertices = [&](auto visit_vertex) {
                for (const uint32_t vertex :
                     skin->vertex_indices.items().subspan(item.first_vertex_index, item.vertex_index_count))
                    visit_vertex(skin->piece_index, vertex);
            };
            if (!visit(skin->weights.items().subspan(item.first_weight, item.weight_count), vertices))
                return false;
        }
    }
    return true;
}

uint64_t hash_of(const influence_set_t &set) {
    uint64_t bones_and_weights;
    static_assert(offsetof(influence_set_t, count) == sizeof bones_and_weights);
    std::memcpy(&bones_and_weights, &set, sizeof bones_and_weights);
    return mix_hash(set.count, bones_and_weights);
}

} // namespace

bool skin_binding_t::build(const kim_t &model, const kis_t *skeleton) {
    model_ = &model;
    has_skin_ =
        skeleton && (model.skin ? find_positions(*model.skin) != nullptr : !model.piece_skins.empty());
    if (!has_skin_)
        return true;
    if (!map_bones(*skeleton))
        return false;
    group_pieces();
    const auto add = [this](auto weights, auto for_each_vertex) {
        return add_item(weights, for_each_vertex);
    };
    if (!for_each_item(model, add))
        return false;
    piece_set_numbers_.resize(sets_.size(), not_in_piece);
    return true;
}

bool skin_binding_t::map_bones(const kis_t &skeleton) {
    for (const string_dyn_t &name : model_->bone_names) {
        const auto bone = skeleton.bones->find(name.view());
        if (!bone)
            return msg_error("[kim2kmg] %s: cannot find mapping for kim bone '%s'",
                             model_->source_name.c_str(), name.c_str());
        bone_map_.push_back(static_cast<uint8_t>(*bone));
    }
    return true;
}

// Several pieces may share an index.
void skin_binding_t::group_pieces() {
    for (const kix_piece_t *piece : model_->pieces) {
        const auto next = static_cast<uint32_t>(groups_.size());
        const uint32_t number =
            group_numbers_.find_or_add(mix_hash(0, piece->index), next, [&](uint32_t group) {
                return groups_[group].piece_index == piece->index;
            });
        if (number == next)
            groups_.push_back({piece->index, 0, 0, 0, 0});
        groups_[number].vertex_count = std::max(groups_[number].vertex_count, piece->vertex_count);
    }
    size_t vertices = 0;
    for (group_t &group : groups_) {
        group.first_vertex = vertices;
        vertices += group.vertex_count;
    }
    table_.resize(vertices, {unskinned, influence_quality_t::none});
}

// None for the index of no piece.
skin_binding_t::group_t *skin_binding_t::find_group(uint32_t piece_index) {
    if (last_group_ && last_group_->piece_index == piece_index)
        return last_group_;
    const uint32_t number = group_numbers_.find(
        mix_hash(0, piece_index), [&](uint32_t group) { return groups_[group].piece_index == piece_index; });
    return number == hashed_table_t::none ? nullptr : last_group_ = &groups_[number];
}

template <class for_each_vertex_t>
bool skin_binding_t::add_item(std::span<const skin_weight_t> weights, for_each_vertex_t for_each_vertex) {
    const auto bone_count = static_cast<uint32_t>(bone_map_.size());
    for (const skin_weight_t &weight : weights)
        if (weight.bone >= bone_count)
            return msg_error("[kim2kmg] %s: skin item %u uses bone %u of %u", model_->source_name.c_str(),
                             item_count_, weight.bone, bone_count);
    const bool heavy = weights.size() > suspicious_weight_count;
    if (heavy)
        heavy_items_.push_back({item_count_, weights.size(), {}});
    const vertex_skin_t skin = bind(weights);
    for_each_vertex([&](uint32_t piece, uint32_t vertex) {
        if (heavy)
            heavy_items_.back().vertices.push_back({piece, vertex});
        group_t *const group = find_group(piece);
        if (!group)
            return;
        if (vertex >= group->last_vertex) {
            group->last_vertex = vertex;
            group->last_vertex_item = item_count_;
        }
        if (vertex < group->vertex_count)
            table_.data()[group->first_vertex + vertex] = skin;
    });
    ++item_count_;
    return true;
}

skin_binding_t::vertex_skin_t skin_binding_t::bind(std::span<const skin_weight_t> weights) {
    influence_set_t set;
    const influence_quality_t quality = quantise_influences(weights, bone_map_.items(), pairs_, set);
    if (quality == influence_quality_t::none)
        return {0, quality};
    const auto next = static_cast<uint32_t>(sets_.size());
    const uint32_t number =
        set_numbers_.find_or_add(hash_of(set), next, [&](uint32_t other) { return sets_[other] == set; });
    if (number == next)
        sets_.push_back(set);
    return {number, quality};
}

bool skin_binding_t::skin_piece(const kix_piece_t &piece, vertex_order_t &order) {
    if (!has_skin_)
        return msg_error("[kim2kmg] %s: missing skinstream", model_->source_name.c_str());
    warn_of_heavy_items();
    const group_t &group = *find_group(piece.index);
    const auto vertices = table_.items().subspan(group.first_vertex, piece.vertex_count);
    if (!check_piece(piece, group, vertices))
        return false;
    if (has_vertex_of(vertices, influence_quality_t::decimated))
        msg_warning("[kim2kmg] %s: has too many influential bones per vertex - decimated to %u, skinning may "
                    "be deformed!",
                    model_->source_name.c_str(), kmg_max_influences);
    order_vertices(vertices, order);
    return true;
}

// By set, in the order of the sets' first use in this piece.
void skin_binding_t::order_vertices(std::span<const vertex_skin_t> vertices, vertex_order_t &order) {
    order.reserve(vertices.size());
    piece_sets_.clear();
    for (uint32_t vertex = 0; vertex < vertices.size(); ++vertex) {
        const uint32_t set = vertices[vertex].set;
        uint32_t &number = piece_set_numbers_.data()[set];
        if (number == not_in_piece) {
            number = static_cast<uint32_t>(piece_sets_.size());
            piece_sets_.push_back(set);
        }
        order.push_back({vertex, number});
    }
    sort_records(order.items(), [](const skinned_vertex_t &a, const skinned_vertex_t &b) {
        return a.set < b.set ? -1 : static_cast<int32_t>(a.set > b.set);
    });
    for (skinned_vertex_t &vertex : order)
        vertex.set = piece_sets_.data()[vertex.set];
    for (const uint32_t set : piece_sets_)
        piece_set_numbers_.data()[set] = not_in_piece;
}

bool skin_binding_t::has_vertex_of(std::span<const vertex_skin_t> vertices, influence_quality_t quality) {
    return std::ranges::any_of(vertices,
                               [&](const vertex_skin_t &vertex) { return vertex.quality == quality; });
}

bool skin_binding_t::check_piece(const kix_piece_t &piece, const group_t &group,
                                 std::span<const vertex_skin_t> vertices) const {
    const char *const name = model_->source_name.c_str();
    if (group.last_vertex >= piece.vertex_count)
        return msg_error("[kim2kmg] %s: skin item %u names vertex %u of piece %u, which has %u", name,
                         group.last_vertex_item, group.last_vertex, piece.index, piece.vertex_count);
    for (uint32_t vertex = 0; vertex < vertices.size(); ++vertex)
        if (vertices[vertex].set == unskinned)
            return msg_error("[kim2kmg] %s: vertex %u of piece %u has no skin", name, vertex, piece.index);
    if (has_vertex_of(vertices, influence_quality_t::none))
        return msg_error("[kim2kmg] %s: has at least one vertex with no influential bones", name);
    return true;
}

void skin_binding_t::warn_of_heavy_items() {
    const char *const name = model_->source_name.c_str();
    for (const heavy_item_t &item : heavy_items_) {
        if (!may_warn_of_heavy_items())
            return;
        msg_warning("[kim2kmg] %s: number of source influences exceeeds a threshold of %u at skin item #%u - "
                    "source data probably incorrect (source has %Iu)",
                    name, suspicious_weight_count, item.number, item.weight_count);
        for (const skin_clone_t &vertex : item.vertices) {
            if (!may_warn_of_heavy_items())
                return;
            msg_warning("[kim2kmg] %s: - affecting piece %u, vertex %u", name, vertex.piece, vertex.vertex);
        }
    }
}

// False once there have been too many of these lines; the last one says so.
bool skin_binding_t::may_warn_of_heavy_items() {
    if (heavy_item_lines_ > most_heavy_item_lines)
        return false;
    if (++heavy_item_lines_ <= most_heavy_item_lines)
        return true;
    msg_warning("[kim2kmg] %s: too many warnings about skin items, further ones are left out",
                model_->source_name.c_str());
    return false;
}

} // namespace kestrel
