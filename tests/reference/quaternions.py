"""Quaternions as (x, y, z, w), in single precision."""

from .ieee import divide, f32, square_root
from .matrices import Matrix

Quaternion = tuple[float, float, float, float]


def product(a: Quaternion, b: Quaternion) -> Quaternion:
    ax, ay, az, aw = a
    bx, by, bz, bw = b

    def total(p: float, q: float, r: float, s: float) -> float:
        return f32(f32(f32(f32(p) + f32(q)) + f32(r)) + f32(s))

    return (
        total(aw * bx, ax * bw, ay * bz, -(az * by)),
        total(aw * by, ay * bw, az * bx, -(ax * bz)),
        total(aw * bz, az * bw, ax * by, -(ay * bx)),
        total(aw * bw, -(ax * bx), -(ay * by), -(az * bz)),
    )


def conjugate(q: Quaternion) -> Quaternion:
    return -q[0], -q[1], -q[2], q[3]


def of_rotation(r: Matrix) -> Quaternion:
    """The quaternion of a rotation matrix, from its greatest component."""
    trace = f32(f32(r[0][0] + r[1][1]) + r[2][2])
    if trace >= 0.0:
        root = square_root(trace + 1.0)
        w, scale = f32(0.5 * root), divide(0.5, root)
        return (
            f32(f32(r[2][1] - r[1][2]) * scale),
            f32(f32(r[0][2] - r[2][0]) * scale),
            f32(f32(r[1][0] - r[0][1]) * scale),
            w,
        )
    i = 1 if r[1][1] > r[0][0] else 0
    i = 2 if r[2][2] > r[i][i] else i
    j, k = (i + 1) % 3, (i + 2) % 3
    root = square_root(f32(f32(r[i][i] - f32(r[j][j] + r[k][k])) + 1.0))
    scale = divide(0.5, root)
    q = [0.0] * 4
    q[i] = f32(0.5 * root)
    q[j] = f32(f32(r[i][j] + r[j][i]) * scale)
    q[k] = f32(f32(r[k][i] + r[i][k]) * scale)
    q[3] = f32(f32(r[k][j] - r[j][k]) * scale)
    return q[0], q[1], q[2], q[3]
