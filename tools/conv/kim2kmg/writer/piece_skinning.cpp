#include "tools/conv/kim2kmg/writer/piece_skinning.h"

#include "kcore/collections/sort.h"
#include "kcore/messages/messages.h"
#include "tools/conv/kim2kmg/writer/skin_selection.h"
#include "tools/conv/kim2kmg/writer/writer_errors.h"

#include <bit>
#include <cstring>

namespace kestrel {

static constexpr uint32_t suspicious_weight_count = 16;
// They are repeated for every piece, which a large model could make into terabytes.
static constexpr uint32_t most_heavy_item_lines = 65536;

bool skin_binding_t::build(const kim_t &model, const kis_t *skeleton) {
    model_ = &model;
    if (!select_skin(model, made_skin_, skin_))
        return out_of_memory(*model_);
    if (!skeleton)
        skin_ = nullptr;
    if (!skin_)
        return true;
    if (!build_bone_map(*skeleton) || !check_weights())
        return false;
    if (!clones_.build(*skin_, model.pieces.items()) || !item_influences_.resize(skin_->items().size()))
        return out_of_memory(*model_);
    return true;
}

bool skin_binding_t::build_bone_map(const kis_t &skeleton) {
    for (const string_dyn_t &name : model_->bone_names) {
        const auto bone = skeleton.bones->find(name.view());
        if (!bone) {
            msg_error("[kim2kmg] %s: cannot find mapping for kim bone '%s'", model_->source_name.c_str(),
                      name.c_str());
            return false;
        }
        if (!bone_map_.push_back(*bone))
            return out_of_memory(*model_);
    }
    return true;
}

bool skin_binding_t::check_weights() {
    const auto bone_count = static_cast<uint32_t>(bone_map_.size());
    uint32_t number = 0;
    for (const kim_skinitem_t &item : skin_->items()) {
        for (const skin_weight_t &weight : skin_->weights_of(item)) {
            if (weight.bone >= bone_count) {
                msg_error("[kim2kmg] %s: skin item %u uses bone %u of %u", model_->source_name.c_str(),
                          number, weight.bone, bone_count);
                return false;
            }
        }
        if (item.weights_added > suspicious_weight_count && !heavy_items_.push_back(number))
            return out_of_memory(*model_);
        ++number;
    }
    return true;
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

void skin_binding_t::warn_of_heavy_items() {
    const char *const name = model_->source_name.c_str();
    for (const uint32_t number : heavy_items_) {
        if (!may_warn_of_heavy_items())
            return;
        const kim_skinitem_t &item = skin_->items()[number];
        msg_warning("[kim2kmg] %s: number of source influences exceeeds a threshold of %u at skin item #%u - "
                    "source data probably incorrect (source has %Iu)",
                    name, suspicious_weight_count, number, size_t{item.weights_added});
        for (const skin_clone_t &clone : skin_->clones_of(item)) {
            if (!may_warn_of_heavy_items())
                return;
            msg_warning("[kim2kmg] %s: - affecting piece %u, vertex %u", name, clone.piece, clone.vertex);
        }
    }
}

bool skin_binding_t::skin_piece(const kix_piece_t &piece, piece_info_t &info) {
    if (!skin_) {
        msg_error("[kim2kmg] %s: missing skinstream", model_->source_name.c_str());
        return false;
    }
    warn_of_heavy_items();
    std::span<const uint32_t> items;
    return find_items(piece, items) && collect_sets(piece, items, info) && order_vertices(info);
}

// The skin item of each of the piece's vertices.
bool skin_binding_t::find_items(const kix_piece_t &piece, std::span<const uint32_t> &items) const {
    const char *const name = model_->source_name.c_str();
    const clone_table_t::group_t &group = clones_.group_of(piece);
    if (group.last_vertex >= piece.vertex_count) {
        msg_error("[kim2kmg] %s: skin item %u names vertex %u of piece %u, which has %u", name,
                  group.last_vertex_item, group.last_vertex, piece.index, piece.vertex_count);
        return false;
    }
    items = clones_.items_of(group, piece);
    for (uint32_t vertex = 0; vertex < piece.vertex_count; ++vertex) {
        if (items[vertex] == clone_table_t::no_item) {
            msg_error("[kim2kmg] %s: vertex %u of piece %u has no skin", name, vertex, piece.index);
            return false;
        }
    }
    return true;
}

influence_quality_t skin_binding_t::influences_of(uint32_t item) {
    item_influences_t &influences = item_influences_[item];
    if (!influences.known) {
        influences.quality = quantise_influences(skin_->weights_of(skin_->items()[item]), bone_map_.items(),
                                                 pairs_, influences.set);
        influences.known = true;
    }
    return influences.quality;
}

namespace {

uint64_t hash_of(const influence_set_t &set) {
    uint64_t bones_and_weights;
    static_assert(offsetof(influence_set_t, count) == sizeof bones_and_weights);
    std::memcpy(&bones_and_weights, &set, sizeof bones_and_weights);
    return (bones_and_weights * 8 + set.count) * 0x9E3779B97F4A7C15; // the golden ratio, for its bits
}

constexpr uint32_t free_slot = 0xFFFFFFFF;

// The number of the set among the sets, to which it is added when it is new; free_slot when there is no
// memory. `slots` is a hash table of set numbers, a power of two of them, never full.
uint32_t number_of(const influence_set_t &set, array_t<influence_set_t> &sets, std::span<uint32_t> slots) {
    const size_t mask = slots.size() - 1;
    size_t slot = hash_of(set) >> 32 & mask;
    while (slots[slot] != free_slot) {
        if (sets[slots[slot]] == set)
            return slots[slot];
        slot = (slot + 1) & mask;
    }
    const auto number = static_cast<uint32_t>(sets.size());
    if (!sets.push_back(set))
        return free_slot;
    slots[slot] = number;
    return number;
}

} // namespace

bool skin_binding_t::collect_sets(const kix_piece_t &piece, std::span<const uint32_t> items,
                                  piece_info_t &info) {
    const char *const name = model_->source_name.c_str();
    bool decimated = false;
    order_.clear();
    set_slots_.clear();
    if (!order_.reserve(piece.vertex_count) ||
        !set_slots_.resize(std::bit_ceil(size_t{2} * piece.vertex_count), free_slot))
        return out_of_memory(*model_);
    for (uint32_t vertex = 0; vertex < piece.vertex_count; ++vertex) {
        const influence_quality_t quality = influences_of(items[vertex]);
        if (quality == influence_quality_t::none) {
            msg_error("[kim2kmg] %s: has at least one vertex with no influential bones", name);
            return false;
        }
        if (quality == influence_quality_t::no_memory)
            return out_of_memory(*model_);
        decimated |= quality == influence_quality_t::decimated;
        const uint32_t set =
            number_of(item_influences_[items[vertex]].set, info.influence_sets, set_slots_.items());
        if (set == free_slot)
            return out_of_memory(*model_);
        order_.push_back({vertex, set});
    }
    if (decimated)
        msg_warning("[kim2kmg] %s: has too many influential bones per vertex - decimated to %u, skinning may "
                    "be deformed!",
                    name, kmg_max_influences);
    return true;
}

bool skin_binding_t::order_vertices(piece_info_t &info) {
    const auto by_set = [](const ordering_t &a, const ordering_t &b) {
        return a.set < b.set ? -1 : static_cast<int32_t>(a.set > b.set);
    };
    if (!sort_records(order_.items(), by_set) || !info.vertex_order.reserve(order_.size()))
        return out_of_memory(*model_);
    for (const ordering_t &entry : order_)
        info.vertex_order.push_back(
            {static_cast<uint16_t>(entry.source_vertex), static_cast<uint16_t>(entry.set)});
    return true;
}

} // namespace kestrel
