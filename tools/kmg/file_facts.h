#pragma once

// What a file's header and string pool imply, for showing it.

#include "tools/kmg/kmg_reader.h"

#include <vector>

namespace kestrel {

struct section_t {
    const char *name;
    uint32_t offset;
    uint64_t size;
};
std::array<section_t, 8> sections_of(const kmg_header_t &header);

struct pool_string_t {
    uint32_t offset;
    std::string_view text;
};
// The strings of a pool as the pool itself tells them: each ends with a NUL or the pool. The first empty one
// is padding and ends the list.
std::vector<pool_string_t> strings_of(std::string_view pool);

struct model_totals_t {
    uint64_t vertices = 0;
    uint64_t triangles = 0;
};
model_totals_t totals_of(const kmg_reader_t &file);

} // namespace kestrel
