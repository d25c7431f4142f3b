#pragma once

// The passes step by step, without any shortcut: what the fast ones are compared with.

#include "tests/support/plain_model.h"

namespace kestrel {

// Tests every pair and copies at every join.
void literal_merge(plain_model_t &model);

// Looks at every triangle of every cached vertex at every step. Gives the lines that are reported.
std::vector<std::string> literal_vertex_cache(plain_model_t &model, bool verbose);

} // namespace kestrel
