#include "tools/conv/kim2kmg/affine/affine_decomposition.h"

#include "tools/conv/kim2kmg/affine/decomposition_steps.h"

#include <cmath>

namespace kestrel {

// Of a rotation matrix; for what is not one the result has some other length. The largest component is found
// first, by a root; the others follow from it without loss.
static quaternion_t quaternion_of(const float3x3_t &r) {
    const float trace = r[0][0] + r[1][1] + r[2][2];
    if (trace >= 0) {
        const double root = std::sqrt(static_cast<double>(trace) + 1.0);
        const double factor = 0.5 / root;
        return {static_cast<float>((r[2][1] - r[1][2]) * factor),
                static_cast<float>((r[0][2] - r[2][0]) * factor),
                static_cast<float>((r[1][0] - r[0][1]) * factor), static_cast<float>(0.5 * root)};
    }
    size_t i = 0;
    if (r[1][1] > r[0][0])
        i = 1;
    if (r[2][2] > r[i][i])
        i = 2;
    const size_t j = (i + 1) % 3;
    const size_t k = (j + 1) % 3;
    const double root = std::sqrt(static_cast<double>(r[i][i] - (r[j][j] + r[k][k]) + 1.0f));
    const double factor = 0.5 / root;
    vector3_t axis;
    axis[i] = static_cast<float>(0.5 * root);
    axis[j] = static_cast<float>((r[i][j] + r[j][i]) * factor);
    axis[k] = static_cast<float>((r[k][i] + r[i][k]) * factor);
    return {axis[0], axis[1], axis[2], static_cast<float>((r[k][j] - r[j][k]) * factor)};
}

static std::array<float, 4> w_first(const quaternion_t &q) {
    return {q.w, q.x, q.y, q.z};
}

affine_parts_t affine_decomposition(std::span<const float, 16> a) {
    const float3x3_t linear = {{{a[0], a[1], a[2]}, {a[4], a[5], a[6]}, {a[8], a[9], a[10]}}};
    const polar_parts_t polar = polar_decomposition(linear);
    const bool mirrors = !(polar.determinant >= 0);
    const quaternion_t q = quaternion_of(mirrors ? scale(polar.orthogonal, -1) : polar.orthogonal);
    const spectral_parts_t spectral = spectral_decomposition(polar.stretch);
    const quaternion_t u = quaternion_of(spectral.axes);
    const aligned_axes_t aligned = align_stretch_axes(u, spectral.factors);

    affine_parts_t parts;
    parts.t = {a[3], a[7], a[11]};
    parts.q = w_first(q);
    parts.u = w_first(product(u, aligned.turn));
    parts.k = aligned.factors;
    parts.f = mirrors ? -1.0f : 1.0f;
    return parts;
}

} // namespace kestrel
