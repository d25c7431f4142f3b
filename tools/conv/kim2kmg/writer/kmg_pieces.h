#pragma once

// The piece records: counts, bounds, UV channels, and where each field of the piece's vertices lies.
//
// While records are built their offsets count from the start of the vertex data and of the index data, whose
// sizes in the header grow with every piece; relocating turns them into offsets in the file.

#include "tools/conv/kim2kmg/writer/kmg_writer_state.h"

namespace kestrel {

bool build_pieces(kmg_writer_t &writer);

// Needs the final offset of the vertex data; sets that of the index data.
bool relocate_pieces(kmg_writer_t &writer);

} // namespace kestrel
