#pragma once

// Numbers and records as little-endian bytes, whatever the processor's own order and the compiler's padding.
//
// A record is a struct with a `size` in bytes and a `visit(record, field)` that calls field(offset, name,
// member) for each of its members in the order of their offsets. Members are numbers or std::arrays of them.

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <span>

namespace kestrel {

namespace little_endian {

template <class T>
T reversed_on_big_endian(T value) {
    if constexpr (std::endian::native == std::endian::little || sizeof(T) == 1)
        return value;
    else {
        auto bytes = std::bit_cast<std::array<std::byte, sizeof(T)>>(value);
        for (size_t i = 0; i < sizeof(T) / 2; ++i)
            std::swap(bytes[i], bytes[sizeof(T) - 1 - i]);
        return std::bit_cast<T>(bytes);
    }
}

template <class T>
void put(std::byte *to, const T &value) {
    const T ordered = reversed_on_big_endian(value);
    std::memcpy(to, &ordered, sizeof(T));
}
// What is not a number is written in one form; which of its many an operation gives depends on the compiler.
inline void put(std::byte *to, float value) {
    put(to, std::bit_cast<uint32_t>(value == value ? value : std::numeric_limits<float>::quiet_NaN()));
}
template <class T, size_t N>
void put(std::byte *to, const std::array<T, N> &values) {
    for (size_t i = 0; i < N; ++i)
        put(to + i * sizeof(T), values[i]);
}

template <class T>
void get(const std::byte *from, T &value) {
    std::memcpy(&value, from, sizeof(T));
    value = reversed_on_big_endian(value);
}
template <class T, size_t N>
void get(const std::byte *from, std::array<T, N> &values) {
    for (size_t i = 0; i < N; ++i)
        get(from + i * sizeof(T), values[i]);
}

} // namespace little_endian

// Do the fields follow each other from 0 to the record's size?
template <class R>
consteval bool fields_cover() {
    const R record{};
    size_t end = 0;
    bool gapless = true;
    R::visit(record, [&](size_t offset, const char *, const auto &member) {
        gapless = gapless && offset == end;
        end = offset + sizeof(member);
    });
    return gapless && end == R::size;
}

template <class R>
void pack(const R &record, std::span<std::byte, R::size> bytes) {
    R::visit(record, [&](size_t offset, const char *, const auto &member) {
        little_endian::put(bytes.data() + offset, member);
    });
}

template <class R>
R unpack(std::span<const std::byte, R::size> bytes) {
    R record;
    R::visit(record, [&](size_t offset, const char *, auto &member) {
        little_endian::get(bytes.data() + offset, member);
    });
    return record;
}

// Where in its record, and under which name, a member stands.
struct record_field_t {
    size_t offset = 0;
    const char *name = "";
};
template <class R, class T>
record_field_t field_of(const R &record, const T &member) {
    record_field_t field;
    R::visit(record, [&](size_t offset, const char *name, const auto &candidate) {
        if (static_cast<const void *>(&candidate) == &member)
            field = {offset, name};
    });
    return field;
}

} // namespace kestrel
