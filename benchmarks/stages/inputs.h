#pragma once

// What the stages are measured on: grids as text, and models parsed from them.

#include "benchmarks/make_model/grid_text.h"
#include "tools/conv/intermediate/kim_model.h"
#include "tools/conv/intermediate/kis_model.h"

#include <string>

namespace kestrel {

// A million vertices in two million triangles, fewer where there is more to each of them.
inline constexpr uint64_t grid_vertices = 1000000;
inline constexpr uint64_t skinned_grid_vertices = 250000;
inline constexpr uint64_t small_grid_vertices = 10000;

enum class input_t { bit_patterns, decimals, skinned, piece_skinned, small, sample };

// The one asked for last is kept.
std::string_view text_of(input_t input);
// All real numbers of the unskinned grid as decimals, a blank after each.
std::string_view flat_decimals();

// A model of one's own, parsed anew, with its skeleton when it is skinned. Ends the process when that fails.
struct parsed_model_t {
    explicit parsed_model_t(input_t input);

    owner_list_t owners;
    kim_t *model;
    kis_t *skeleton = nullptr;
};

} // namespace kestrel
