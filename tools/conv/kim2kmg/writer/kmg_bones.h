#pragma once

// The bone records: how bones hang on each other, where they stand, and how they move relative to their
// parents. Needs the record array sized to the model's bones.

#include "tools/conv/kim2kmg/writer/kmg_writer_state.h"

namespace kestrel {

// Leaves the records zero when there is no skeleton.
bool build_bones(kmg_writer_t &writer);

} // namespace kestrel
