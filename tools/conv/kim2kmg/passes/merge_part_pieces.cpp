#include "kcore/collections/city_hash.h"
#include "kcore/collections/hashed_table.h"
#include "kcore/messages/messages.h"
#include "tools/conv/kim2kmg/passes/passes.h"
#include "tools/kmg/kmg_layout_and_limits.h"

#include <algorithm>

namespace kestrel {

// A piece B may be joined to an earlier piece A when both belong to the same part and use the same material,
// have equally many streams, and B has for every stream of A one with the same tag, format and aliases (of
// several with one tag, the first counts), and when both together have few enough vertices.
//
// Testing every pair would cost the square of the number of pieces. But the first piece takes every later one
// that fits, the next that is left does the same, and so on: each piece goes to the first one before it that
// may take it and has room. Whether it may only depends on the kinds of both: part, material, and the layouts
// of their streams in an order of their own. Pieces in which no tag stands twice take their own kind only.

namespace {

constexpr uint32_t none = 0xFFFFFFFF;

// Numbers for byte strings, in order of first appearance.
class numbering_t {
  public:
    uint32_t number_of(std::string_view bytes) {
        const auto number = static_cast<uint32_t>(ends_.size());
        const uint32_t found = table_.find_or_add(city_hash_64(bytes), number,
                                                  [&](uint32_t other) { return string(other) == bytes; });
        if (found == number) {
            bytes_.append(bytes);
            ends_.push_back(bytes_.size());
        }
        return found;
    }
    uint32_t number_of(std::span<const uint32_t> words) {
        return number_of({reinterpret_cast<const char *>(words.data()), words.size_bytes()});
    }

  private:
    std::string_view string(uint32_t number) const {
        const size_t first = number == 0 ? 0 : ends_[number - 1];
        return {bytes_.data() + first, ends_[number] - first};
    }

    array_dyn_t<char> bytes_;
    array_dyn_t<size_t> ends_;
    hashed_table_t table_;
};

// Pieces that take in others, in model order, and how many vertices each has room for. A tree of the greatest
// room finds the first piece that has enough in logarithmic time.
class absorbers_t {
  public:
    void reset(size_t most_pieces) {
        leaf_count_ = std::bit_ceil(most_pieces);
        rooms_.resize(2 * leaf_count_);
    }
    void add(uint32_t piece, uint32_t room) {
        set_room(pieces_.size(), room + 1);
        pieces_.push_back(piece);
    }
    // The place of the first one that has room for so many vertices; none when there is none.
    uint32_t find(uint32_t vertex_count) const {
        size_t node = 1;
        if (rooms_[node] <= vertex_count)
            return none;
        while (node < leaf_count_)
            node = rooms_[2 * node] > vertex_count ? 2 * node : 2 * node + 1;
        return static_cast<uint32_t>(node - leaf_count_);
    }
    void fill(uint32_t place, uint32_t vertex_count) {
        set_room(place, rooms_[leaf_count_ + place] - vertex_count);
    }
    uint32_t piece(uint32_t place) const { return pieces_[place]; }

  private:
    void set_room(size_t place, uint32_t room) {
        size_t node = leaf_count_ + place;
        rooms_[node] = room;
        while (node /= 2)
            rooms_[node] = std::max(rooms_[2 * node], rooms_[2 * node + 1]);
    }

    size_t leaf_count_ = 0;       // a power of two
    array_dyn_t<uint32_t> rooms_; // one more than there is, 0 for no piece; node n has children 2n and 2n + 1
    array_dyn_t<uint32_t> pieces_;
};

struct join_t {
    uint32_t absorber;
    uint32_t piece;

    auto operator<=>(const join_t &) const = default;
};

// Which pieces of a model join which.
class piece_matching_t {
  public:
    // Of all kinds with the same part, material and stream count, so many in which a tag stands twice may
    // take in others. No real model has more than a few, and each is compared with all kinds.
    static constexpr size_t most_repeating_kinds = 64;

    piece_matching_t(const kim_t &model, std::span<const uint32_t> parts) {
        pieces_.resize(model.pieces.size());
        for (uint32_t p = 0; p < pieces_.size(); ++p)
            add_piece(p, *model.pieces[p], parts[p]);
        for (kind_t &kind : kinds_)
            kind.absorbers.reset(kind.piece_count);
    }

    // The joins, piece by piece as each absorber takes them.
    array_dyn_t<join_t> find_joins(const kim_t &model);

    uint32_t layout_of(const kix_stream_t &stream);
    // The piece's first stream of this layout's tag; the piece must have one, of this layout.
    const kix_stream_t &find(uint32_t piece, uint32_t layout) const {
        const auto streams = first_streams(pieces_[piece]);
        return *std::lower_bound(streams.begin(), streams.end(), first_stream_t{layout, 0, nullptr})->stream;
    }

  private:
    struct first_stream_t { // of a tag
        uint32_t layout;
        uint32_t tag;
        const kix_stream_t *stream;

        bool operator<(const first_stream_t &other) const { return layout < other.layout; }
    };
    struct piece_t {
        size_t first_stream = 0;
        uint32_t tag_count = 0;
        uint32_t kind = none;
    };
    struct kind_t {
        uint32_t family; // the same for equal part, material and stream count
        uint32_t sample; // a piece of this kind
        bool takes;      // may take in others
        uint32_t piece_count = 0;
        absorbers_t absorbers{};
    };

    std::span<const first_stream_t> first_streams(const piece_t &piece) const {
        return first_streams_.items().subspan(piece.first_stream, piece.tag_count);
    }
    void add_piece(uint32_t number, const kix_piece_t &piece, uint32_t part);
    bool collect_first_streams(piece_t &place, const kix_piece_t &piece);
    bool may_take(const kind_t &taker, const kind_t &kind) const; // both of one family

    numbering_t texts_, layouts_, families_, kind_numbers_;
    array_dyn_t<piece_t> pieces_;
    array_dyn_t<first_stream_t> first_streams_; // piece by piece, ascending by layout
    array_dyn_t<kind_t> kinds_;
    array_dyn_t<array_dyn_t<uint32_t>> repeating_kinds_; // of each family, those that may take in others
    array_dyn_t<uint32_t> words_;
};

uint32_t piece_matching_t::layout_of(const kix_stream_t &stream) {
    words_.clear();
    for (const uint32_t word :
         {texts_.number_of(stream.tag.view()), static_cast<uint32_t>(stream.format()), stream.alias_count})
        words_.push_back(word);
    for (const string_dyn_t &alias : stream.aliases)
        words_.push_back(texts_.number_of(alias.view()));
    return layouts_.number_of(words_.items());
}

// False when streams that share a tag differ: no piece can continue both.
bool piece_matching_t::collect_first_streams(piece_t &place, const kix_piece_t &piece) {
    place.first_stream = first_streams_.size();
    for (const kix_stream_t *stream : piece.streams)
        first_streams_.push_back({layout_of(*stream), texts_.number_of(stream->tag.view()), stream});
    const auto streams = first_streams_.items().subspan(place.first_stream);
    std::stable_sort(streams.begin(), streams.end(),
                     [](const auto &a, const auto &b) { return a.tag < b.tag; });
    bool agree = true;
    size_t kept = 0;
    for (const first_stream_t &stream : streams) {
        if (kept == 0 || streams[kept - 1].tag != stream.tag)
            streams[kept++] = stream;
        else
            agree = agree && streams[kept - 1].layout == stream.layout;
    }
    std::sort(streams.begin(), streams.begin() + static_cast<std::ptrdiff_t>(kept));
    place.tag_count = static_cast<uint32_t>(kept);
    first_streams_.shrink(place.first_stream + kept);
    return agree;
}

void piece_matching_t::add_piece(uint32_t number, const kix_piece_t &piece, uint32_t part) {
    if (!corners_are_inside(piece))
        return; // of no kind
    piece_t &place = pieces_[number];
    const bool agree = collect_first_streams(place, piece);
    words_.clear();
    for (const uint32_t word : {part, piece.material, piece.stream_count})
        words_.push_back(word);
    const uint32_t family = families_.number_of(words_.items());
    repeating_kinds_.resize(std::max<size_t>(repeating_kinds_.size(), family + 1));
    words_.push_back(agree);
    for (const first_stream_t &stream : first_streams(place))
        words_.push_back(stream.layout);
    place.kind = kind_numbers_.number_of(words_.items());
    if (place.kind == kinds_.size()) {
        bool takes = agree;
        if (agree && place.tag_count < piece.streams.size()) {
            array_dyn_t<uint32_t> &repeating = repeating_kinds_[family];
            takes = repeating.size() < most_repeating_kinds;
            if (takes)
                repeating.push_back(place.kind);
        }
        kinds_.push_back({family, number, takes});
    }
    ++kinds_[place.kind].piece_count;
}

bool piece_matching_t::may_take(const kind_t &taker, const kind_t &kind) const {
    const auto wanted = first_streams(pieces_[taker.sample]), has = first_streams(pieces_[kind.sample]);
    return std::includes(has.begin(), has.end(), wanted.begin(), wanted.end());
}

array_dyn_t<join_t> piece_matching_t::find_joins(const kim_t &model) {
    array_dyn_t<join_t> joins;
    for (uint32_t p = 0; p < pieces_.size(); ++p) {
        if (pieces_[p].kind == none)
            continue;
        kind_t &own = kinds_[pieces_[p].kind];
        const uint32_t vertex_count = model.pieces[p]->vertex_count;
        uint32_t absorber = none, absorber_place = none;
        kind_t *absorber_kind = nullptr;
        const auto consider = [&](kind_t &kind) {
            const uint32_t place = kind.absorbers.find(vertex_count);
            if (place == none || kind.absorbers.piece(place) >= absorber)
                return;
            absorber = kind.absorbers.piece(place);
            absorber_place = place;
            absorber_kind = &kind;
        };
        consider(own);
        for (const uint32_t taker : repeating_kinds_[own.family])
            if (may_take(kinds_[taker], own))
                consider(kinds_[taker]);
        if (absorber_kind) {
            absorber_kind->absorbers.fill(absorber_place, vertex_count);
            joins.push_back({absorber, p});
        } else if (own.takes && vertex_count <= kmg_max_piece_vertices) {
            own.absorbers.add(p, kmg_max_piece_vertices - vertex_count);
        }
    }
    std::sort(joins.begin(), joins.end());
    return joins;
}

constexpr const char *fatal_source = "tools/conv/kim2kmg/kim2kmg_tools";
constexpr const char *fatal_function = "kestrel::append_stream_data";

// Grows a stream once, by as much as it will need.
void extend(kix_stream_t &stream, uint64_t more) {
    if (more > UINT32_MAX || !stream.extend(static_cast<uint32_t>(more)))
        report_fatal({fatal_source, __LINE__, fatal_function}, "Unable to initialize new merged stream.");
}

void join_streams(kim_t &model, piece_matching_t &matching, std::span<const join_t> joins) {
    for (kix_stream_t *stream : model.pieces[joins[0].absorber]->streams) {
        const uint32_t layout = matching.layout_of(*stream);
        uint64_t more = 0;
        for (const join_t &join : joins)
            more += matching.find(join.piece, layout).count();
        extend(*stream, more);
        for (const join_t &join : joins)
            stream->append_items(matching.find(join.piece, layout).bytes());
    }
}

// The corners of each piece move up by the vertices before its own.
void join_triangles(kim_t &model, std::span<const join_t> joins) {
    kix_piece_t &absorber = *model.pieces[joins[0].absorber];
    kix_stream_t &triangles = *absorber.triangles;
    uint64_t more = 0;
    for (const join_t &join : joins)
        more += model.pieces[join.piece]->triangles->count();
    extend(triangles, more);
    for (const join_t &join : joins) {
        const kix_piece_t &piece = *model.pieces[join.piece];
        const size_t first = triangles.count();
        triangles.append_items(piece.triangles->bytes());
        for (triangle_t &triangle : triangles.items_as<triangle_t>().subspan(first))
            for (uint32_t &corner : triangle.corners)
                corner += absorber.vertex_count;
        absorber.vertex_count += piece.vertex_count;
        absorber.triangle_count += piece.triangle_count;
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

// Joins all that go to one absorber. The absorbed pieces live as long as the model; their vertices need not.
void join_pieces(kim_t &model, piece_matching_t &matching, std::span<const join_t> joins) {
    join_streams(model, matching, joins);
    join_triangles(model, joins);
    if (!model.piece_skins.empty())
        for (const join_t &join : joins)
            append_piece_skin(*model.piece_skins[join.absorber], *model.piece_skins[join.piece]);
    for (const join_t &join : joins) {
        for (kix_stream_t *stream : model.pieces[join.piece]->streams)
            stream->release();
        model.pieces[join.piece]->triangles->release();
    }
}

size_t listed_piece_count(const kix_part_t &part) {
    return std::min<size_t>(part.piece_count, part.pieces.size());
}

// The part that names each piece; the last one when several do.
array_dyn_t<uint32_t> find_parts(const kim_t &model) {
    array_dyn_t<uint32_t> part_of;
    part_of.resize(model.pieces.size(), none);
    for (uint32_t k = 0; k < model.parts.size(); ++k)
        for (const uint32_t piece : model.parts[k]->pieces.items().first(listed_piece_count(*model.parts[k])))
            if (piece < part_of.size())
                part_of[piece] = k;
    return part_of;
}

// Of each piece; none when it has been absorbed.
array_dyn_t<uint32_t> find_new_positions(const kim_t &model, std::span<const join_t> joins) {
    array_dyn_t<uint32_t> positions;
    positions.resize(model.pieces.size());
    for (const join_t &join : joins)
        positions[join.piece] = none;
    uint32_t next = 0;
    for (uint32_t &position : positions)
        if (position != none)
            position = next++;
    return positions;
}

void renumber_part(kim_t &model, kix_part_t &part, std::span<const uint32_t> new_positions) {
    const size_t listed = listed_piece_count(part);
    size_t kept = 0;
    for (size_t j = 0; j < part.pieces.size(); ++j) {
        uint32_t entry = part.pieces[j];
        if (j < listed && entry < new_positions.size()) {
            const uint32_t position = new_positions[entry];
            if (position == none) {
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
void remove_absorbed(array_dyn_t<T> &objects, std::span<const uint32_t> new_positions) {
    size_t kept = 0;
    for (size_t p = 0; p < objects.size(); ++p)
        if (p >= new_positions.size() || new_positions[p] != none)
            objects[kept++] = objects[p];
    objects.shrink(kept);
}

void merge_pieces(kim_t &model) {
    piece_matching_t matching(model, find_parts(model).items());
    const auto joins = matching.find_joins(model);
    if (joins.empty())
        return;
    for (auto rest = joins.items(); !rest.empty();) {
        const auto end = std::find_if(rest.begin(), rest.end(),
                                      [&](const join_t &join) { return join.absorber != rest[0].absorber; });
        const auto count = static_cast<size_t>(end - rest.begin());
        join_pieces(model, matching, rest.first(count));
        rest = rest.subspan(count);
    }
    const auto new_positions = find_new_positions(model, joins.items());
    for (kix_part_t *part : model.parts)
        renumber_part(model, *part, new_positions.items());
    remove_absorbed(model.pieces, new_positions.items());
    remove_absorbed(model.piece_skins, new_positions.items());
}

} // namespace

void merge_part_pieces(kim_t &model) {
    if (model.skin)
        return;
    try {
        merge_pieces(model);
    } catch (const std::bad_alloc &) {
        report_fatal({fatal_source, __LINE__, fatal_function}, "Unable to allocate data for stream merge.");
    }
}

} // namespace kestrel
