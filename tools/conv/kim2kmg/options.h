#pragma once

// What the options of the command line switch on, for every file of the run.

namespace kestrel {

struct option_flags_t {
    bool tangent = false;                   // export tangent vectors
    bool discard_bad_triangles = false;     // remove triangles without area
    bool merge_part_pieces = false;         // join pieces of one part that look the same
    bool optimize_for_vertex_cache = false; // merge equal vertices, order triangles
    bool verbose = false;                   // tell where vertices were merged
};

inline constexpr const char *version_text = "3";

} // namespace kestrel
