#pragma once

// The data of one piece as CSV, one line per vertex or triangle below a line of headings. Reals are written
// with the fewest digits that give the same single precision back.

#include "tools/kmg/kmg_reader.h"

#include <string>

namespace kestrel {

std::string vertices_csv(const kmg_reader_t &file, const kmg_piece_t &piece);
std::string indices_csv(const kmg_reader_t &file, const kmg_piece_t &piece);

} // namespace kestrel
