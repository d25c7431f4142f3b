#include "tools/conv/kim2kmg/passes/joinable_pieces.h"

#include <algorithm>
#include <tuple>

namespace kestrel {

static bool corners_are_sound(const kix_piece_t &piece) {
    if (!piece.triangles)
        return false;
    uint32_t highest = 0;
    for (const triangle_t &triangle : piece.triangles->items_as<triangle_t>())
        for (const uint32_t corner : triangle.corners)
            highest = std::max(highest, corner);
    return piece.triangles->count() == 0 || highest < piece.vertex_count;
}

bool joinable_pieces_t::build(std::span<kix_piece_t *const> pieces, std::span<const uint32_t> parts) {
    if (!pieces_.resize(pieces.size()) || !layouts_.build(pieces))
        return false;
    for (uint32_t p = 0; p < pieces.size(); ++p) {
        pieces_[p].vertex_count = pieces[p]->vertex_count;
        pieces_[p].repeats_a_tag = layouts_.first_streams(p).size() < pieces[p]->streams.size();
        pieces_[p].state = corners_are_sound(*pieces[p]) ? state_t::free : state_t::unsound;
    }
    return number_families(pieces, parts) && form_rows() && list_owners();
}

bool joinable_pieces_t::number_families(std::span<kix_piece_t *const> pieces,
                                        std::span<const uint32_t> parts) {
    array_dyn_t<uint32_t> order;
    for (uint32_t p = 0; p < pieces.size(); ++p)
        if (!order.push_back(p))
            return false;
    const auto family_of = [&](uint32_t p) {
        return std::tuple(parts[p], pieces[p]->material, pieces[p]->stream_count);
    };
    std::sort(order.begin(), order.end(),
              [&](uint32_t a, uint32_t b) { return family_of(a) < family_of(b); });
    uint32_t family = 0;
    for (size_t i = 0; i < order.size(); ++i) {
        if (i > 0 && family_of(order[i - 1]) != family_of(order[i]))
            ++family;
        pieces_[order[i]].family = family;
    }
    return true;
}

int joinable_pieces_t::compare_layouts(uint32_t a, uint32_t b) const {
    const auto left = layouts_.first_streams(a), right = layouts_.first_streams(b);
    for (size_t i = 0; i < std::min(left.size(), right.size()); ++i)
        if (left[i].layout != right[i].layout)
            return left[i].layout < right[i].layout ? -1 : 1;
    return left.size() < right.size() ? -1 : left.size() > right.size();
}

bool joinable_pieces_t::form_rows() {
    for (uint32_t p = 0; p < pieces_.size(); ++p)
        if (!pieces_[p].repeats_a_tag && !rows_.push_back(p))
            return false;
    std::sort(rows_.begin(), rows_.end(), [this](uint32_t a, uint32_t b) {
        if (pieces_[a].family != pieces_[b].family)
            return pieces_[a].family < pieces_[b].family;
        const int order = compare_layouts(a, b);
        return order != 0 ? order < 0 : a < b;
    });
    array_dyn_t<uint32_t> sizes;
    if (!sizes.resize(rows_.size()))
        return false;
    uint32_t row_end = static_cast<uint32_t>(rows_.size());
    for (uint32_t i = row_end; i-- > 0;) {
        piece_t &piece = pieces_[rows_[i]];
        if (i + 1 < rows_.size() &&
            (pieces_[rows_[i + 1]].family != piece.family || compare_layouts(rows_[i], rows_[i + 1]) != 0))
            row_end = i + 1;
        piece.row_position = i;
        piece.row_end = row_end;
        sizes[i] = piece.vertex_count;
    }
    if (!row_sizes_.build(sizes.items()))
        return false;
    for (const uint32_t p : rows_)
        if (pieces_[p].state == state_t::unsound)
            row_sizes_.remove(pieces_[p].row_position);
    return true;
}

bool joinable_pieces_t::list_owners() {
    if (std::none_of(pieces_.begin(), pieces_.end(),
                     [](const piece_t &piece) { return piece.repeats_a_tag; }))
        return true;
    for (uint32_t p = 0; p < pieces_.size(); ++p)
        for (const stream_layouts_t::entry_t &entry : layouts_.first_streams(p))
            if (!owners_.push_back({pieces_[p].family, entry.layout, p}))
                return false;
    std::sort(owners_.begin(), owners_.end(), [](const owner_t &a, const owner_t &b) {
        return std::tie(a.family, a.layout, a.piece) < std::tie(b.family, b.layout, b.piece);
    });
    return true;
}

uint32_t joinable_pieces_t::next(uint32_t absorber, uint32_t after, uint32_t room) const {
    if (pieces_[absorber].state == state_t::unsound)
        return none;
    if (!pieces_[absorber].repeats_a_tag)
        return next_in_row(absorber, after, room);
    if (layouts_.is_uniform(absorber))
        return next_among_owners(absorber, after, room);
    return none; // no piece has the same layout twice and another one under the same tag
}

uint32_t joinable_pieces_t::next_in_row(uint32_t absorber, uint32_t after, uint32_t room) const {
    const uint32_t found = row_sizes_.find(pieces_[after].row_position + 1, room);
    return found < pieces_[absorber].row_end ? rows_[found] : none;
}

bool joinable_pieces_t::has_all_layouts(uint32_t piece, uint32_t absorber) const {
    const auto has = layouts_.first_streams(piece), wanted = layouts_.first_streams(absorber);
    return std::includes(has.begin(), has.end(), wanted.begin(), wanted.end(),
                         [](const auto &a, const auto &b) { return a.layout < b.layout; });
}

std::span<const joinable_pieces_t::owner_t>
joinable_pieces_t::owners_of_rarest_layout(uint32_t absorber) const {
    std::span<const owner_t> rarest = owners_.items();
    for (const stream_layouts_t::entry_t &entry : layouts_.first_streams(absorber)) {
        const auto [first, end] = std::equal_range(
            owners_.begin(), owners_.end(), owner_t{pieces_[absorber].family, entry.layout, 0},
            [](const owner_t &a, const owner_t &b) {
                return std::tie(a.family, a.layout) < std::tie(b.family, b.layout);
            });
        if (static_cast<size_t>(end - first) < rarest.size())
            rarest = {first, end};
    }
    return rarest;
}

uint32_t joinable_pieces_t::next_among_owners(uint32_t absorber, uint32_t after, uint32_t room) const {
    const auto owners = owners_of_rarest_layout(absorber);
    const auto first =
        std::upper_bound(owners.begin(), owners.end(), after,
                         [](uint32_t piece, const owner_t &owner) { return piece < owner.piece; });
    for (auto owner = first; owner != owners.end(); ++owner) {
        const piece_t &piece = pieces_[owner->piece];
        if (piece.state == state_t::free && piece.vertex_count <= room &&
            has_all_layouts(owner->piece, absorber))
            return owner->piece;
    }
    return none;
}

void joinable_pieces_t::take(uint32_t piece) {
    pieces_[piece].state = state_t::taken;
    if (!pieces_[piece].repeats_a_tag)
        row_sizes_.remove(pieces_[piece].row_position);
}

} // namespace kestrel
