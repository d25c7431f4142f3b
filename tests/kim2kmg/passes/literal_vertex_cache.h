#pragma once

// The vertex cache pass step by step, with lists and pointers and no regard for cost: what the fast one is
// compared with.

#include "tests/support/plain_model.h"

namespace kestrel {

// Gives the lines that the pass reports, as captured_messages_t writes them.
std::vector<std::string> literal_vertex_cache(plain_model_t &model, bool verbose);

} // namespace kestrel
