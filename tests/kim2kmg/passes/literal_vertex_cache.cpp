#include "tests/kim2kmg/passes/literal_passes.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <list>
#include <memory>

namespace kestrel {

namespace {

constexpr uint32_t unset = 0xFFFFFFFF;
constexpr size_t cache_size = 32;

struct triangle_info_t;

struct vertex_info_t {
    uint32_t old_index;
    uint32_t new_index = unset;
    std::vector<triangle_info_t *> triangles;
    bool in_cache = false;
    float cache_score = 0;
    float valence_score = 0;
    float score = 0;

    void score_valence() {
        const auto n = static_cast<float>(triangles.size());
        valence_score = n == 0 ? 0.0f : 2.0f / std::sqrt(n);
        score = valence_score + cache_score;
    }
};

struct triangle_info_t {
    vertex_info_t *corners[3];
    float score = 0;

    void sum_up() {
        score = 0;
        for (const vertex_info_t *corner : corners)
            score += corner->score;
    }
};

float score_of_position(size_t k) {
    if (k < 3)
        return 0.75f;
    if (k > 31)
        return 0;
    const float x = static_cast<float>(k - 3) * (1.0f / 29.0f);
    return (1.0f - x) * std::sqrt(1.0f - x);
}

class literal_piece_t {
  public:
    literal_piece_t(plain_piece_t &piece, plain_skin_t *skin) : piece_(piece), skin_(skin) {}

    std::vector<std::array<float, 3>> merge_positions;

    void optimize() {
        if (piece_.streams.empty() || piece_.vertex_count == 0 || piece_.triangles.empty())
            return;
        for (const plain_triangle_t &triangle : piece_.triangles)
            for (const uint32_t corner : triangle)
                if (corner >= piece_.vertex_count)
                    return;
        if (skin_ && skin_->vertex_items.size() < piece_.vertex_count)
            return;
        collect_unique_vertices();
        triangle_info_t *next = best_initial();
        while (next)
            next = emit(next);
        rewrite();
    }

  private:
    plain_piece_t &piece_;
    plain_skin_t *skin_;
    std::vector<std::unique_ptr<vertex_info_t>> owners_;
    std::vector<std::unique_ptr<triangle_info_t>> triangle_owners_;
    std::list<triangle_info_t *> remaining_;
    std::list<vertex_info_t *> cache_;
    std::vector<triangle_info_t *> output_;
    uint32_t next_new_index_ = 0;

    const plain_stream_t *position_stream_or_none() const {
        for (const plain_stream_t &stream : piece_.streams)
            if (stream.tag == position_tag)
                return &stream;
        return nullptr;
    }

    bool skins_match(uint32_t a, uint32_t b) const {
        const uint32_t x = skin_->vertex_items[a], y = skin_->vertex_items[b];
        if (x == y)
            return true;
        if (x >= skin_->items.size() || y >= skin_->items.size())
            return false;
        return skin_->items[x].weights == skin_->items[y].weights; // floats: a NaN makes them differ
    }

    bool match(uint32_t a, uint32_t b) const {
        for (const plain_stream_t &stream : piece_.streams)
            if (stream.items[a] != stream.items[b])
                return false;
        return !skin_ || skins_match(a, b);
    }

    void note_merge(const std::string &item) {
        std::array<float, 3> position;
        std::memcpy(&position, item.data(), sizeof(position));
        if (std::find(merge_positions.begin(), merge_positions.end(), position) == merge_positions.end())
            merge_positions.push_back(position);
    }

    void collect_unique_vertices() {
        std::vector<std::vector<vertex_info_t *>> buckets(10007);
        std::vector<vertex_info_t *> map;
        const plain_stream_t *const positions = position_stream_or_none();
        const plain_stream_t &key = positions ? *positions : piece_.streams[0];
        for (uint32_t i = 0; i < piece_.vertex_count; ++i) {
            uint32_t hash = 0;
            for (const char byte : key.items[i])
                hash = (hash << 4 | hash >> 28) ^ static_cast<unsigned char>(byte);
            auto &bucket = buckets[hash % buckets.size()];
            const auto found =
                std::find_if(bucket.begin(), bucket.end(),
                             [&](const vertex_info_t *candidate) { return match(candidate->old_index, i); });
            if (found != bucket.end()) {
                map.push_back(*found);
                if (positions && positions->items[i].size() >= 12)
                    note_merge(positions->items[i]);
                continue;
            }
            owners_.push_back(std::make_unique<vertex_info_t>());
            owners_.back()->old_index = i;
            bucket.push_back(owners_.back().get());
            map.push_back(owners_.back().get());
        }
        for (const auto &[a, b, c] : piece_.triangles) {
            if (map[a] == map[b] || map[b] == map[c] || map[c] == map[a])
                continue;
            triangle_owners_.push_back(std::make_unique<triangle_info_t>());
            triangle_info_t *const triangle = triangle_owners_.back().get();
            triangle->corners[0] = map[a];
            triangle->corners[1] = map[b];
            triangle->corners[2] = map[c];
            for (vertex_info_t *corner : triangle->corners)
                corner->triangles.push_back(triangle);
            remaining_.push_back(triangle);
        }
        for (const auto &vertex : owners_)
            vertex->score_valence();
    }

    triangle_info_t *best_initial() {
        triangle_info_t *best = nullptr;
        for (triangle_info_t *triangle : remaining_) {
            triangle->sum_up();
            if (!best || triangle->score > best->score)
                best = triangle;
        }
        return best;
    }

    triangle_info_t *emit(triangle_info_t *t) {
        remaining_.remove(t);
        for (vertex_info_t *v : t->corners) {
            if (v->in_cache)
                cache_.remove(v);
            v->in_cache = true;
            cache_.push_front(v);
            *std::find(v->triangles.begin(), v->triangles.end(), t) = v->triangles.back();
            v->triangles.pop_back();
            v->score_valence();
        }
        size_t k = 0;
        for (vertex_info_t *v : cache_) {
            v->cache_score = score_of_position(k++);
            v->score = v->cache_score + v->valence_score;
        }
        triangle_info_t *taken = nullptr;
        for (const vertex_info_t *v : cache_)
            for (triangle_info_t *triangle : v->triangles) {
                triangle->sum_up();
                if (!taken || triangle->score > taken->score)
                    taken = triangle;
            }
        if (!taken)
            for (triangle_info_t *triangle : remaining_) // by the scores that they have
                if (!taken || triangle->score > taken->score)
                    taken = triangle;
        while (cache_.size() > cache_size) {
            cache_.back()->in_cache = false;
            cache_.pop_back();
        }
        for (vertex_info_t *v : t->corners)
            if (v->new_index == unset)
                v->new_index = next_new_index_++;
        output_.push_back(t);
        return taken;
    }

    void rewrite() {
        piece_.triangles.clear();
        for (const triangle_info_t *t : output_)
            piece_.triangles.push_back(
                {t->corners[0]->new_index, t->corners[1]->new_index, t->corners[2]->new_index});
        for (plain_stream_t &stream : piece_.streams) {
            std::vector<std::string> reordered;
            for (const triangle_info_t *t : output_)
                for (const vertex_info_t *v : t->corners)
                    if (v->new_index >= reordered.size())
                        reordered.push_back(stream.items[v->old_index]);
            stream.items = reordered;
            piece_.vertex_count = static_cast<uint32_t>(reordered.size());
        }
        if (skin_)
            remap_skin();
    }

    void remap_skin() {
        size_t vertex_index_count = 0;
        for (const plain_skin_item_t &item : skin_->items)
            vertex_index_count += item.vertices.size();
        std::vector<uint32_t> table(vertex_index_count, unset);
        for (const triangle_info_t *t : output_)
            for (const vertex_info_t *v : t->corners)
                table.at(v->old_index) = v->new_index;
        std::vector<plain_skin_item_t> kept;
        for (const plain_skin_item_t &item : skin_->items) {
            plain_skin_item_t mapped{item.position, item.weights, {}};
            for (const uint32_t vertex : item.vertices)
                if (table.at(vertex) != unset)
                    mapped.vertices.push_back(table.at(vertex));
            if (!mapped.vertices.empty())
                kept.push_back(mapped);
        }
        skin_->items = kept;
        skin_->vertex_items.clear();
    }
};

} // namespace

std::vector<std::string> literal_vertex_cache(plain_model_t &model, bool verbose) {
    std::vector<std::string> lines;
    for (size_t p = 0; p < model.pieces.size(); ++p) {
        plain_piece_t &piece = model.pieces[p];
        const uint32_t vertices = piece.vertex_count;
        const size_t triangles = piece.triangles.size();
        literal_piece_t literal(piece, model.piece_skins.empty() ? nullptr : &model.piece_skins[p]);
        literal.optimize();
        const auto names = piece.material < model.materials.size() ? model.materials[piece.material]
                                                                   : std::pair<std::string, std::string>();
        const auto add_line = [&](const std::string &what, size_t from, size_t to) {
            lines.push_back("I: [kim2kmg] m.kim: reduced number of " + what + " from " +
                            std::to_string(from) + " to " + std::to_string(to) + " in piece " +
                            std::to_string(p) + " using material '" + names.first + "' with effect '" +
                            names.second + "'");
        };
        if (piece.vertex_count < vertices) {
            add_line("vertices by " + std::to_string(vertices - piece.vertex_count), vertices,
                     piece.vertex_count);
            if (verbose)
                for (const auto &[x, y, z] : literal.merge_positions)
                    lines.push_back("I: [kim2kmg] m.kim:    " + std::to_string(x) + ", " + std::to_string(y) +
                                    ", " + std::to_string(z));
        }
        if (piece.triangles.size() < triangles)
            add_line("triangles", triangles, piece.triangles.size());
    }
    return lines;
}

} // namespace kestrel
