#pragma once

// Removes the triangles that have no area worth drawing: corners that coincide or lie on one line, within an
// absolute tolerance of 0.00001 units.
//
// Vertices stay, also those that only removed triangles used; the kept triangles keep their order. Leaves and
// billboards are left alone, since their shaders spread coinciding corners apart. A piece that cannot be
// checked is reported and left as it is; the pass never fails a file. A triangle that names a vertex beyond
// the positions is kept, for the writer to reject.

#include "tools/conv/intermediate/kim_model.h"

namespace kestrel {

void discard_degenerated_triangles(kim_t &model);

} // namespace kestrel
