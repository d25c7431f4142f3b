#pragma once

// Sections and the index data of each piece are filled up with zeros to their aligned size.

#include "kcore/ufs/file.h"

namespace kestrel {

// After `bytes` bytes. False after an error.
bool write_padding(uint64_t bytes, file_t &destination);

} // namespace kestrel
