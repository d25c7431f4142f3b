#pragma once

// Sections and the index data of each piece end at a multiple of 4 bytes, filled up with zeros.

#include "kcore/ufs/file.h"
#include "tools/kmg/kmg_format.h"

namespace kestrel {

constexpr uint64_t aligned_section_size(uint64_t bytes) {
    return (bytes + kmg_section_alignment - 1) / kmg_section_alignment * kmg_section_alignment;
}

// After `bytes` bytes. False after an error.
bool write_padding(uint64_t bytes, file_t &destination);

} // namespace kestrel
