#pragma once

// Numbers for the layouts of streams: streams have the same number when they have the same tag, format and
// aliases. With them, comparing the streams of two pieces means comparing numbers.

#include "tools/conv/intermediate/kim_model.h"

namespace kestrel {

class stream_layouts_t {
  public:
    struct entry_t {
        uint32_t layout;
        const kix_stream_t *stream;
    };

    // False when memory cannot be had.
    bool build(std::span<kix_piece_t *const> pieces);

    // A piece's first stream of every tag, ascending by layout.
    std::span<const entry_t> first_streams(uint32_t piece) const {
        const piece_t &place = pieces_[piece];
        return first_streams_.items().subspan(place.first_entry, place.entry_count);
    }
    // Whether streams of the piece that share a tag share the layout, too.
    bool is_uniform(uint32_t piece) const { return pieces_[piece].uniform; }
    // The layout of a stream given by its position in the piece.
    uint32_t layout_of(uint32_t piece, size_t stream) const {
        return layouts_[pieces_[piece].first_stream + stream];
    }
    // The piece's first stream of this layout's tag; the piece must have one, of this layout.
    const kix_stream_t &find(uint32_t piece, uint32_t layout) const;

  private:
    struct piece_t {
        size_t first_stream = 0;
        size_t first_entry = 0;
        size_t entry_count = 0;
        bool uniform = true;
    };
    // A stream and where it stands among all streams of the model.
    struct numbered_stream_t {
        const kix_stream_t *stream;
        size_t place;
    };

    bool number_streams(array_t<numbered_stream_t> &streams);
    bool collect_first_streams(uint32_t piece, const kix_piece_t &model_piece);

    array_dyn_t<piece_t> pieces_;
    array_dyn_t<uint32_t> layouts_; // of every stream, piece by piece
    array_dyn_t<entry_t> first_streams_;
};

} // namespace kestrel
