#include "tools/conv/kim2kmg/writer/clone_table.h"

#include <algorithm>

namespace kestrel {

bool clone_table_t::build(const kim_skin_stream_t &skin, std::span<const kix_piece_t *const> pieces) {
    if (!make_groups(pieces))
        return false;
    enter_clones(skin);
    return true;
}

bool clone_table_t::make_groups(std::span<const kix_piece_t *const> pieces) {
    array_dyn_t<group_t> all;
    for (const kix_piece_t *piece : pieces)
        if (!all.push_back({piece->index, piece->vertex_count, 0, 0, no_item}))
            return false;
    std::sort(all.begin(), all.end(),
              [](const group_t &a, const group_t &b) { return a.piece_index < b.piece_index; });
    size_t vertices = 0;
    for (const group_t &group : all) {
        if (groups_.empty() || groups_.back().piece_index != group.piece_index) {
            if (!groups_.push_back(group))
                return false;
        } else {
            groups_.back().vertex_count = std::max(groups_.back().vertex_count, group.vertex_count);
        }
    }
    for (group_t &group : groups_) {
        group.first_vertex = vertices;
        vertices += group.vertex_count;
    }
    return items_.resize(vertices, no_item);
}

size_t clone_table_t::find(uint32_t piece_index) const {
    const group_t *const found =
        std::lower_bound(groups_.begin(), groups_.end(), piece_index,
                         [](const group_t &group, uint32_t index) { return group.piece_index < index; });
    const bool there = found != groups_.end() && found->piece_index == piece_index;
    return there ? static_cast<size_t>(found - groups_.begin()) : groups_.size();
}

void clone_table_t::enter_clones(const kim_skin_stream_t &skin) {
    group_t *group = nullptr;
    uint32_t item_index = 0;
    for (const kim_skinitem_t &item : skin.items()) {
        for (const skin_clone_t &clone : skin.clones_of(item)) {
            // Clones of one piece mostly follow each other.
            if (!group || group->piece_index != clone.piece) {
                const size_t position = find(clone.piece);
                if (position == groups_.size())
                    continue;
                group = &groups_[position];
            }
            if (clone.vertex >= group->last_vertex) {
                group->last_vertex = clone.vertex;
                group->last_vertex_item = item_index;
            }
            if (clone.vertex < group->vertex_count)
                items_.data()[group->first_vertex + clone.vertex] = item_index;
        }
        ++item_index;
    }
}

} // namespace kestrel
