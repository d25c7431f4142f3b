#pragma once

// What differs between two geometry files, in terms of the format and not of bytes.
//
// Bones, parts and locators are compared with those of the same name, the first of a name with the first of
// it; pieces with those of the same part and material, what is left of a part in its order. Offsets, sizes
// and first indices are left out: they follow from the counts. What a piece holds more or less of is told
// once, not vertex by vertex. No difference means identical files, unless some are tolerated.

#include "tools/kmg/kmg_reader.h"

#include <functional>
#include <string>

namespace kestrel {

struct kmg_difference_t {
    kmg_record_kind_t kind = kmg_record_kind_t::header;
    uint32_t index = kmg_absent;   // of the record in the first file, absent if only the second has it,
    uint32_t index_b = kmg_absent; // and the other way round; both absent for a section as a whole
    std::string name{};            // of the record, if it has one
    std::string what{};            // a field of the record, or of a piece a stream, such as "normals"
    bool stream = false;           // one value per vertex, or of "indices" per corner
    std::string a{}, b{};          // the values; of a stream the first that differ,
    size_t first = 0;              // which stand here
    // Of streams and of fields with several values:
    size_t count = 0;   // values that differ,
    size_t of = 0;      // among so many
    double largest = 0; // by which two numbers differ; NaN when one of them is not finite
};

// Reals that differ by no more than the tolerance are the same.
void diff_kmg(const kmg_reader_t &a, const kmg_reader_t &b, double tolerance,
              const std::function<void(const kmg_difference_t &)> &report);

// "piece 3: 12 of 359 normals by at most 1e-06, the first at 7: 0 1 0 | 0 0.999999 0".
std::string to_text(const kmg_difference_t &difference);

} // namespace kestrel
