#pragma once

// A whole conversion, from two texts to the output and its dependency file, over a file system in memory.
//
// What convert_file promises is checked: both files or none; a failure is reported; the sources stay; nothing
// stays open; and the output is sound for the inspectors.

#include "tools/conv/kim2kmg/options.h"

#include <string_view>

namespace kestrel {

// The skeleton's file is "s.kis" beside the model; there is none when its text is empty. True when the model
// was converted.
bool convert_in_memory(std::string_view model, std::string_view skeleton, const option_flags_t &options);

// Bit 0 tangents, 1 discarding, 2 merging, 3 vertex cache order, 4 verbose.
option_flags_t options_from_bits(uint8_t bits);

} // namespace kestrel
