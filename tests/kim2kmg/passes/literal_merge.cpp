#include "tests/kim2kmg/passes/literal_passes.h"

#include <algorithm>

namespace kestrel {

namespace {

constexpr uint32_t gone = 0xFFFFFFFF;

const plain_stream_t *find_stream(const plain_piece_t &piece, const std::string &tag) {
    for (const plain_stream_t &stream : piece.streams)
        if (stream.tag == tag)
            return &stream;
    return nullptr;
}

bool has_stray_corner(const plain_piece_t &piece) {
    for (const plain_triangle_t &triangle : piece.triangles)
        for (const uint32_t corner : triangle)
            if (corner >= piece.vertex_count)
                return true;
    return false;
}

bool can_join(const plain_piece_t &a, const plain_piece_t &b) {
    if (a.material != b.material || a.streams.size() != b.streams.size() || has_stray_corner(a) ||
        has_stray_corner(b))
        return false;
    for (const plain_stream_t &stream : a.streams) {
        const plain_stream_t *const other = find_stream(b, stream.tag);
        if (!other || other->format != stream.format || other->aliases != stream.aliases)
            return false;
    }
    return uint64_t{a.vertex_count} + b.vertex_count <= 65535;
}

void join_skin(plain_skin_t &a, const plain_skin_t &b) {
    const auto items = static_cast<uint32_t>(a.items.size());
    uint32_t vertex_indices = 0;
    for (const plain_skin_item_t &item : a.items)
        vertex_indices += static_cast<uint32_t>(item.vertices.size());
    for (plain_skin_item_t item : b.items) {
        for (uint32_t &vertex : item.vertices)
            vertex += vertex_indices;
        a.items.push_back(item);
    }
    for (const uint32_t item : b.vertex_items)
        a.vertex_items.push_back(item + items);
}

void join(plain_piece_t &a, const plain_piece_t &b) {
    for (plain_stream_t &stream : a.streams) {
        const auto &items = find_stream(b, stream.tag)->items;
        stream.items.insert(stream.items.end(), items.begin(), items.end());
    }
    for (const auto &[x, y, z] : b.triangles)
        a.triangles.push_back({x + a.vertex_count, y + a.vertex_count, z + a.vertex_count});
    a.vertex_count += b.vertex_count;
}

} // namespace

void literal_merge(plain_model_t &model) {
    const size_t count = model.pieces.size();
    std::vector<uint32_t> part_of(count, gone), new_position(count);
    for (uint32_t k = 0; k < model.parts.size(); ++k)
        for (size_t j = 0; j < model.parts[k].piece_count && j < model.parts[k].pieces.size(); ++j)
            if (model.parts[k].pieces[j] < count)
                part_of[model.parts[k].pieces[j]] = k;
    for (uint32_t i = 0; i < count; ++i)
        new_position[i] = i;

    uint32_t absorbed = 0;
    for (size_t i = 0; i < count; ++i)
        for (size_t j = i + 1; j < count && new_position[i] != gone; ++j) {
            if (new_position[j] == gone || part_of[i] != part_of[j] ||
                !can_join(model.pieces[i], model.pieces[j]))
                continue;
            join(model.pieces[i], model.pieces[j]);
            if (!model.piece_skins.empty())
                join_skin(model.piece_skins[i], model.piece_skins[j]);
            for (size_t k = j + 1; k < count; ++k)
                if (new_position[k] != gone)
                    --new_position[k];
            new_position[j] = gone;
            ++absorbed;
        }
    if (absorbed == 0)
        return;

    for (plain_part_t &part : model.parts)
        for (size_t j = 0; j < part.piece_count && j < part.pieces.size();) {
            const uint32_t p = part.pieces[j];
            if (p >= count) {
                ++j;
            } else if (new_position[p] != gone) {
                model.pieces[p].index = new_position[p];
                if (!model.piece_skins.empty())
                    model.piece_skins[p].piece_index = new_position[p];
                part.pieces[j++] = new_position[p];
            } else {
                part.pieces.erase(part.pieces.begin() + static_cast<std::ptrdiff_t>(j));
                --part.piece_count;
            }
        }
    for (size_t p = count; p-- > 0;)
        if (new_position[p] == gone) {
            model.pieces.erase(model.pieces.begin() + static_cast<std::ptrdiff_t>(p));
            if (!model.piece_skins.empty())
                model.piece_skins.erase(model.piece_skins.begin() + static_cast<std::ptrdiff_t>(p));
        }
}

} // namespace kestrel
