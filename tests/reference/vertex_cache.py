"""The pass that joins equal vertices and orders triangles and vertices for a vertex cache."""

import struct
from dataclasses import dataclass, field

from .console import Console
from .ieee import f32, printed, square_root
from .model import NOWHERE, Model, Piece, PieceSkin, PieceSkinItem, Stream

CACHE_SIZE = 32
NEWEST_SCORE = 0.75
POSITION_SIZE = 12
DECAY_SCALE = f32(1.0 / 29.0)


@dataclass(eq=False)
class Vertex:
    """A distinct vertex."""

    old_index: int
    new_index: int = NOWHERE
    triangles: list["Triangle"] = field(default_factory=list)
    cache_score: float = 0.0
    valence_score: float = 0.0
    score: float = 0.0

    def rate_valence(self) -> None:
        """The fewer triangles are left, the better to be rid of the vertex."""
        count = len(self.triangles)
        self.valence_score = f32(2.0 / f32(square_root(float(count)))) if count else 0.0
        self.score = f32(self.valence_score + self.cache_score)

    def rate_place(self, place: int) -> None:
        """The newer in the cache, the better; the three newest are equal."""
        self.cache_score = _place_score(place)
        self.score = f32(self.cache_score + self.valence_score)


@dataclass(eq=False)
class Triangle:
    """A triangle that is not yet put out."""

    corners: list[Vertex]
    score: float = 0.0

    def rate(self) -> None:
        self.score = 0.0
        for corner in self.corners:
            self.score = f32(self.score + corner.score)


def _place_score(place: int) -> float:
    if place < 3:
        return NEWEST_SCORE
    if place >= CACHE_SIZE:
        return 0.0
    rest = f32(1.0 - f32((place - 3) * DECAY_SCALE))
    return f32(rest * f32(square_root(rest)))


def optimize_for_vertex_cache(model: Model, verbose: bool, console: Console) -> None:
    if model.skin is not None:
        return
    for position, piece in enumerate(model.pieces):
        vertices, triangles = piece.vertex_count, piece.triangle_count
        skin = model.piece_skins[position] if model.piece_skins else None
        merged = _optimize_piece(piece, skin)
        material = b"%d using material '%s' with effect '%s'" % ((position,) + _material_names(model, piece))
        if piece.vertex_count < vertices:
            console.info(
                b"[kim2kmg] %s: reduced number of vertices by %d from %d to %d in piece %s"
                % (model.source_name, vertices - piece.vertex_count, vertices, piece.vertex_count, material)
            )
            for point in merged if verbose else []:
                console.info(b"[kim2kmg] %s:    %s" % (model.source_name, b", ".join(map(printed, point))))
        if piece.triangle_count < triangles:
            console.info(
                b"[kim2kmg] %s: reduced number of triangles from %d to %d in piece %s"
                % (model.source_name, triangles, piece.triangle_count, material)
            )


def _material_names(model: Model, piece: Piece) -> tuple[bytes, bytes]:
    if piece.material >= len(model.materials):
        return b"", b""
    material = model.materials[piece.material]
    return material.alias, material.effect


def _optimize_piece(piece: Piece, skin: PieceSkin | None) -> list[tuple[float, float, float]]:
    """Rewrites the piece, unless it names vertices that it does not have; gives the positions of joined vertices."""
    if not piece.streams or piece.vertex_count == 0 or piece.triangle_count == 0:
        return []
    if any(corner >= piece.vertex_count for corners in piece.triangles for corner in corners):
        return []
    if skin is not None and len(skin.vertex_items) < piece.vertex_count:
        return []
    vertex_map, merged = _join_equal_vertices(piece, skin)
    remaining = _surviving_triangles(piece, vertex_map)
    emitted = _emit_all(vertex_map, remaining)
    piece.triangles = [tuple(corner.new_index for corner in triangle.corners) for triangle in emitted]
    piece.triangle_count = len(piece.triangles)
    for stream in piece.streams:
        stream.items = _reordered_items(stream, emitted)
        piece.vertex_count = len(stream.items)
    if skin is not None:
        _remap_piece_skin(skin, emitted)
    return merged


def _join_equal_vertices(
    piece: Piece, skin: PieceSkin | None
) -> tuple[list[Vertex], list[tuple[float, float, float]]]:
    """The distinct vertex of every vertex: the first one that is equal in all streams and in its weights."""
    distinct: list[Vertex] = []
    vertex_map: list[Vertex] = []
    merged: list[tuple[float, float, float]] = []
    positions = _position_items(piece)
    for i in range(piece.vertex_count):
        twin = next((vertex for vertex in distinct if _equal(piece, skin, vertex.old_index, i)), None)
        if twin is None:
            twin = Vertex(i)
            distinct.append(twin)
        elif positions is not None:
            point = struct.unpack("<3f", positions[i][:POSITION_SIZE])
            if point not in merged:
                merged.append(point)
        vertex_map.append(twin)
    return vertex_map, merged


def _position_items(piece: Piece) -> list[bytes] | None:
    """The items whose first three numbers are positions; none when they are shorter."""
    stream = piece.stream(b"_POSITION")
    return stream.items if stream is not None and len(stream.items[0]) >= POSITION_SIZE else None


def _equal(piece: Piece, skin: PieceSkin | None, a: int, b: int) -> bool:
    if any(stream.items[a] != stream.items[b] for stream in piece.streams):
        return False
    return skin is None or _weights_of_vertex(skin, a) == _weights_of_vertex(skin, b)


def _weights_of_vertex(skin: PieceSkin, vertex: int) -> list[tuple[int, float]] | None:
    item = skin.vertex_items[vertex]
    return skin.weights_of(skin.items[item]) if item < len(skin.items) else None


def _surviving_triangles(piece: Piece, vertex_map: list[Vertex]) -> list[Triangle]:
    """The triangles whose corners are still three vertices, in file order."""
    survivors = []
    for corners in piece.triangles:
        triangle = Triangle([vertex_map[corner] for corner in corners])
        if len(set(map(id, triangle.corners))) == 3:
            survivors.append(triangle)
            for corner in triangle.corners:
                corner.triangles.append(triangle)
    return survivors


def _emit_all(vertex_map: list[Vertex], remaining: list[Triangle]) -> list[Triangle]:
    """All triangles in their new order; their corners get new numbers in the order of use."""
    for vertex in vertex_map:
        vertex.rate_valence()
    for triangle in remaining:
        triangle.rate()
    emitted: list[Triangle] = []
    cache: list[Vertex] = []
    next_index = 0
    chosen = _best(remaining)
    while chosen is not None:
        remaining.remove(chosen)
        cache = _use(cache, chosen)
        following = _best_in_cache(cache)
        if following is None:
            following = _best(remaining)
        del cache[CACHE_SIZE:]
        for corner in chosen.corners:
            if corner.new_index == NOWHERE:
                corner.new_index = next_index
                next_index += 1
        emitted.append(chosen)
        chosen = following
    return emitted


def _use(cache: list[Vertex], triangle: Triangle) -> list[Vertex]:
    """The cache after the triangle's corners have been used; the triangle leaves their lists."""
    for corner in triangle.corners:
        cache = [corner] + [vertex for vertex in cache if vertex is not corner]
        place = corner.triangles.index(triangle)
        corner.triangles[place] = corner.triangles[-1]
        corner.triangles.pop()
        corner.rate_valence()
    for place, vertex in enumerate(cache):
        vertex.rate_place(place)
    return cache


def _best_in_cache(cache: list[Vertex]) -> Triangle | None:
    """The best triangle of the cached vertices, rated anew on the way."""
    best = None
    for vertex in cache:
        for triangle in vertex.triangles:
            triangle.rate()
            if best is None or triangle.score > best.score:
                best = triangle
    return best


def _best(triangles: list[Triangle]) -> Triangle | None:
    """The first triangle with the greatest score as it stands."""
    best = None
    for triangle in triangles:
        if best is None or triangle.score > best.score:
            best = triangle
    return best


def _reordered_items(stream: Stream, emitted: list[Triangle]) -> list[bytes]:
    items: list[bytes] = []
    for triangle in emitted:
        for corner in triangle.corners:
            if corner.new_index >= len(items):
                items.append(stream.items[corner.old_index])
    return items


def _remap_piece_skin(skin: PieceSkin, emitted: list[Triangle]) -> None:
    """Vertex indices become the new ones; those not used go, and the items that keep none go with their weights."""
    new_index = {corner.old_index: corner.new_index for triangle in emitted for corner in triangle.corners}
    items: list[PieceSkinItem] = []
    weights: list[tuple[int, float]] = []
    vertices: list[int] = []
    for item in skin.items:
        kept = [new_index[vertex] for vertex in skin.vertex_indices_of(item) if vertex in new_index]
        if kept:
            items.append(
                PieceSkinItem(len(items), len(weights), item.weight_count, len(vertices), len(kept))
            )
            weights += skin.weights_of(item)
            vertices += kept
    skin.items, skin.weights, skin.vertex_indices, skin.vertex_items = items, weights, vertices, []
