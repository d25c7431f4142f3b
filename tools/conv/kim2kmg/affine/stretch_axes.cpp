// Along which axes a stretch goes, and how they are written.

#include "tools/conv/kim2kmg/affine/decomposition_steps.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace kestrel {

namespace {

// What the iteration works on. off_diagonal[i] is the element outside row and column i.
struct jacobi_t {
    std::array<double, 3> diagonal;
    std::array<double, 3> off_diagonal;
    std::array<std::array<double, 3>, 3> axes;

    bool is_diagonal() const {
        const double sum =
            std::fabs(off_diagonal[0]) + std::fabs(off_diagonal[1]) + std::fabs(off_diagonal[2]);
        return static_cast<float>(sum) == 0;
    }
    void rotate(size_t i);
};

// The tangent of the rotation that takes away an element between two diagonal ones of this difference.
double tangent_for(double element, double difference) {
    const double size = std::fabs(difference);
    if (size + 100.0 * std::fabs(element) == size)
        return element / difference; // the exact formula would give the same
    const double theta = 0.5 * difference / element;
    const double tangent = 1.0 / (std::fabs(theta) + std::sqrt(theta * theta + 1.0));
    return theta < 0 ? -tangent : tangent;
}

// Turns about axis i so that off_diagonal[i] becomes 0.
void jacobi_t::rotate(size_t i) {
    if (!(std::fabs(off_diagonal[i]) > 0))
        return;
    const size_t p = (i + 1) % 3;
    const size_t q = (p + 1) % 3;
    const double t = tangent_for(off_diagonal[i], diagonal[q] - diagonal[p]);
    const double c = 1.0 / std::sqrt(t * t + 1.0);
    const double s = t * c;
    const double tau = s / (c + 1.0);
    const double moved = t * off_diagonal[i];
    off_diagonal[i] = 0;
    diagonal[p] -= moved;
    diagonal[q] += moved;
    const double previous = off_diagonal[q];
    off_diagonal[q] -= s * (off_diagonal[p] + tau * off_diagonal[q]);
    off_diagonal[p] += s * (previous - tau * off_diagonal[p]);
    for (std::array<double, 3> &row : axes) {
        const double a = row[p];
        const double b = row[q];
        row[p] = a - s * (b + tau * a);
        row[q] = b + s * (a - tau * b);
    }
}

} // namespace

spectral_parts_t spectral_decomposition(const float3x3_t &s) {
    constexpr int most_sweeps = 20;
    jacobi_t jacobi{
        {s[0][0], s[1][1], s[2][2]}, {s[1][2], s[2][0], s[0][1]}, {{{1, 0, 0}, {0, 1, 0}, {0, 0, 1}}}};
    for (int sweep = 0; sweep < most_sweeps && !jacobi.is_diagonal(); ++sweep)
        for (const size_t i : {size_t{2}, size_t{1}, size_t{0}})
            jacobi.rotate(i);

    spectral_parts_t parts;
    for (size_t row = 0; row < 3; ++row) {
        parts.factors[row] = static_cast<float>(jacobi.diagonal[row]);
        for (size_t column = 0; column < 3; ++column)
            parts.axes[row][column] = static_cast<float>(jacobi.axes[row][column]);
    }
    return parts;
}

namespace {

constexpr float sqrt_half = 0.70710678f;

vector3_t cycled_up(const vector3_t &k) {
    return {k[2], k[0], k[1]};
}

vector3_t cycled_down(const vector3_t &k) {
    return {k[1], k[2], k[0]};
}

// Two factors are equal and the third axis, here the last one, may point along any of the six directions; the
// turn about it that brings the other two home is free.
aligned_axes_t align_last_axis(const quaternion_t &axes, const vector3_t &factors) {
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

struct two_largest_t {
    size_t largest;
    size_t second;
};

two_largest_t two_largest_of(const float (&a)[4]) {
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
aligned_axes_t align_all_axes(const quaternion_t &axes, vector3_t k) {
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
aligned_axes_t preceded_by(const quaternion_t &turn, const aligned_axes_t &aligned) {
    return {product(turn, aligned.turn), aligned.factors};
}

} // namespace

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
