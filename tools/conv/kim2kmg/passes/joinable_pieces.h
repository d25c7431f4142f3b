#pragma once

// Which pieces of a model may be joined, and which one comes next.
//
// A piece B may be joined to an earlier piece A when both belong to the same part and use the same material,
// have equally many streams, and B has for every stream of A one with the same tag, format and aliases (of
// several with one tag, the first counts), and when both together have few enough vertices. Pieces whose
// triangles name vertices beyond the piece are never joined: the offset of a join could make such a triangle
// look right.
//
// Testing every pair would cost the square of the number of pieces. As long as no piece repeats a tag, pieces
// that may be joined have the same set of streams; sorted by it they form rows, in which a tree finds the
// next piece that is small enough. A piece that repeats a tag may take pieces of several rows, with further
// tags in place of the repeated ones; it looks through the pieces that have the rarest of its streams.

#include "tools/conv/intermediate/kim_model.h"
#include "tools/conv/kim2kmg/passes/next_fit.h"
#include "tools/conv/kim2kmg/passes/stream_layouts.h"

namespace kestrel {

class joinable_pieces_t {
  public:
    static constexpr uint32_t none = next_fit_t::none;

    // `parts` holds the part of each piece. False when memory cannot be had. The pieces must outlive this.
    bool build(std::span<kix_piece_t *const> pieces, std::span<const uint32_t> parts);

    // The first piece after `after` that may be joined to `absorber`, has at most `room` vertices and has not
    // been taken; none when there is none. `after` is `absorber` or the piece that was found for it last.
    uint32_t next(uint32_t absorber, uint32_t after, uint32_t room) const;
    void take(uint32_t piece);
    bool is_taken(uint32_t piece) const { return pieces_[piece].state == state_t::taken; }

    // The stream of `piece` that continues stream number `stream` of `absorber`.
    const kix_stream_t &continuation(uint32_t absorber, size_t stream, uint32_t piece) const {
        return layouts_.find(piece, layouts_.layout_of(absorber, stream));
    }

  private:
    enum class state_t : uint8_t { free, taken, unsound };

    struct piece_t {
        uint32_t family = none; // the same for pieces of one part, material and stream count
        uint32_t vertex_count = 0;
        uint32_t row_position = 0; // in rows_
        uint32_t row_end = 0;
        bool repeats_a_tag = false;
        state_t state = state_t::free;
    };
    // A piece that has a layout.
    struct owner_t {
        uint32_t family;
        uint32_t layout;
        uint32_t piece;
    };

    bool number_families(std::span<kix_piece_t *const> pieces, std::span<const uint32_t> parts);
    bool form_rows();
    bool list_owners();

    int compare_layouts(uint32_t a, uint32_t b) const;
    bool has_all_layouts(uint32_t piece, uint32_t absorber) const;
    std::span<const owner_t> owners_of_rarest_layout(uint32_t absorber) const;
    uint32_t next_in_row(uint32_t absorber, uint32_t after, uint32_t room) const;
    uint32_t next_among_owners(uint32_t absorber, uint32_t after, uint32_t room) const;

    array_dyn_t<piece_t> pieces_;
    stream_layouts_t layouts_;
    array_dyn_t<uint32_t> rows_; // pieces that do not repeat a tag, row by row, ascending within a row
    next_fit_t row_sizes_;
    array_dyn_t<owner_t> owners_; // sorted; empty when no piece repeats a tag
};

} // namespace kestrel
