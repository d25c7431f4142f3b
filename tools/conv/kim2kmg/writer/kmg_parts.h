#pragma once

// The part and locator records, and the order in which pieces are written: part by part, each in the order of
// its list. Need the record arrays sized to the model's parts and locators.

#include "tools/conv/kim2kmg/writer/kmg_writer_state.h"

namespace kestrel {

// Needs the string pool. A locator listed twice fills two records; one that no part lists leaves a record of
// zeros at the end.
bool build_locators(kmg_writer_t &writer);
bool build_parts(kmg_writer_t &writer);
// The lists must hold as many entries as the model has pieces; a piece listed twice is written twice. More
// than eight times the model's vertices and triangles are refused, unless that is few of them all the same.
bool build_piece_order(kmg_writer_t &writer);

} // namespace kestrel
