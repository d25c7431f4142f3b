"""Bounding sphere and box, grown position by position in single precision."""

from .ieee import divide, f32, one_nan, square_root

LARGEST = f32(3.4028235e38)

Point = tuple[float, float, float]


class Bounds:
    def __init__(self) -> None:
        self.centre: Point | None = None
        self.radius = 0.0
        self.minimum: Point = (LARGEST,) * 3
        self.maximum: Point = (-LARGEST,) * 3

    def add(self, point: Point) -> None:
        self.minimum = tuple(p if p < m else m for p, m in zip(point, self.minimum))
        self.maximum = tuple(p if p > m else m for p, m in zip(point, self.maximum))
        if self.centre is None:
            self.centre = point
        else:
            self._grow_sphere(point)

    def _grow_sphere(self, point: Point) -> None:
        """A position outside moves the centre towards it and becomes part of the surface."""
        away = [f32(p - c) for p, c in zip(point, self.centre)]
        squares = [f32(a * a) for a in away]
        distance_squared = f32(f32(squares[0] + squares[1]) + squares[2])
        if not distance_squared > f32(self.radius * self.radius):
            return
        distance = f32(square_root(distance_squared))
        unit = [f32(divide(a, distance)) for a in away]
        self.centre = tuple(
            f32(f32(f32(c - f32(u * self.radius)) + p) * 0.5) for c, u, p in zip(self.centre, unit, point)
        )
        self.radius = f32(f32(self.radius + distance) * 0.5)

    def fields(self) -> list[float]:
        """Sphere centre and radius, box minimum and maximum; a sphere of nothing is all zeros."""
        values = [*(self.centre or (0.0, 0.0, 0.0)), self.radius, *self.minimum, *self.maximum]
        return [one_nan(value) for value in values]
