"""A matrix as rotation (or mirrored rotation) times symmetric stretch, by Newton's iteration."""

import math

from .ieee import divide, f32, square_root
from .matrices import Matrix, cross, dot, inf_norm, multiply, one_norm, transpose
from .singular_polar_factor import rank_2_factor

TOLERANCE = 1.0e-6
MOST_STEPS = 60
SMALLEST_NORMAL = 2.0**-126


def polar_decomposition(linear: Matrix) -> tuple[Matrix, Matrix, float]:
    """Rotation, stretch and the determinant whose sign tells whether the rotation mirrors."""
    m = transpose(linear)
    determinant = 0.0
    for _ in range(MOST_STEPS):
        m = _kept_in_range(m)
        adjugate = [cross(m[1], m[2]), cross(m[2], m[0]), cross(m[0], m[1])]
        determinant = dot(m[0], adjugate[0])
        if abs(determinant) < SMALLEST_NORMAL:
            m = rank_2_factor(m, adjugate)
            break
        previous = m
        m = _newton_step(m, adjugate, determinant)
        change = [[f32(p - n) for p, n in zip(*rows)] for rows in zip(previous, m)]
        if not one_norm(change) > one_norm(m) * TOLERANCE:
            break
    return transpose(m), _made_symmetric(multiply(m, linear)), determinant


def _kept_in_range(m: Matrix) -> Matrix:
    """A step comes to the same for every power of two; very large and small matrices are brought near 1."""
    size = one_norm(m)
    if 2.0**-20 <= size <= 2.0**20:
        return m
    power = 128 if math.isinf(size) else max(math.frexp(size)[1] - 1, -127)
    factor = 2.0 ** max(-power, -126)
    return [[f32(value * factor) for value in row] for row in m]


def _newton_step(m: Matrix, adjugate: Matrix, determinant: float) -> Matrix:
    norms = f32(one_norm(adjugate) * inf_norm(adjugate))
    quotient = f32(divide(norms, f32(one_norm(m) * inf_norm(m))))
    gamma = f32(square_root(divide(square_root(quotient), abs(determinant))))
    old_share = f32(gamma * 0.5)
    new_share = f32(divide(0.5, f32(gamma * determinant)))
    return [[f32(f32(old_share * a) + f32(new_share * b)) for a, b in zip(*rows)] for rows in zip(m, adjugate)]


def _made_symmetric(m: Matrix) -> Matrix:
    return [[f32(0.5 * f32(m[min(i, j)][max(i, j)] + m[max(i, j)][min(i, j)])) for j in range(3)] for i in range(3)]
