#pragma once

// The grid as a text model, and the skeleton of a skinned one.

#include "benchmarks/make_model/grid.h"
#include "tools/kim_text/text_writer.h"

namespace kestrel {

enum class skin_style_t {
    none,
    model,  // one Skin paragraph
    pieces, // a PieceSkin paragraph for each piece
};

struct model_style_t {
    number_style_t numbers = number_style_t::bit_patterns;
    skin_style_t skin = skin_style_t::none;
    uint32_t bones = 100; // of a skinned model, at most 255
    std::string_view skeleton = "grid.kis";
};

void write_model(const grid_t &grid, const model_style_t &style, text_writer_t &out);
// A chain of that many bones along the columns.
void write_skeleton(uint32_t bones, text_writer_t &out);

} // namespace kestrel
