#include "tools/conv/intermediate/kis_model.h"

#include "kcore/collections/city_hash.h"

#include <cmath>

namespace kestrel {

const kis_bone_t &kis_bone_table_t::add_bone(std::string_view name, std::string_view parent,
                                             const std::array<float, 16> &matrix) {
    const matrix_inverse_t inverse = invert_matrix(matrix);
    const auto position = static_cast<uint32_t>(bones_.size());
    bones_.push_back({string_dyn_t(name), string_dyn_t(parent), matrix, inverse.values, inverse.invertible});
    positions_.find_or_add(city_hash_64(name), position,
                           [&](uint32_t i) { return bones_[i].name.view() == name; });
    return bones_.back();
}

std::optional<uint32_t> kis_bone_table_t::find(std::string_view name) const {
    const uint32_t position =
        positions_.find(city_hash_64(name), [&](uint32_t i) { return bones_[i].name.view() == name; });
    return position != hashed_table_t::none ? std::optional(position) : std::nullopt;
}

// The determinant of what is left of the matrix without one row and one column, signed like a chessboard.
static float cofactor(std::span<const float, 16> m, size_t row, size_t column) {
    float rest[9];
    size_t count = 0;
    for (size_t r = 0; r < 4; ++r)
        for (size_t c = 0; c < 4; ++c)
            if (r != row && c != column)
                rest[count++] = m[4 * r + c];
    const auto [a, b, c, d, e, f, g, h, i] = rest;
    const float minor = a * (e * i - f * h) - b * (d * i - f * g) + c * (d * h - e * g);
    return (row + column) % 2 == 0 ? minor : -minor;
}

matrix_inverse_t invert_matrix(std::span<const float, 16> m) {
    constexpr float least_determinant = 0.00001f;
    matrix_inverse_t inverse;
    std::array<float, 16> &a = inverse.values;
    for (size_t row = 0; row < 4; ++row)
        for (size_t column = 0; column < 4; ++column)
            a[4 * row + column] = cofactor(m, column, row);
    const float determinant = m[0] * a[0] + m[1] * a[4] + m[2] * a[8] + m[3] * a[12];
    inverse.invertible = std::fabs(determinant) >= least_determinant;
    if (inverse.invertible) {
        const float factor = 1.0f / determinant;
        for (float &value : a)
            value *= factor;
    }
    return inverse;
}

} // namespace kestrel
