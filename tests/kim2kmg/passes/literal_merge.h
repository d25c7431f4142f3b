#pragma once

// Merging pieces step by step, testing every pair and copying at every join: what the fast pass is compared
// with.

#include "tests/support/plain_model.h"

namespace kestrel {

void literal_merge(plain_model_t &model);

} // namespace kestrel
