#include "tools/conv/intermediate/kim_piece_skin.h"

namespace kestrel {

using check_t = kim_piece_skin_builder_t::check_t;

static constexpr check_t held = nullptr;
static constexpr check_t no_memory = "memory exhausted";

check_t kim_piece_skin_builder_t::declare(stream_format_t format, std::string_view tag, uint32_t item_count,
                                          uint32_t total_weight_count, uint32_t total_vertex_index_count) {
    if (format != stream_format_t::float3)
        return "only FLOAT3 is allowed";
    if (tag != position_tag)
        return "only _POSITION is allowed";
    if (item_count == 0)
        return "invalid item_count";
    if (total_weight_count == 0)
        return "invalid total_weight_count";
    if (total_vertex_index_count == 0)
        return "invalid total_vertex_index_count";
    item_count_ = item_count;
    total_weight_count_ = total_weight_count;
    total_vertex_index_count_ = total_vertex_index_count;
    return held;
}

check_t kim_piece_skin_builder_t::add_item(uint32_t index, const float3_t &position) {
    if (skin_.items.size() >= item_count_)
        return "input item_count is smaller than actual item count";
    if (index != skin_.items.size())
        return "item index should be incremental from zero";
    item_weights_ = 0;
    item_vertex_indices_ = 0;
    const kim_piece_skin_item_t item{position,
                                     index,
                                     static_cast<uint32_t>(skin_.weights.size()),
                                     0,
                                     static_cast<uint32_t>(skin_.vertex_indices.size()),
                                     0};
    return skin_.items.push_back(item) ? held : no_memory;
}

check_t kim_piece_skin_builder_t::set_weight_count(uint32_t count) {
    if (count == 0)
        return "invalid weight count of item";
    skin_.items.back().weight_count = count;
    return held;
}

check_t kim_piece_skin_builder_t::add_weight(uint32_t bone, float weight) {
    if (item_weights_ >= skin_.items.back().weight_count)
        return "weight_count and actual weight count differ";
    if (skin_.weights.size() >= total_weight_count_)
        return "total_weight_count is smaller than actual weight count";
    ++item_weights_;
    return skin_.weights.push_back({bone, weight}) ? held : no_memory;
}

check_t kim_piece_skin_builder_t::end_weights() const {
    return item_weights_ == skin_.items.back().weight_count ? held
                                                            : "weight_count and actual weight count differ";
}

check_t kim_piece_skin_builder_t::set_vertex_index_count(uint32_t count) {
    if (count == 0)
        return "invalid vertex index count of item";
    skin_.items.back().vertex_index_count = count;
    return held;
}

check_t kim_piece_skin_builder_t::add_vertex_index(uint32_t vertex) {
    if (item_vertex_indices_ >= skin_.items.back().vertex_index_count)
        return "vertex_index_count and actual vertex index count differ";
    if (skin_.vertex_indices.size() >= total_vertex_index_count_)
        return "total_vertex_index_count is smaller than actual vertex index count";
    if (vertex >= total_vertex_index_count_)
        return "vertex index exceeds total_vertex_index_count";
    ++item_vertex_indices_;
    return skin_.vertex_indices.push_back(vertex) ? held : no_memory;
}

check_t kim_piece_skin_builder_t::end_vertex_indices() const {
    if (item_vertex_indices_ != skin_.items.back().vertex_index_count)
        return "input vertex_index_count and actual vertex index count for the item differ";
    return held;
}

check_t kim_piece_skin_builder_t::finish() {
    if (skin_.items.size() != item_count_)
        return "input item_count and actual item count are different";
    if (skin_.weights.size() != total_weight_count_)
        return "input total_weight_count and actual total weight count are different";
    if (skin_.vertex_indices.size() != total_vertex_index_count_)
        return "input total_vertex_input_count and actual total vertex index count are different";
    if (!skin_.vertex_items.resize(total_vertex_index_count_, kim_piece_skin_t::no_item))
        return no_memory;
    for (const kim_piece_skin_item_t &item : skin_.items)
        for (uint32_t i = 0; i < item.vertex_index_count; ++i)
            skin_.vertex_items[skin_.vertex_indices[item.first_vertex_index + i]] = item.item_index;
    return held;
}

} // namespace kestrel
