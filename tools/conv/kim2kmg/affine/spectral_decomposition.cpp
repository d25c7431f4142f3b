#include "tools/conv/kim2kmg/affine/spectral_decomposition.h"

#include <cmath>

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

} // namespace kestrel
