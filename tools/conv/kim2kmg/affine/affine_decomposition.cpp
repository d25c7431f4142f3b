#include "tools/conv/kim2kmg/affine/affine_decomposition.h"

#include "tools/conv/kim2kmg/affine/polar_decomposition.h"
#include "tools/conv/kim2kmg/affine/quaternion.h"
#include "tools/conv/kim2kmg/affine/spectral_decomposition.h"
#include "tools/conv/kim2kmg/affine/stretch_axis_alignment.h"

namespace kestrel {

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
