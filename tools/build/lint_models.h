#pragma once

// Has kimlint, the checker beside this program, look at the sources of models, and shows what it finds.

#include "tools/build/conversions.h"

namespace kestrel {

// Errors and warnings go to standard error in the order of the tasks; notes are left out. Several processes
// at once; ends early at the wish to stop.
void lint_models(const tree_paths_t &paths, std::span<const task_t> tasks, unsigned jobs, stop_wish_t &stop);

} // namespace kestrel
