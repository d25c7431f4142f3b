#pragma once

// Which skin moves the model's vertices: the positions of its Skin paragraph, or one skin made of all its
// piece skins, items in piece order, each vertex of an item as a clone.

#include "tools/conv/intermediate/kim_model.h"

namespace kestrel {

// None, with true, when the model has no such skin; false when there is no memory to make one. A made skin
// lives in `made`, which must be fresh.
bool select_skin(const kim_t &model, kim_skin_stream_t &made, const kim_skin_stream_t *&skin);

} // namespace kestrel
