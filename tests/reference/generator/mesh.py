"""Random lists of triangles: of every shape that an ordering for a vertex cache may find hard."""

import random

Corners = list[int]


def random_triangles(rng: random.Random, vertex_count: int, count: int) -> list[Corners]:
    if vertex_count < 3:
        return [_unsound(rng, vertex_count) for _ in range(count)]
    shape = rng.choice((*CONNECTED, _islands))
    triangles = shape(rng, vertex_count, count)
    if rng.random() < 0.2:
        rng.shuffle(triangles)
    for number in range(count):
        if rng.random() < 0.02:
            triangles[number] = [rng.randrange(vertex_count) for _ in range(3)]
        if rng.random() < 0.0005:
            triangles[number] = _unsound(rng, vertex_count)
    return triangles


def _unsound(rng: random.Random, vertex_count: int) -> Corners:
    return [rng.choice((0, vertex_count, 65535, 0xFFFFFFFF)) for _ in range(3)]


def _scattered(rng: random.Random, vertex_count: int, count: int) -> list[Corners]:
    return [rng.sample(range(vertex_count), 3) for _ in range(count)]


def _grid(rng: random.Random, vertex_count: int, count: int) -> list[Corners]:
    """Squares of two triangles each, row by row."""
    width = max(2, rng.randrange(2, vertex_count))
    triangles = []
    for number in range(count):
        a = number // 2 % vertex_count
        b, c, d = ((a + step) % vertex_count for step in (1, width, width + 1))
        triangles.append([a, b, c] if number % 2 == 0 else [b, d, c])
    return triangles


def _fan(rng: random.Random, vertex_count: int, count: int) -> list[Corners]:
    """All triangles around one vertex, which stands at any corner."""
    hub = rng.randrange(vertex_count)
    rim = [vertex for vertex in range(vertex_count) if vertex != hub]
    triangles = []
    for number in range(count):
        corners = [hub, rim[number % len(rim)], rim[(number + 1) % len(rim)]]
        turn = rng.randrange(3) if number % 5 == 0 else 0
        triangles.append(corners[turn:] + corners[:turn])
    return triangles


def _crossed_fan(rng: random.Random, vertex_count: int, count: int) -> list[Corners]:
    """Around one vertex too, but the rim is gone along in several widths, so that its vertices are met again late."""
    hub = rng.randrange(vertex_count)
    rim = [vertex for vertex in range(vertex_count) if vertex != hub]
    widths = [width % (len(rim) - 1) + 1 if len(rim) > 2 else 1 for width in (0, 6, 12, 29)]
    triangles = []
    for number in range(count):
        place = number % len(rim)
        width = widths[number // len(rim) % len(widths)]
        triangles.append([hub, rim[place], rim[(place + width) % len(rim)]])
    return triangles


def _hubs(rng: random.Random, vertex_count: int, count: int) -> list[Corners]:
    """A few vertices have a part in nearly every triangle."""
    hubs = rng.sample(range(vertex_count), min(vertex_count, rng.randrange(1, 5)))
    triangles = []
    for _ in range(count):
        corners = rng.sample(hubs, min(len(hubs), rng.randrange(1, 3)))
        while len(corners) < 3:
            corners.append(rng.choice([vertex for vertex in range(vertex_count) if vertex not in corners]))
        if rng.random() < 0.5:
            rng.shuffle(corners)
        triangles.append(corners)
    return triangles


def _repeated(rng: random.Random, vertex_count: int, count: int) -> list[Corners]:
    """The same few triangles again and again."""
    few = _scattered(rng, vertex_count, rng.randrange(1, 4))
    return [rng.choice(few)[:] for _ in range(count)]


def _islands(rng: random.Random, vertex_count: int, count: int) -> list[Corners]:
    """Meshes that share no vertex, one after the other or all at once."""
    triangles: list[Corners] = []
    first = 0
    while len(triangles) < count:
        size = rng.randrange(3, max(4, vertex_count // 2))
        first = first if first + size <= vertex_count else 0
        island = rng.choice(CONNECTED)(rng, min(size, vertex_count), rng.randrange(1, count + 1))
        triangles += [[first + corner for corner in corners] for corners in island]
        first += size
    if rng.random() < 0.3:
        rng.shuffle(triangles)
    return triangles[:count]


CONNECTED = (_scattered, _grid, _fan, _crossed_fan, _hubs, _repeated)
