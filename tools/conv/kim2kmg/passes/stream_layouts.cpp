#include "tools/conv/kim2kmg/passes/stream_layouts.h"

#include <algorithm>

namespace kestrel {

namespace {

int compare_texts(std::string_view a, std::string_view b) {
    return a.compare(b);
}

int compare_numbers(uint64_t a, uint64_t b) {
    return a < b ? -1 : a > b;
}

// By tag first, so that layouts of one tag get neighbouring numbers.
int compare_layouts(const kix_stream_t &a, const kix_stream_t &b) {
    if (const int order = compare_texts(a.tag.view(), b.tag.view()))
        return order;
    if (const int order =
            compare_numbers(static_cast<uint32_t>(a.format()), static_cast<uint32_t>(b.format())))
        return order;
    if (const int order = compare_numbers(a.alias_count, b.alias_count))
        return order;
    if (const int order = compare_numbers(a.aliases.size(), b.aliases.size()))
        return order;
    for (size_t i = 0; i < a.aliases.size(); ++i)
        if (const int order = compare_texts(a.aliases[i].view(), b.aliases[i].view()))
            return order;
    return 0;
}

} // namespace

bool stream_layouts_t::build(std::span<kix_piece_t *const> pieces) {
    if (!pieces_.resize(pieces.size()))
        return false;
    array_dyn_t<numbered_stream_t> streams;
    for (size_t p = 0; p < pieces.size(); ++p) {
        pieces_[p].first_stream = streams.size();
        for (const kix_stream_t *stream : pieces[p]->streams)
            if (!streams.push_back({stream, streams.size()}))
                return false;
    }
    if (!number_streams(streams))
        return false;
    for (uint32_t p = 0; p < pieces.size(); ++p)
        if (!collect_first_streams(p, *pieces[p]))
            return false;
    return true;
}

bool stream_layouts_t::number_streams(array_t<numbered_stream_t> &streams) {
    if (!layouts_.resize(streams.size()))
        return false;
    std::sort(streams.begin(), streams.end(), [](const numbered_stream_t &a, const numbered_stream_t &b) {
        return compare_layouts(*a.stream, *b.stream) < 0;
    });
    uint32_t layout = 0;
    for (size_t i = 0; i < streams.size(); ++i) {
        if (i > 0 && compare_layouts(*streams[i - 1].stream, *streams[i].stream) != 0)
            ++layout;
        layouts_[streams[i].place] = layout;
    }
    return true;
}

bool stream_layouts_t::collect_first_streams(uint32_t piece, const kix_piece_t &model_piece) {
    piece_t &place = pieces_[piece];
    place.first_entry = first_streams_.size();
    const size_t stream_count = model_piece.streams.size();
    for (size_t s = 0; s < stream_count; ++s)
        if (!first_streams_.push_back({layouts_[place.first_stream + s], model_piece.streams[s]}))
            return false;
    const auto entries = first_streams_.items().subspan(place.first_entry);
    // Stable by tag, so that the first of each tag comes first.
    std::stable_sort(entries.begin(), entries.end(), [](const entry_t &a, const entry_t &b) {
        return compare_texts(a.stream->tag.view(), b.stream->tag.view()) < 0;
    });
    size_t kept = 0;
    for (const entry_t &entry : entries) {
        if (kept > 0 && compare_texts(entries[kept - 1].stream->tag.view(), entry.stream->tag.view()) == 0) {
            place.uniform = place.uniform && entries[kept - 1].layout == entry.layout;
            continue;
        }
        entries[kept++] = entry;
    }
    place.entry_count = kept;
    first_streams_.shrink(place.first_entry + kept);
    return true;
}

const kix_stream_t &stream_layouts_t::find(uint32_t piece, uint32_t layout) const {
    const auto entries = first_streams(piece);
    const auto place =
        std::lower_bound(entries.begin(), entries.end(), layout,
                         [](const entry_t &entry, uint32_t wanted) { return entry.layout < wanted; });
    return *place->stream;
}

} // namespace kestrel
