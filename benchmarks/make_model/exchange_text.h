#pragma once

// The grid in the text formats that other converters read, with the same numbers: Wavefront OBJ and OGRE XML.

#include "benchmarks/make_model/grid.h"
#include "tools/kim_text/text_writer.h"

namespace kestrel {

void write_obj(const grid_t &grid, text_writer_t &out);
void write_ogre_xml(const grid_t &grid, text_writer_t &out);

} // namespace kestrel
