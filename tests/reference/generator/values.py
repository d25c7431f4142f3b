"""Random numbers, names and matrices of the kinds that decide something."""

import math
import random

from ..ieee import f32


def coordinate(rng: random.Random) -> float:
    kind = rng.random()
    if kind < 0.5:
        return rng.randrange(-2, 3) * 0.5
    if kind < 0.9:
        return f32(rng.uniform(-3.0, 3.0))
    if kind < 0.96:
        return f32(rng.uniform(-3e-5, 3e-5))
    return rng.choice((-0.0, 1e-40, 1e-20, 3e19, -1e25, 1.0000001, 123456.789))


def colour(rng: random.Random) -> float:
    edges = (0.0, 0.5, 1.0, 2.0, 0.998, 0.49999997, 0.99999994, 1.0000001, 0.498, 0.502, -1.0, 2.5, 1e10, -0.0)
    return rng.choice(edges) if rng.random() < 0.5 else rng.uniform(0.0, 2.0)


def factor(rng: random.Random) -> float:
    edges = (3.9, 255.0, 256.0, -1.0, -0.5, 255.99, 65535.5, 2147483520.0, -2147483648.0)
    return rng.choice(edges) if rng.random() < 0.3 else float(rng.randrange(256))


def weight(rng: random.Random) -> float:
    edges = (0.0, 0.001, 0.00196, 0.00197, -0.01, -0.001, 1.0, 1.5, 300.0, 0.2, 0.25, 0.4, 0.5, 0.85, 1e30)
    return rng.choice(edges) if rng.random() < 0.3 else rng.uniform(0.0, 1.0)


def name(rng: random.Random, stem: bytes) -> bytes:
    """A name that packs into 64 bits, but for a rare one."""
    if rng.random() < 0.005:
        return rng.choice((b"a.b", b"thirteen_char", b"", b"left hand", b"\xc3\xa4", b"TwelveChars_"))
    return stem + rng.choice((b"", b"_", b"X")) + b"%d" % rng.randrange(1000)


def bone_matrix(rng: random.Random) -> list[float]:
    """Turns, stretches, mirrors, moves, and some that nothing can be done with."""
    linear = _linear_part(rng)
    rows = [row + [coordinate(rng)] for row in linear] + [[0.0, 0.0, 0.0, 1.0]]
    if rng.random() < 0.02:
        rows[3] = [coordinate(rng) for _ in range(4)]
    return [f32(value) for row in rows for value in row]


def _linear_part(rng: random.Random) -> list[list[float]]:
    kind = rng.random()
    if kind < 0.15:
        return _diagonal([rng.choice((1.0, -1.0, 2.0, 0.5, 1e-3, 1e3)) for _ in range(3)])
    if kind < 0.3:
        return _permutation(rng)
    if kind < 0.4:
        return [[coordinate(rng) for _ in range(3)] for _ in range(3)]
    if kind < 0.43:
        return _singular(rng)
    stretch = [rng.choice((1.0, 1.0, 2.0, 0.5, -1.0, rng.uniform(0.1, 4.0))) for _ in range(3)]
    axes = _rotation(rng)
    scaled = _product(_product(axes, _diagonal(stretch)), _transpose(axes))
    return _product(_rotation(rng), scaled)


def _diagonal(values: list[float]) -> list[list[float]]:
    return [[values[i] if i == j else 0.0 for j in range(3)] for i in range(3)]


def _permutation(rng: random.Random) -> list[list[float]]:
    order = rng.sample(range(3), 3)
    return [[rng.choice((1.0, -1.0)) if order[i] == j else 0.0 for j in range(3)] for i in range(3)]


def _singular(rng: random.Random) -> list[list[float]]:
    rows = [[float(rng.randrange(-2, 3)) for _ in range(3)] for _ in range(3)]
    rows[rng.randrange(3)] = rows[rng.randrange(3)][:]
    if rng.random() < 0.3:
        rows[rng.randrange(3)] = [0.0, 0.0, 0.0]
    return rows


def _rotation(rng: random.Random) -> list[list[float]]:
    axis = [rng.gauss(0.0, 1.0) for _ in range(3)]
    length = math.sqrt(sum(a * a for a in axis)) or 1.0
    x, y, z = (a / length for a in axis)
    angle = rng.choice((0.0, math.pi / 2, math.pi, rng.uniform(-math.pi, math.pi)))
    c, s = math.cos(angle), math.sin(angle)
    d = 1.0 - c
    return [
        [c + x * x * d, x * y * d - z * s, x * z * d + y * s],
        [y * x * d + z * s, c + y * y * d, y * z * d - x * s],
        [z * x * d - y * s, z * y * d + x * s, c + z * z * d],
    ]


def _product(a: list[list[float]], b: list[list[float]]) -> list[list[float]]:
    return [[sum(a[i][k] * b[k][j] for k in range(3)) for j in range(3)] for i in range(3)]


def _transpose(m: list[list[float]]) -> list[list[float]]:
    return [list(column) for column in zip(*m)]
