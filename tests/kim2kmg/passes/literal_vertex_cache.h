#pragma once

// The order of triangles step by step, without any shortcut: what the fast one is compared with.

#include "tools/conv/intermediate/kix_stream.h"

#include <vector>

namespace kestrel {

// Looks at every triangle of every cached vertex at every step.
std::vector<uint32_t> literal_vertex_cache_order(std::span<const triangle_t> triangles,
                                                 uint32_t vertex_count);

} // namespace kestrel
