#include "kcore/collections/city_hash.h"

#include <bit>
#include <cstring>
#include <utility>

namespace kestrel {

static_assert(std::endian::native == std::endian::little, "words are read as the processor has them");

static constexpr uint64_t k0 = 0xc3a5c85c97cb3127;
static constexpr uint64_t k1 = 0xb492b66fbe98f273;
static constexpr uint64_t k2 = 0x9ae16a3b2f90404f;
static constexpr uint64_t k3 = 0xc949d7c7509e6557;
static constexpr uint64_t k_mul = 0x9ddfea08eb382d69;

struct pair_t {
    uint64_t first;
    uint64_t second;
};

static uint64_t word64(const std::byte *s) {
    uint64_t word;
    std::memcpy(&word, s, sizeof(word));
    return word;
}

static uint64_t word32(const std::byte *s) {
    uint32_t word;
    std::memcpy(&word, s, sizeof(word));
    return word;
}

static uint64_t rotate(uint64_t value, int shift) {
    return std::rotr(value, shift);
}

static uint64_t fold(uint64_t value) {
    return value ^ (value >> 47);
}

static uint64_t hash_pair(uint64_t low, uint64_t high) {
    const uint64_t a = fold((low ^ high) * k_mul);
    return fold((high ^ a) * k_mul) * k_mul;
}

static uint64_t hash_up_to_16(const std::byte *s, size_t length) {
    if (length > 8) {
        const uint64_t b = word64(s + length - 8);
        return hash_pair(word64(s), rotate(b + length, static_cast<int>(length))) ^ b;
    }
    if (length >= 4)
        return hash_pair(length + (word32(s) << 3), word32(s + length - 4));
    if (length == 0)
        return k2;
    const uint64_t y = std::to_integer<uint64_t>(s[0]) + (std::to_integer<uint64_t>(s[length / 2]) << 8);
    const uint64_t z = length + (std::to_integer<uint64_t>(s[length - 1]) << 2);
    return fold(y * k2 ^ z * k3) * k2;
}

static uint64_t hash_17_to_32(const std::byte *s, size_t length) {
    const uint64_t a = word64(s) * k1;
    const uint64_t b = word64(s + 8);
    const uint64_t c = word64(s + length - 8) * k2;
    const uint64_t d = word64(s + length - 16) * k0;
    return hash_pair(rotate(a - b, 43) + rotate(c, 30) + d, a + rotate(b ^ k3, 20) - c + length);
}

// One half of a text of 33 to 64 bytes: four words in a row, and the seeds of the first and the last.
static pair_t mix_four_words(const std::byte *s, uint64_t a, uint64_t last) {
    const uint64_t b = rotate(a + last, 52);
    uint64_t c = rotate(a, 37);
    a += word64(s + 8);
    c += rotate(a, 7);
    a += word64(s + 16);
    return {a + last, b + rotate(a, 31) + c};
}

static uint64_t hash_33_to_64(const std::byte *s, size_t length) {
    const std::byte *const tail = s + length - 32;
    const pair_t v = mix_four_words(s, word64(s) + (length + word64(tail + 16)) * k0, word64(s + 24));
    const pair_t w = mix_four_words(tail, word64(s + 16) + word64(tail), word64(tail + 24));
    const uint64_t r = fold((v.first + w.second) * k2 + (w.first + v.second) * k0);
    return fold(r * k0 + v.second) * k2;
}

static pair_t weak_hash_32(const std::byte *s, uint64_t a, uint64_t b) {
    const uint64_t last = word64(s + 24);
    a += word64(s);
    b = rotate(b + a + last, 21);
    const uint64_t start = a;
    a += word64(s + 8);
    a += word64(s + 16);
    b += rotate(a, 44);
    return {a + last, b + start};
}

static uint64_t hash_long(const std::byte *s, size_t length) {
    uint64_t x = word64(s + length - 40);
    uint64_t y = word64(s + length - 16) + word64(s + length - 56);
    uint64_t z = hash_pair(word64(s + length - 48) + length, word64(s + length - 24));
    pair_t v = weak_hash_32(s + length - 64, length, z);
    pair_t w = weak_hash_32(s + length - 32, y + k1, x);
    x = x * k1 + word64(s);

    for (size_t blocks = (length - 1) / 64; blocks != 0; --blocks, s += 64) {
        x = rotate(x + y + v.first + word64(s + 8), 37) * k1;
        y = rotate(y + v.second + word64(s + 48), 42) * k1;
        x ^= w.second;
        y += v.first + word64(s + 40);
        z = rotate(z + w.first, 33) * k1;
        v = weak_hash_32(s, v.second * k1, x + w.first);
        w = weak_hash_32(s + 32, z + w.second, y + word64(s + 16));
        std::swap(z, x);
    }
    return hash_pair(hash_pair(v.first, w.first) + fold(y) * k1 + z, hash_pair(v.second, w.second) + x);
}

uint64_t city_hash_64(std::span<const std::byte> bytes) {
    if (bytes.size() <= 16)
        return hash_up_to_16(bytes.data(), bytes.size());
    if (bytes.size() <= 32)
        return hash_17_to_32(bytes.data(), bytes.size());
    if (bytes.size() <= 64)
        return hash_33_to_64(bytes.data(), bytes.size());
    return hash_long(bytes.data(), bytes.size());
}

} // namespace kestrel
