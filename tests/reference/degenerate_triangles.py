"""The pass that drops triangles without area."""

import struct

from .console import Console
from .ieee import f32, square_root
from .model import Model, Piece

TOLERANCE = f32(1e-5)
LEFT_ALONE = (b"rvk2.leaves.", b"rvk2.dif.billb.")

Point = tuple[float, float, float]


def discard_degenerated_triangles(model: Model, console: Console) -> None:
    for piece in model.pieces:
        if not effect_of(model, piece).startswith(LEFT_ALONE):
            _discard_in_piece(model, piece, console)


def effect_of(model: Model, piece: Piece) -> bytes:
    """The effect of the piece's material; empty when there is no such material."""
    return model.materials[piece.material].effect if piece.material < len(model.materials) else b""


def _discard_in_piece(model: Model, piece: Piece, console: Console) -> None:
    stream = piece.stream(b"_POSITION")
    if stream is None or stream.format != "FLOAT3":
        console.error(
            b"[kim2kmg] %s: discard_degenerated_triangles could not find a float3 _POSITION stream in piece %d"
            % (model.source_name, piece.index)
        )
        return
    positions = [struct.unpack("<3f", item) for item in stream.items]
    kept = [corners for corners in piece.triangles if not _is_degenerate(corners, positions)]
    removed = len(piece.triangles) - len(kept)
    if removed:
        piece.triangles = kept
        piece.triangle_count = len(kept)
        console.info(
            b"[kim2kmg] %s: removed %d degenerated triangles from piece %d"
            % (model.source_name, removed, piece.index)
        )


def _is_degenerate(corners: tuple[int, int, int], positions: list[Point]) -> bool:
    """Whether half the perimeter is as long as a side; a triangle that points outside the stream is not judged."""
    if any(corner >= len(positions) for corner in corners):
        return False
    a, b, c = (positions[corner] for corner in corners)
    sides = (_distance(a, b), _distance(b, c), _distance(c, a))
    ab, bc, ca = sides
    half = f32(f32(f32(bc + ab) + ca) * 0.5)
    return not all(abs(f32(half - side)) >= TOLERANCE for side in sides)


def _distance(start: Point, end: Point) -> float:
    x, y, z = (f32(e - s) for s, e in zip(start, end))
    return f32(square_root(f32(f32(f32(x * x) + f32(y * y)) + f32(z * z))))
