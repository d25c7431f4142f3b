#include "tools/conv/intermediate/kim_skin.h"

namespace kestrel {

bool kim_skin_stream_t::initialise(stream_format_t format, uint32_t item_count, uint32_t total_weight_count,
                                   uint32_t total_clone_count, size_t likely_bytes) {
    if (!allocate(format, item_count, likely_bytes))
        return false;
    total_weight_count_ = total_weight_count;
    total_clone_count_ = total_clone_count;
    return true;
}

bool kim_skin_stream_t::add_item(std::span<const std::byte> value) {
    kim_skinitem_t item;
    item.first_weight = static_cast<uint32_t>(weights_.size());
    item.first_clone = static_cast<uint32_t>(clones_.size());
    if (!items_.reserve(items_.size() + 1) || !append_item(value))
        return false;
    return items_.push_back(item);
}

bool kim_skin_stream_t::set_weight_count(uint32_t weight_count) {
    if (items_.empty())
        return false;
    items_.back().weight_count = weight_count;
    return true;
}

bool kim_skin_stream_t::set_clone_count(uint32_t clone_count) {
    if (items_.empty())
        return false;
    items_.back().clone_count = clone_count;
    return true;
}

bool kim_skin_stream_t::add_weight(uint32_t bone, float weight) {
    if (items_.empty() || weights_.size() >= total_weight_count_)
        return false;
    kim_skinitem_t &item = items_.back();
    if (item.weights_added >= item.weight_count || !weights_.push_back({bone, weight}))
        return false;
    ++item.weights_added;
    return true;
}

bool kim_skin_stream_t::add_clone(uint32_t piece, uint32_t vertex) {
    if (items_.empty() || clones_.size() >= total_clone_count_)
        return false;
    kim_skinitem_t &item = items_.back();
    if (item.clones_added >= item.clone_count || !clones_.push_back({piece, vertex}))
        return false;
    ++item.clones_added;
    return true;
}

} // namespace kestrel
