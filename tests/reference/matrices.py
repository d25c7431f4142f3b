"""Small operations on 3 x 3 matrices in single precision."""

from .ieee import f32

Matrix = list[list[float]]
Vector = list[float]

IDENTITY: Matrix = [[1.0, 0.0, 0.0], [0.0, 1.0, 0.0], [0.0, 0.0, 1.0]]


def transpose(m: Matrix) -> Matrix:
    return [[m[row][column] for row in range(3)] for column in range(3)]


def dot(a: Vector, b: Vector) -> float:
    return f32(f32(f32(a[0] * b[0]) + f32(a[1] * b[1])) + f32(a[2] * b[2]))


def cross(a: Vector, b: Vector) -> Vector:
    return [
        f32(f32(a[1] * b[2]) - f32(a[2] * b[1])),
        f32(f32(a[2] * b[0]) - f32(a[0] * b[2])),
        f32(f32(a[0] * b[1]) - f32(a[1] * b[0])),
    ]


def multiply(a: Matrix, b: Matrix) -> Matrix:
    columns = transpose(b)
    return [[dot(row, column) for column in columns] for row in a]


def inf_norm(m: Matrix) -> float:
    """The largest sum of absolute values of a row; sums that are not numbers do not count."""
    largest = 0.0
    for row in m:
        size = f32(f32(abs(row[0]) + abs(row[1])) + abs(row[2]))
        largest = size if size > largest else largest
    return largest


def one_norm(m: Matrix) -> float:
    """The largest sum of absolute values of a column."""
    return inf_norm(transpose(m))
