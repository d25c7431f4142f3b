#pragma once

// The Bones paragraph and the skin of a grid: each vertex hangs on up to three neighbouring bones of a chain
// along the columns.

#include "benchmarks/make_model/model_text.h"

#include <span>

namespace kestrel {

void write_skin(const grid_t &grid, const model_style_t &style, text_writer_t &out);
void write_bone_name(uint32_t bone, text_writer_t &out);
// Two blanks between each two.
void write_reals(std::span<const float> values, number_style_t style, text_writer_t &out);

} // namespace kestrel
