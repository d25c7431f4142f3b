#include "tools/conv/kim2kmg/affine/stretch_axis_alignment.h"

#include <cmath>
#include <utility>

namespace kestrel {

static constexpr float sqrt_half = 0.70710678f;

static vector3_t cycled_up(const vector3_t &k) {
    return {k[2], k[0], k[1]};
}

static vector3_t cycled_down(const vector3_t &k) {
    return {k[1], k[2], k[0]};
}

// Two factors are equal and the third axis, here the last one, may point along any of the six directions; the
// turn about it that brings the other two home is free.
static aligned_axes_t align_last_axis(const quaternion_t &axes, const vector3_t &factors) {
    static constexpr quaternion_t to_x[2] = {{0, 0, 0, 1}, {1, 0, 0, 0}};
    static constexpr quaternion_t to_y[2] = {{0.5f, 0.5f, 0.5f, 0.5f}, {0.5f, 0.5f, -0.5f, -0.5f}};
    static constexpr quaternion_t to_z[2] = {{0.5f, 0.5f, 0.5f, -0.5f}, {-0.5f, 0.5f, -0.5f, -0.5f}};

    const quaternion_t c = conjugate(axes);
    const double x = c.x, y = c.y, z = c.z, w = c.w;
    const double components[3] = {z * z + w * w - 0.5, x * z - y * w, y * z + x * w};
    const double sizes[3] = {std::fabs(components[0]), std::fabs(components[1]), std::fabs(components[2])};
    const size_t winner = sizes[0] > sizes[1] ? (sizes[0] > sizes[2] ? 0 : 2) : (sizes[1] > sizes[2] ? 1 : 2);
    const bool flip = components[winner] < 0;

    const quaternion_t r = winner == 0 ? to_x[flip] : winner == 1 ? to_y[flip] : to_z[flip];
    const quaternion_t cr = product(c, r);
    const double t = std::sqrt(sizes[winner] + 0.5);
    const quaternion_t about_last{0, 0, static_cast<float>(-cr.z / t), static_cast<float>(cr.w / t)};
    return {conjugate(product(r, about_last)), winner == 0   ? factors
                                               : winner == 1 ? cycled_up(factors)
                                                             : cycled_down(factors)};
}

namespace {

struct two_largest_t {
    size_t largest;
    size_t second;
};

} // namespace

static two_largest_t two_largest_of(const float (&a)[4]) {
    size_t low = a[0] > a[1] ? 0 : 1;
    size_t high = a[2] > a[3] ? 2 : 3;
    if (a[low] > a[high]) {
        if (a[low ^ 1] > a[high]) {
            high = low;
            low ^= 1;
        } else {
            std::swap(low, high);
        }
    } else if (a[high ^ 1] > a[low]) {
        low = high ^ 1;
    }
    return {high, low};
}

// All factors differ: the nearest of the 24 rotations has one, two or four components that are not zero, and
// which of the three it is shows in the sizes of the components.
static aligned_axes_t align_all_axes(const quaternion_t &axes, vector3_t k) {
    const float components[4] = {axes.x, axes.y, axes.z, axes.w};
    float a[4];
    bool negative[4];
    for (size_t i = 0; i < 4; ++i) {
        a[i] = std::fabs(components[i]);
        negative[i] = components[i] < 0;
    }
    const auto [largest, second] = two_largest_of(a);
    const auto with_sign = [&](size_t i, float size) { return negative[i] ? -size : size; };

    const float all = (a[0] + a[1] + a[2] + a[3]) * 0.5f;
    const float two = (a[largest] + a[second]) * sqrt_half;
    const float one = a[largest];
    float p[4] = {};
    if (all > two && all > one) {
        for (size_t i = 0; i < 4; ++i)
            p[i] = with_sign(i, 0.5f);
        const bool odd = negative[0] ^ negative[1] ^ negative[2] ^ negative[3];
        k = odd ? cycled_down(k) : cycled_up(k);
    } else if (!(all > two) && two > one) {
        p[largest] = with_sign(largest, sqrt_half);
        p[second] = with_sign(second, sqrt_half);
        // Two axes change places. A turn about one axis names it; a turn about a diagonal names both.
        size_t low = std::min(largest, second);
        size_t high = std::max(largest, second);
        if (high == 3) {
            high = (low + 1) % 3;
            low = 3 - high - low;
        }
        std::swap(k[high], k[low]);
    } else {
        p[largest] = with_sign(largest, 1.0f);
    }
    return {{-p[0], -p[1], -p[2], p[3]}, k};
}

// The turn that was needed beforehand becomes part of the result.
static aligned_axes_t preceded_by(const quaternion_t &turn, const aligned_axes_t &aligned) {
    return {product(turn, aligned.turn), aligned.factors};
}

aligned_axes_t align_stretch_axes(const quaternion_t &axes, const vector3_t &factors) {
    static constexpr quaternion_t stay = {0, 0, 0, 1};
    static constexpr quaternion_t x_to_last = {0, sqrt_half, 0, sqrt_half};
    static constexpr quaternion_t y_to_last = {sqrt_half, 0, 0, sqrt_half};

    const auto [x, y, z] = factors;
    if (x == y && x == z)
        return {conjugate(axes), factors};
    if (x == y)
        return preceded_by(stay, align_last_axis(axes, factors));
    if (x == z)
        return preceded_by(y_to_last, align_last_axis(product(axes, y_to_last), {x, z, y}));
    if (y == z)
        return preceded_by(x_to_last, align_last_axis(product(axes, x_to_last), {z, y, x}));
    return align_all_axes(axes, factors);
}

} // namespace kestrel
