#pragma once

// Writes the geometry file of a model, with its skeleton when it is skinned.
//
// Contract: model and skeleton are only read; a skeleton must have its bones. A model that is moved from
// gives its skins and vertices back as soon as they are not needed, so that the file takes their place in
// memory: it is good for nothing then, whatever the result. The file is written at the destination's offset.
// False: one or more errors have been reported and what the destination holds is to be thrown away.
// Everything that can be wrong with a model but the formats of its vertex streams is found before the first
// byte is written. Throws std::bad_alloc.

#include "kcore/ufs/file.h"
#include "tools/conv/intermediate/kim_model.h"
#include "tools/conv/intermediate/kis_model.h"

namespace kestrel {

// `tangents`: are tangent vectors exported?
bool kmg_write(const kim_t &model, const kis_t *skeleton, bool tangents, file_t &destination);
bool kmg_write(kim_t &&model, const kis_t *skeleton, bool tangents, file_t &destination);

} // namespace kestrel
