#include "tools/conv/kim2kmg/passes/passes.h"

#include "kcore/messages/fatal.h"
#include "tools/conv/kim2kmg/passes/joinable_pieces.h"
#include "tools/kmg/kmg_format.h"

#include <algorithm>

namespace kestrel {

namespace {

constexpr uint32_t no_part = 0xFFFFFFFF;
constexpr uint32_t absorbed = 0xFFFFFFFF; // as a piece's new position

[[noreturn]] void fail(int line, const char *text) {
    report_fatal(
        {"tools/conv/kim2kmg/kim2kmg_tools", static_cast<uint32_t>(line), "kestrel::append_stream_data"},
        "%s", text);
}

void need_memory(bool had, int line) {
    if (!had)
        fail(line, "Unable to allocate data for stream merge.");
}

size_t listed_piece_count(const kix_part_t &part) {
    return std::min<size_t>(part.piece_count, part.pieces.size());
}

// The part that names each piece; the last one when several do.
array_dyn_t<uint32_t> find_parts(const kim_t &model) {
    array_dyn_t<uint32_t> part_of;
    need_memory(part_of.resize(model.pieces.size(), no_part), __LINE__);
    for (uint32_t k = 0; k < model.parts.size(); ++k)
        for (const uint32_t piece : model.parts[k]->pieces.items().first(listed_piece_count(*model.parts[k])))
            if (piece < part_of.size())
                part_of[piece] = k;
    return part_of;
}

// The pieces that one piece absorbs, as they join it.
class piece_join_t {
  public:
    piece_join_t(kim_t &model, const joinable_pieces_t &joinable, uint32_t absorber,
                 std::span<const uint32_t> others)
        : model_(model), joinable_(joinable), absorber_(absorber), others_(others) {}

    void run() {
        join_streams();
        join_triangles();
        if (!model_.piece_skins.empty())
            join_skins();
        release_others();
    }

  private:
    kix_piece_t &absorber() { return *model_.pieces[absorber_]; }

    void join_streams();
    void join_triangles();
    void join_skins();
    void release_others();

    kim_t &model_;
    const joinable_pieces_t &joinable_;
    const uint32_t absorber_;
    const std::span<const uint32_t> others_;
};

// Grows a stream once, by as much as it will need.
void extend(kix_stream_t &stream, uint64_t more) {
    if (more > UINT32_MAX || !stream.extend(static_cast<uint32_t>(more)))
        fail(__LINE__, "Unable to initialize new merged stream.");
}

void piece_join_t::join_streams() {
    for (size_t s = 0; s < absorber().streams.size(); ++s) {
        kix_stream_t &stream = *absorber().streams[s];
        uint64_t more = 0;
        for (const uint32_t other : others_)
            more += joinable_.continuation(absorber_, s, other).count();
        extend(stream, more);
        for (const uint32_t other : others_)
            stream.append_items(joinable_.continuation(absorber_, s, other).bytes());
    }
}

// The corners of each piece move up by the vertices before its own.
void piece_join_t::join_triangles() {
    kix_stream_t &triangles = *absorber().triangles;
    uint64_t more = 0;
    for (const uint32_t other : others_)
        more += model_.pieces[other]->triangles->count();
    extend(triangles, more);
    for (const uint32_t other : others_) {
        const kix_piece_t &piece = *model_.pieces[other];
        const size_t first = triangles.count();
        triangles.append_items(piece.triangles->bytes());
        for (triangle_t &triangle : triangles.items_as<triangle_t>().subspan(first))
            for (uint32_t &corner : triangle.corners)
                corner += absorber().vertex_count;
        absorber().vertex_count += piece.vertex_count;
        absorber().triangle_count += piece.triangle_count;
    }
}

void append_piece_skin(kim_piece_skin_t &skin, const kim_piece_skin_t &other) {
    const auto item_count = static_cast<uint32_t>(skin.items.size());
    const auto weight_count = static_cast<uint32_t>(skin.weights.size());
    const auto vertex_index_count = static_cast<uint32_t>(skin.vertex_indices.size());
    for (kim_piece_skin_item_t item : other.items) {
        item.item_index += item_count;
        item.first_weight += weight_count;
        item.first_vertex_index += vertex_index_count;
        skin.items.push_back(item);
    }
    skin.weights.append(other.weights.items());
    for (const uint32_t vertex : other.vertex_indices)
        skin.vertex_indices.push_back(vertex + vertex_index_count);
    for (const uint32_t item : other.vertex_items)
        skin.vertex_items.push_back(item + item_count);
}

void piece_join_t::join_skins() {
    kim_piece_skin_t &skin = *model_.piece_skins[absorber_];
    size_t items = skin.items.size(), weights = skin.weights.size();
    size_t vertex_indices = skin.vertex_indices.size(), vertex_items = skin.vertex_items.size();
    for (const uint32_t other : others_) {
        items += model_.piece_skins[other]->items.size();
        weights += model_.piece_skins[other]->weights.size();
        vertex_indices += model_.piece_skins[other]->vertex_indices.size();
        vertex_items += model_.piece_skins[other]->vertex_items.size();
    }
    need_memory(skin.items.reserve(items) && skin.weights.reserve(weights) &&
                    skin.vertex_indices.reserve(vertex_indices) && skin.vertex_items.reserve(vertex_items),
                __LINE__);
    for (const uint32_t other : others_)
        append_piece_skin(skin, *model_.piece_skins[other]);
}

// The absorbed pieces live as long as the model; their vertices need not.
void piece_join_t::release_others() {
    for (const uint32_t other : others_) {
        for (kix_stream_t *stream : model_.pieces[other]->streams)
            stream->release();
        model_.pieces[other]->triangles->release();
    }
}

// Joins what can be joined; true when anything was.
bool join_pieces(kim_t &model, joinable_pieces_t &joinable) {
    bool any = false;
    array_dyn_t<uint32_t> others;
    for (uint32_t absorber = 0; absorber < model.pieces.size(); ++absorber) {
        if (joinable.is_taken(absorber) || model.pieces[absorber]->vertex_count > kmg_max_piece_vertices)
            continue;
        others.clear();
        uint32_t room = kmg_max_piece_vertices - model.pieces[absorber]->vertex_count;
        for (uint32_t other = joinable.next(absorber, absorber, room); other != joinable_pieces_t::none;
             other = joinable.next(absorber, other, room)) {
            joinable.take(other);
            need_memory(others.push_back(other), __LINE__);
            room -= model.pieces[other]->vertex_count;
        }
        if (others.empty())
            continue;
        piece_join_t(model, joinable, absorber, others.items()).run();
        any = true;
    }
    return any;
}

array_dyn_t<uint32_t> find_new_positions(const kim_t &model, const joinable_pieces_t &joinable) {
    array_dyn_t<uint32_t> positions;
    need_memory(positions.resize(model.pieces.size(), absorbed), __LINE__);
    uint32_t next = 0;
    for (uint32_t p = 0; p < positions.size(); ++p)
        if (!joinable.is_taken(p))
            positions[p] = next++;
    return positions;
}

void renumber_part(kim_t &model, kix_part_t &part, std::span<const uint32_t> new_positions) {
    const size_t listed = listed_piece_count(part);
    size_t kept = 0;
    for (size_t j = 0; j < part.pieces.size(); ++j) {
        uint32_t entry = part.pieces[j];
        if (j < listed && entry < new_positions.size()) {
            const uint32_t position = new_positions[entry];
            if (position == absorbed) {
                --part.piece_count;
                continue;
            }
            model.pieces[entry]->index = position;
            if (!model.piece_skins.empty())
                model.piece_skins[entry]->piece_index = position;
            entry = position;
        }
        part.pieces[kept++] = entry;
    }
    part.pieces.shrink(kept);
}

template <class T>
void remove_absorbed(array_t<T> &objects, std::span<const uint32_t> new_positions) {
    size_t kept = 0;
    for (size_t p = 0; p < objects.size(); ++p)
        if (p >= new_positions.size() || new_positions[p] != absorbed)
            objects[kept++] = objects[p];
    objects.shrink(kept);
}

} // namespace

void merge_part_pieces(kim_t &model) {
    if (model.skin)
        return;
    joinable_pieces_t joinable;
    need_memory(joinable.build(model.pieces.items(), find_parts(model).items()), __LINE__);
    if (!join_pieces(model, joinable))
        return;
    const auto new_positions = find_new_positions(model, joinable);
    for (kix_part_t *part : model.parts)
        renumber_part(model, *part, new_positions.items());
    remove_absorbed(model.pieces, new_positions.items());
    remove_absorbed(model.piece_skins, new_positions.items());
}

} // namespace kestrel
