#pragma once

// Is a geometry file sound? Finds everything that is not as the writer makes it, from the structure down to
// single triangles.
//
// The file is hostile until shown otherwise: no field is used before it has been checked, and the contents of
// a file whose structure is broken are not looked at. Time is n log n in the file's size, memory proportional
// to it.

#include "tools/kmg/kmg_findings.h"

namespace kestrel {

// How many findings of one code at one record are told one by one.
inline constexpr uint32_t default_finding_limit = 10;

// In the order of the checks: structure, bones, names, pieces, bounds of the model.
std::vector<kmg_finding_t> check_kmg(std::span<const std::byte> file, uint32_t limit = default_finding_limit);

bool has_error(std::span<const kmg_finding_t> findings);

} // namespace kestrel
