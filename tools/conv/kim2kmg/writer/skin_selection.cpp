#include "tools/conv/kim2kmg/writer/skin_selection.h"

#include <limits>

namespace kestrel {

static const kim_skin_stream_t *find_positions(const kim_skin_t &skin) {
    for (const kim_skin_stream_t *stream : skin.streams)
        if (stream->tag.view() == position_tag)
            return stream;
    return nullptr;
}

static bool initialise(kim_skin_stream_t &made, const kim_t &model) {
    uint64_t items = 0, weights = 0, vertices = 0;
    for (const kim_piece_skin_t *skin : model.piece_skins) {
        items += skin->items.size();
        weights += skin->weights.size();
        vertices += skin->vertex_indices.size();
    }
    constexpr uint64_t most = std::numeric_limits<uint32_t>::max();
    return items <= most && weights <= most && vertices <= most &&
           made.initialise(stream_format_t::float3, static_cast<uint32_t>(items),
                           static_cast<uint32_t>(weights), static_cast<uint32_t>(vertices));
}

static bool append_item(kim_skin_stream_t &made, const kim_piece_skin_t &skin,
                        const kim_piece_skin_item_t &item) {
    if (!made.add_item(std::as_bytes(std::span(&item.position, 1))))
        return false;
    made.set_clone_count(item.vertex_index_count);
    for (const uint32_t vertex :
         skin.vertex_indices.items().subspan(item.first_vertex_index, item.vertex_index_count))
        if (!made.add_clone(skin.piece_index, vertex))
            return false;
    made.set_weight_count(item.weight_count);
    for (const skin_weight_t &weight : skin.weights.items().subspan(item.first_weight, item.weight_count))
        if (!made.add_weight(weight.bone, weight.weight))
            return false;
    return true;
}

bool select_skin(const kim_t &model, kim_skin_stream_t &made, const kim_skin_stream_t *&skin) {
    skin = nullptr;
    if (model.skin) {
        skin = find_positions(*model.skin);
        return true;
    }
    if (model.piece_skins.empty())
        return true;
    if (!initialise(made, model))
        return false;
    for (const kim_piece_skin_t *piece_skin : model.piece_skins)
        for (const kim_piece_skin_item_t &item : piece_skin->items)
            if (!append_item(made, *piece_skin, item))
                return false;
    skin = &made;
    return true;
}

} // namespace kestrel
