#pragma once

// What differs between two geometry files, in terms of the format and not of bytes.
//
// Records are compared by their position. Offsets and sizes of sections are left out: they follow from the
// counts. What a piece holds more or less of is told once, not vertex by vertex.

#include "tools/kmg/kmg_reader.h"

#include <string>
#include <vector>

namespace kestrel {

struct kmg_difference_t {
    kmg_record_kind_t kind = kmg_record_kind_t::header;
    uint32_t index = 0;  // of the record
    std::string what;    // a field of the record, or of a piece a stream, such as "normals"
    bool stream = false; // one value per vertex, or of "indices" per corner
    std::string a, b;    // the values; of a stream the first that differ,
    size_t first = 0;    // which stand here
    // Of streams and of fields with several values:
    size_t count = 0;   // values that differ,
    size_t of = 0;      // among so many
    double largest = 0; // by which two numbers differ; NaN when one of them is not finite
};

std::vector<kmg_difference_t> diff_kmg(const kmg_reader_t &a, const kmg_reader_t &b);

// "piece 3: 12 of 359 normals by at most 1e-06, the first at 7: 0 1 0 | 0 0.999999 0".
std::string to_text(const kmg_difference_t &difference);

} // namespace kestrel
