#pragma once

// Makes every piece cheaper to draw: merges vertices that are the same, drops the triangles that collapse by
// it, orders the others for the cache of transformed vertices, and numbers the vertices in order of first
// use.
//
// Reports what became fewer, and in verbose mode the positions at which vertices were merged. A model with a
// skin of its own is left alone, since that names vertices by number. So is a piece that names vertices it
// does not have, for the writer to reject, and a piece for which working memory cannot be had. The pass never
// fails a file.

#include "tools/conv/intermediate/kim_model.h"

namespace kestrel {

void optimize_for_vertex_cache(kim_t &model, bool verbose);

} // namespace kestrel
