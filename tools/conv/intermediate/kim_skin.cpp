#include "tools/conv/intermediate/kim_skin.h"

namespace kestrel {

bool kim_skin_stream_t::initialise(stream_format_t format, uint32_t item_count, uint32_t total_weight_count,
                                   uint32_t total_clone_count) {
    if (!allocate(format, item_count, 0))
        return false;
    total_weight_count_ = total_weight_count;
    total_clone_count_ = total_clone_count;
    return true;
}

bool kim_skin_stream_t::add_item(std::span<const std::byte> value) {
    if (!append_item(value))
        return false;
    kim_skinitem_t item;
    item.first_weight = static_cast<uint32_t>(weights_.size());
    item.first_clone = static_cast<uint32_t>(clones_.size());
    items_.push_back(item);
    return true;
}

bool kim_skin_stream_t::set_weight_count(uint32_t count) {
    if (!items_.empty())
        items_.back().weight_count = count;
    return !items_.empty();
}

bool kim_skin_stream_t::set_clone_count(uint32_t count) {
    if (!items_.empty())
        items_.back().clone_count = count;
    return !items_.empty();
}

bool kim_skin_stream_t::add_weight(uint32_t bone, float weight) {
    if (items_.empty() || items_.back().weights_added >= items_.back().weight_count ||
        weights_.size() >= total_weight_count_)
        return false;
    weights_.push_back({bone, weight});
    ++items_.back().weights_added;
    return true;
}

bool kim_skin_stream_t::add_clone(uint32_t piece, uint32_t vertex) {
    if (items_.empty() || items_.back().clones_added >= items_.back().clone_count ||
        clones_.size() >= total_clone_count_)
        return false;
    clones_.push_back({piece, vertex});
    ++items_.back().clones_added;
    return true;
}

void kim_skin_stream_t::release() {
    kix_stream_t::release();
    items_.release();
    weights_.release();
    clones_.release();
}

void kim_piece_skin_t::release() {
    items.release();
    weights.release();
    vertex_indices.release();
    vertex_items.release();
}

} // namespace kestrel
