#pragma once

// Copies the whole content of one file over the start of another, in blocks of 4096 bytes.
//
// Owns neither file. Failures are reported and give false with the offsets where they stood; success leaves
// both offsets at 0. The destination is not truncated.

#include "kcore/ufs/file.h"

namespace kestrel {

bool fs_copy(file_t *destination, file_t *source);

} // namespace kestrel
