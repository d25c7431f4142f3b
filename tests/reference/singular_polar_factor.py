"""The rotation of a matrix whose determinant is zero, by Householder reflections."""

from .ieee import divide, f32, square_root
from .matrices import IDENTITY, Matrix, Vector, cross, dot, transpose


def rank_2_factor(m: Matrix, adjugate: Matrix) -> Matrix:
    column = _largest_column(adjugate)
    if column < 0:
        return _rank_1_factor(m)
    first = _reflector([row[column] for row in adjugate])
    reflected = _reflect_columns(m, first)
    second = _reflector(cross(reflected[0], reflected[1]))
    factor = _corner_factor(_reflect_rows(reflected, second))
    if factor is None:
        return _rank_1_factor(m)
    return _reflect_rows(_reflect_columns(factor, first), second)


def _corner_factor(m: Matrix) -> Matrix | None:
    """The rotation or mirrored rotation nearest to the upper left 2 x 2 corner; none when nothing is left there."""
    w, x, y, z = m[0][0], m[0][1], m[1][0], m[1][1]
    rotates = f32(w * z) > f32(x * y)
    a, b = (f32(z + w), f32(y - x)) if rotates else (f32(z - w), f32(y + x))
    length = f32(square_root(f32(f32(a * a) + f32(b * b))))
    if not length > 0.0:
        return None
    a, b = f32(divide(a, length)), f32(divide(b, length))
    first_row = [a, -b, 0.0] if rotates else [-a, b, 0.0]
    return [first_row, [b, a, 0.0], [0.0, 0.0, 1.0]]


def _rank_1_factor(m: Matrix) -> Matrix:
    column = _largest_column(m)
    if column < 0:
        return IDENTITY
    first = _reflector([row[column] for row in m])
    m = _reflect_columns(m, first)
    second = _reflector(m[2])
    m = _reflect_rows(m, second)
    factor = [row[:] for row in IDENTITY]
    if m[2][2] < 0.0:
        factor[2][2] = -1.0
    return _reflect_rows(_reflect_columns(factor, first), second)


def _largest_column(m: Matrix) -> int:
    """The column of the first element of greatest magnitude; -1 when all are zero."""
    greatest, column = 0.0, -1
    for row in m:
        for j, value in enumerate(row):
            if abs(value) > greatest:
                greatest, column = abs(value), j
    return column


def _reflector(v: Vector) -> Vector:
    """The direction whose reflection brings the vector onto the third axis."""
    length = f32(square_root(dot(v, v)))
    r = [v[0], v[1], f32(v[2] + (-length if v[2] < 0.0 else length))]
    scale = f32(square_root(f32(divide(2.0, dot(r, r)))))
    return [f32(value * scale) for value in r]


def _reflect_columns(m: Matrix, r: Vector) -> Matrix:
    return transpose(_reflect_rows(transpose(m), r))


def _reflect_rows(m: Matrix, r: Vector) -> Matrix:
    reflected = []
    for row in m:
        along = dot(r, row)
        reflected.append([f32(value - f32(component * along)) for value, component in zip(row, r)])
    return reflected
