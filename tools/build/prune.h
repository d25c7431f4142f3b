#pragma once

// Removes outputs whose source is gone.

#include "tools/build/tree_paths.h"

#include <string>
#include <vector>

namespace kestrel {

// With their records and the folders that are empty then, in the two stores and nowhere else. What cannot be
// removed is said; gives the number of those.
size_t remove_orphans(const tree_paths_t &paths, const std::vector<std::string> &orphans);

} // namespace kestrel
