"""The axes and factors of a symmetric stretch, and the choice among the axes that say the same."""

from .ieee import divide, f32, square_root
from .matrices import Matrix
from .quaternions import Quaternion, conjugate, product

ROOT_HALF = f32(0.70710678)
MOST_SWEEPS = 20


def spectral_decomposition(stretch: Matrix) -> tuple[list[float], Matrix]:
    """Eigenvalues and eigenvectors (as columns) by Jacobi's iteration in double precision."""
    diagonal = [stretch[0][0], stretch[1][1], stretch[2][2]]
    off = [stretch[1][2], stretch[2][0], stretch[0][1]]
    axes = [[1.0, 0.0, 0.0], [0.0, 1.0, 0.0], [0.0, 0.0, 1.0]]
    for _ in range(MOST_SWEEPS):
        if f32(abs(off[0]) + abs(off[1]) + abs(off[2])) == 0.0:
            break
        for i in (2, 1, 0):
            if abs(off[i]) > 0.0:
                _rotate(diagonal, off, axes, i)
    return [f32(value) for value in diagonal], [[f32(value) for value in row] for row in axes]


def _rotate(diagonal: list[float], off: list[float], axes: Matrix, i: int) -> None:
    """One rotation that makes the off-diagonal element zero."""
    p, q = (i + 1) % 3, (i + 2) % 3
    height = diagonal[q] - diagonal[p]
    if abs(height) + 100.0 * abs(off[i]) == abs(height):
        t = divide(off[i], height)
    else:
        theta = divide(0.5 * height, off[i])
        t = divide(1.0, abs(theta) + square_root(theta * theta + 1.0))
        if theta < 0.0:
            t = -t
    c = divide(1.0, square_root(t * t + 1.0))
    s = t * c
    tau = divide(s, c + 1.0)
    shift = t * off[i]
    off[i] = 0.0
    diagonal[p] -= shift
    diagonal[q] += shift
    off_q = off[q]
    off[q] -= s * (off[p] + tau * off[q])
    off[p] += s * (off_q - tau * off[p])
    for row in axes:
        a, b = row[p], row[q]
        row[p] = a - s * (b + tau * a)
        row[q] = b + s * (a - tau * b)


def align_axes(u: Quaternion, factors: list[float]) -> tuple[Quaternion, list[float]]:
    """The turn, of those that only swap and flip axes, that brings u nearest to no turn; and the factors it swaps."""
    x, y, z = factors
    if x == y == z:
        return conjugate(u), factors
    if x == y:
        return _align_around(u, (0.0, 0.0, 0.0, 1.0), [x, y, z])
    if x == z:
        return _align_around(u, (ROOT_HALF, 0.0, 0.0, ROOT_HALF), [x, z, y])
    if y == z:
        return _align_around(u, (0.0, ROOT_HALF, 0.0, ROOT_HALF), [z, y, x])
    return _align_all(u, factors)


def _align_around(u: Quaternion, g: Quaternion, k: list[float]) -> tuple[Quaternion, list[float]]:
    """Two factors are equal: any turn around the third axis, brought to z by g, is free."""
    c = conjugate(u if g[3] == 1.0 else product(u, g))
    cx, cy, cz, cw = c
    magnitudes = [cz * cz + cw * cw - 0.5, cx * cz - cy * cw, cy * cz + cx * cw]
    negative = [value < 0.0 for value in magnitudes]
    m = [abs(value) for value in magnitudes]
    if m[0] > m[1]:
        winner = 0 if m[0] > m[2] else 2
    else:
        winner = 1 if m[1] > m[2] else 2
    if winner == 0:
        r = (1.0, 0.0, 0.0, 0.0) if negative[0] else (0.0, 0.0, 0.0, 1.0)
    elif winner == 1:
        r = (0.5, 0.5, -0.5, -0.5) if negative[1] else (0.5, 0.5, 0.5, 0.5)
        k = [k[2], k[0], k[1]]
    else:
        r = (-0.5, 0.5, -0.5, -0.5) if negative[2] else (0.5, 0.5, 0.5, -0.5)
        k = [k[1], k[2], k[0]]
    cr = product(c, r)
    t = square_root(m[winner] + 0.5)
    r = product(r, (0.0, 0.0, f32(divide(-cr[2], t)), f32(divide(cr[3], t))))
    return product(g, conjugate(r)), k


def _align_all(u: Quaternion, k: list[float]) -> tuple[Quaternion, list[float]]:
    """All factors differ: one of 24 turns."""
    a = [abs(value) for value in u]
    negative = [value < 0.0 for value in u]
    low, high = _two_largest(a)
    everything = f32(f32(f32(f32(a[0] + a[1]) + a[2]) + a[3]) * 0.5)
    two = f32(f32(a[high] + a[low]) * ROOT_HALF)
    big = a[high]
    turn = [0.0] * 4
    if everything > two and everything > big:
        turn = [-0.5 if flipped else 0.5 for flipped in negative]
        odd = sum(negative) % 2 == 1
        k = [k[1], k[2], k[0]] if odd else [k[2], k[0], k[1]]
    elif everything > two or not two > big:
        turn[high] = -1.0 if negative[high] else 1.0
    else:
        turn[high] = -ROOT_HALF if negative[high] else ROOT_HALF
        turn[low] = -ROOT_HALF if negative[low] else ROOT_HALF
        k = _swapped(k, min(low, high), max(low, high))
    return (-turn[0], -turn[1], -turn[2], turn[3]), k


def _two_largest(a: list[float]) -> tuple[int, int]:
    """Positions of the second largest and the largest component."""
    low = 0 if a[0] > a[1] else 1
    high = 2 if a[2] > a[3] else 3
    if a[low] > a[high]:
        if a[low ^ 1] > a[high]:
            return low ^ 1, low
        return high, low
    if a[high ^ 1] > a[low]:
        return high ^ 1, high
    return low, high


def _swapped(k: list[float], low: int, high: int) -> list[float]:
    """A quarter turn swaps two factors; with w among the two components it turns around the other one."""
    if high == 3:
        high = (low + 1) % 3
        low = 3 - high - low
    swapped = k[:]
    swapped[low], swapped[high] = k[high], k[low]
    return swapped
