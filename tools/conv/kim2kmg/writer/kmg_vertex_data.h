#pragma once

// The vertices of a piece, interleaved as its record says, and its triangles as 16-bit indices.
//
// Both write with one write and give false after an error. A skinned piece stores its vertices in the order
// of its piece_info_t; pass none for one without bones.

#include "kcore/ufs/file.h"
#include "tools/conv/kim2kmg/writer/kmg_writer_state.h"

namespace kestrel {

bool write_vertex_data(const kmg_writer_t &writer, const kix_piece_t &piece, const kmg_piece_t &record,
                       const piece_info_t *info, file_t &destination);

bool write_index_data(const kmg_writer_t &writer, const kix_piece_t &piece, const piece_info_t *info,
                      file_t &destination);

} // namespace kestrel
