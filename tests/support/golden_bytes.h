#pragma once

// Expected bytes as a text that a person can check: typed numbers, comments, and asserted positions.
//
//   @ 112               112 bytes stand before this place
//   u32 1 0x10          numbers, stored little-endian: u8 u16 u32 u64 f32
//   f32_any_zero 0 1    reals of which the zeros may have either sign
//   token body          a name as a token
//   hash /model/a.kis   the hash of a text
//   # a comment, to the end of the line

#include <cstddef>
#include <filesystem>
#include <string>
#include <vector>

namespace kestrel {

struct golden_bytes_t {
    std::string bytes;
    std::vector<size_t> any_zero; // where reals stand whose zeros may have either sign

    // What differs first, or an empty text.
    std::string compare(std::string actual) const;
};

golden_bytes_t read_golden_bytes(const std::filesystem::path &path);

} // namespace kestrel
