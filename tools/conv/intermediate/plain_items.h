#pragma once

// The short way through runs of plainly written items.
//
// Nearly all bytes of a model are items "index ( number number ... )" whose numbers are bit patterns,
// decimals with a point or small integers, between blanks and line feeds. They are decoded here straight into
// their stream, without a token each. The result is exactly that of the grammar: an item that is written in
// any other way, has another index or another number of literals, or finds no room, ends the run untouched
// and is left to it.

#include "tools/conv/intermediate/kix_stream.h"
#include "tools/conv/intermediate/scanner.h"

namespace kestrel {

// Reads items of `count` reals (else integers) each for as long as they are plain and in order.
void scan_plain_items(scanner_t &scanner, kix_stream_t &stream, bool reals, uint32_t count);

} // namespace kestrel
