#pragma once

// CityHash64 as release 1.0.3 of it published the function (G. Pike, J. Alakuijala, 2011).
//
// Hashes end up in files, so this release is fixed: earlier ones of the 1.0 line give other values above 64
// bytes, later lines give other values altogether.

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

namespace kestrel {

uint64_t city_hash_64(std::span<const std::byte> bytes);

inline uint64_t city_hash_64(std::string_view text) {
    return city_hash_64(std::as_bytes(std::span(text)));
}

} // namespace kestrel
