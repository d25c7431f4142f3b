"""The inverse of a bone matrix by cofactors, in single precision."""

from .ieee import divide, f32

SMALLEST_DETERMINANT = f32(0.00001)


def inverse(matrix: list[float]) -> tuple[list[float], bool]:
    """The inverse, and whether there is one; without it the adjugate, not divided by anything."""
    adjugate = [_cofactor(matrix, row=i % 4, column=i // 4) for i in range(16)]
    determinant = f32(matrix[0] * adjugate[0])
    for k in (1, 2, 3):
        determinant = f32(determinant + f32(matrix[k] * adjugate[4 * k]))
    if not abs(determinant) >= SMALLEST_DETERMINANT:
        return adjugate, False
    factor = f32(divide(1.0, determinant))
    return [f32(value * factor) for value in adjugate], True


def _cofactor(matrix: list[float], row: int, column: int) -> float:
    rows = [r for r in range(4) if r != row]
    columns = [c for c in range(4) if c != column]
    minor = _determinant3([[matrix[4 * r + c] for c in columns] for r in rows])
    return minor if (row + column) % 2 == 0 else -minor


def _determinant3(m: list[list[float]]) -> float:
    first = f32(m[0][0] * _determinant2(m, 1, 2))
    second = f32(m[0][1] * _determinant2(m, 0, 2))
    third = f32(m[0][2] * _determinant2(m, 0, 1))
    return f32(f32(first - second) + third)


def _determinant2(m: list[list[float]], left: int, right: int) -> float:
    return f32(f32(m[1][left] * m[2][right]) - f32(m[1][right] * m[2][left]))
