#include "tools/conv/kim2kmg/passes/unique_vertices.h"

#include <cmath>

namespace kestrel {

namespace {

// Equal numbers give equal bits.
uint32_t bits_of_number(float number) {
    return std::bit_cast<uint32_t>(number == 0 ? 0.0f : number);
}

std::span<const skin_weight_t> weights_of(const kim_piece_skin_t &skin, uint32_t item) {
    const kim_piece_skin_item_t &place = skin.items[item];
    return skin.weights.items().subspan(place.first_weight, place.weight_count);
}

uint64_t hash_weights(std::span<const skin_weight_t> weights) {
    uint64_t hash = weights.size();
    for (const skin_weight_t &weight : weights)
        hash = mix_hash(hash, uint64_t{weight.bone} << 32 | bits_of_number(weight.weight));
    return mix_hash(hash, 0);
}

bool has_nan(std::span<const skin_weight_t> weights) {
    return std::any_of(weights.begin(), weights.end(),
                       [](const skin_weight_t &weight) { return std::isnan(weight.weight); });
}

bool are_equal(std::span<const skin_weight_t> a, std::span<const skin_weight_t> b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                      [](const skin_weight_t &x, const skin_weight_t &y) {
                          return x.bone == y.bone && x.weight == y.weight;
                      });
}

// Adds a stream to the hashes of all vertices: stream by stream, so that memory is read in order.
void hash_stream(const kix_stream_t &stream, std::span<uint64_t> hashes) {
    const std::byte *items = stream.bytes().data();
    with_item_size(stream, [&](auto item_size) {
        for (uint64_t &hash : hashes) {
            uint64_t value = hash;
            for (size_t at = 0; at < item_size(); at += 8) {
                uint64_t word = 0;
                std::memcpy(&word, items + at, std::min<size_t>(8, item_size() - at));
                value = mix_hash(value, word);
            }
            hash = value;
            items += item_size();
        }
    });
}

bool have_equal_bytes(const kix_piece_t &piece, uint32_t a, uint32_t b) {
    for (const kix_stream_t *stream : piece.streams) {
        const std::byte *const items = stream->bytes().data();
        const size_t size = stream->item_size();
        if (std::memcmp(items + a * size, items + b * size, size) != 0)
            return false;
    }
    return true;
}

// Whether no position of the list equals this one, whose number will then be the list's length.
bool is_new(const float3_t &p, std::span<const float3_t> list, hashed_table_t &listed) {
    if (std::isnan(p.x) || std::isnan(p.y) || std::isnan(p.z))
        return true; // NaN equals nothing
    const auto number = static_cast<uint32_t>(list.size());
    uint64_t hash = mix_hash(bits_of_number(p.x), bits_of_number(p.y));
    hash = mix_hash(mix_hash(hash, bits_of_number(p.z)), 0);
    return number == listed.find_or_add(hash, number, [&](uint32_t other) {
        return list[other].x == p.x && list[other].y == p.y && list[other].z == p.z;
    });
}

} // namespace

void unique_vertices_t::collect(const kix_piece_t &piece, const kim_piece_skin_t *skin) {
    skin_classes_.clear();
    if (skin)
        classify_skin(*skin, piece.vertex_count);
    hash_vertices(piece);
    number_vertices(piece);
    // What orders the triangles takes their place.
    table_ = {};
    hashes_.release();
}

void unique_vertices_t::classify_skin(const kim_piece_skin_t &skin, uint32_t vertex_count) {
    const auto item_count = static_cast<uint32_t>(skin.items.size());
    item_classes_.resize(item_count);
    skin_classes_.resize(vertex_count);
    table_.reset(item_count);
    for (uint32_t item = 0; item < item_count; ++item) {
        const auto weights = weights_of(skin, item);
        if (has_nan(weights)) { // equal to nothing: the table would only grow long rows of them
            item_classes_[item] = item;
            continue;
        }
        item_classes_[item] = table_.find_or_add(hash_weights(weights), item, [&](uint32_t other) {
            return are_equal(weights, weights_of(skin, other));
        });
    }
    for (uint32_t v = 0; v < vertex_count; ++v) {
        const uint32_t item = skin.vertex_items[v];
        skin_classes_[v] = item < item_count ? item_classes_[item] : item;
    }
}

void unique_vertices_t::hash_vertices(const kix_piece_t &piece) {
    hashes_.resize(piece.vertex_count);
    for (const kix_stream_t *stream : piece.streams)
        hash_stream(*stream, hashes_.items());
    for (size_t v = 0; v < skin_classes_.size(); ++v)
        hashes_[v] = mix_hash(hashes_[v], skin_classes_[v]);
    for (uint64_t &hash : hashes_)
        hash = mix_hash(hash, 0);
}

void unique_vertices_t::number_vertices(const kix_piece_t &piece) {
    const uint32_t count = piece.vertex_count;
    table_.reset(count);
    numbers_.resize(count);
    first_vertices_.clear();
    first_vertices_.reserve(count);
    for (uint32_t v = 0; v < count; ++v) {
        const uint32_t first = table_.find_or_add(hashes_[v], v, [&](uint32_t other) {
            return (skin_classes_.empty() || skin_classes_[other] == skin_classes_[v]) &&
                   have_equal_bytes(piece, other, v);
        });
        if (first == v) {
            numbers_[v] = static_cast<uint32_t>(first_vertices_.size());
            first_vertices_.push_back(v);
        } else {
            numbers_[v] = numbers_[first];
        }
    }
}

void list_merge_positions(const kix_piece_t &piece, const unique_vertices_t &unique,
                          array_dyn_t<float3_t> &positions) {
    const kix_stream_t *const stream = piece.find_stream(position_tag);
    if (!stream || stream->item_size() < sizeof(float3_t))
        return;
    const auto vertex_count = static_cast<uint32_t>(unique.numbers().size());
    hashed_table_t listed;
    listed.reset(vertex_count);
    for (uint32_t v = 0; v < vertex_count; ++v) {
        if (unique.first_vertices()[unique.numbers()[v]] == v)
            continue;
        float3_t position;
        std::memcpy(&position, stream->item(v).data(), sizeof(position));
        if (is_new(position, positions.items(), listed))
            positions.push_back(position);
    }
}

} // namespace kestrel
