#pragma once

// The numbers that accessors name: any component type, normalised or not, interleaved, sparse, without a
// view.
//
// No offset, stride or count of the file is used before it has been compared with the bytes that there are.

#include "tools/gltf/gltf_source.h"

#include <array>
#include <optional>

namespace kestrel {

// The accessor of a primitive's attribute.
std::optional<int> attribute_of(const tinygltf::Primitive &primitive, const std::string &name);

class gltf_accessors_t {
  public:
    // An accessor without a view may have so many elements, since no bytes account for them.
    static constexpr size_t most_elements_without_view = size_t{1} << 20;

    explicit gltf_accessors_t(const gltf_source_t &source) : source_(source) {}

    size_t count(int accessor) const { return checked(accessor).count; }
    // 3 for VEC3; 16 for MAT4.
    size_t components(int accessor) const;

    // All throw gltf_error_t, naming the accessor.

    // Every component after the other. Normalised integers become reals of at most 1; nothing is infinite.
    std::vector<float> reals(int accessor) const;
    // Integers that are not turned into reals by being normalised, and reals, as they are.
    std::vector<float> plain_reals(int accessor) const;
    // Unsigned integers of any size.
    std::vector<uint32_t> integers(int accessor) const;

    // Of a VECn, element by element.
    template <size_t N>
    std::vector<std::array<float, N>> vectors(int accessor) const {
        expect_components(accessor, N);
        return grouped<N>(reals(accessor));
    }
    template <size_t N>
    static std::vector<std::array<float, N>> grouped(const std::vector<float> &values) {
        std::vector<std::array<float, N>> result(values.size() / N);
        for (size_t i = 0; i < result.size(); ++i)
            for (size_t c = 0; c < N; ++c)
                result[i][c] = values[N * i + c];
        return result;
    }

  private:
    const tinygltf::Accessor &checked(int accessor) const;
    void expect_components(int accessor, size_t expected) const;
    std::span<const std::byte> view_bytes(int view, size_t &stride) const;

    template <class T, class convert_t>
    std::vector<T> elements(int accessor, convert_t convert) const;
    template <class T, class convert_t>
    void overwrite_sparse(const tinygltf::Accessor &accessor, convert_t convert,
                          std::vector<T> &values) const;
    std::vector<float> finite_reals(int accessor, bool normalise) const;

    const gltf_source_t &source_;
};

} // namespace kestrel
