#include "tools/conv/kim2kmg/affine/quaternion.h"

#include <cmath>

namespace kestrel {

quaternion_t product(const quaternion_t &a, const quaternion_t &b) {
    return {a.w * b.x + a.x * b.w + a.y * b.z - a.z * b.y, //
            a.w * b.y + a.y * b.w + a.z * b.x - a.x * b.z, //
            a.w * b.z + a.z * b.w + a.x * b.y - a.y * b.x, //
            a.w * b.w - a.x * b.x - a.y * b.y - a.z * b.z};
}

// The largest component is found first, by a root; the others follow from it without loss.
quaternion_t quaternion_of(const float3x3_t &r) {
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

} // namespace kestrel
