#pragma once

// Errors that several steps of the geometry writer can meet. Each reports and gives false.

#include "kcore/ufs/file.h"
#include "tools/conv/intermediate/kim_model.h"

namespace kestrel {

bool out_of_memory(const kim_t &model);

// Offsets of 32 bits cannot count the bytes of the file.
bool geometry_too_large(const kim_t &model);

// `what` names the part of the file that could not be written.
bool write_failed(const file_t &destination, const char *what);

} // namespace kestrel
