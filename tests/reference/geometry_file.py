"""The bytes of a geometry file."""

import struct

from .bones import MOST_BONES, bone_map, bone_records
from .bounds import Bounds
from .console import Console
from .model import Model, Skeleton
from .parts import hookup_pool, locator_records, ordered_pieces, part_records
from .pieces import PieceRecord, check_corners, check_piece, index_data, lay_out_piece, positions, vertex_data
from .skinning import MOST_INFLUENCES, check_bones, select_skin, skin_piece
from .write_failed import WriteFailed

SIGNATURE = 0x4B6D6715
HEADER_SIZE = 112


def geometry_file(model: Model, skeleton: Skeleton | None, tangents: bool, console: Console) -> bytes:
    pool = hookup_pool(model)
    _check_limits(model)
    bones = bone_records(model, skeleton) if skeleton is not None else []
    locators = locator_records(model, pool)
    parts = part_records(model)
    records = _piece_records(model, skeleton, tangents, console)
    pool_bytes = b"".join(hookup + b"\0" for hookup in pool)
    pool_bytes = pool_bytes.ljust((len(pool_bytes) + 3) // 4 * 4, b"\0")
    vertices = b"".join(vertex_data(model, record, tangents) for record in records)
    indices = b"".join(index_data(record) for record in records)

    sections = [b"".join(bones), b"".join(parts), b"".join(locators)]
    pieces_size = 100 * len(records)
    offsets = _running_offsets([*map(len, sections), pieces_size, len(pool_bytes), len(vertices)])
    vertex_offset, index_offset = offsets[5], offsets[6]
    sections.append(b"".join(record.packed(vertex_offset, index_offset) for record in records))
    sections += [pool_bytes, vertices, indices]
    sizes = [len(section) for section in sections]
    return _header(model, skeleton, offsets, sizes[4:]) + b"".join(sections)


def _running_offsets(sizes: list[int]) -> list[int]:
    """Where each section begins, one more than there are sizes."""
    offsets = [HEADER_SIZE]
    for size in sizes:
        offsets.append(offsets[-1] + size)
    return offsets


def _header(model: Model, skeleton: Skeleton | None, offsets: list[int], sizes: list[int]) -> bytes:
    bones, parts, locators, pieces, pool, vertices, indices = offsets
    pool_size, vertex_size, index_size = sizes
    return struct.pack(
        "<6IQ10f10I",
        SIGNATURE,
        len(model.pieces),
        len(model.parts),
        len(model.bone_names),
        MOST_INFLUENCES if model.bone_names else 0,
        len(model.locators),
        skeleton.hash if skeleton is not None else 0,
        *_model_bounds(model).fields(),
        bones,
        parts,
        locators,
        pieces,
        pool,
        pool_size,
        vertices,
        vertex_size,
        indices,
        index_size,
    )


def _model_bounds(model: Model) -> Bounds:
    """Over all positions, in the model's order of pieces."""
    bounds = Bounds()
    for piece in model.pieces:
        for point in positions(piece):
            bounds.add(point)
    return bounds


def _check_limits(model: Model) -> None:
    if len(model.bone_names) > MOST_BONES:
        raise WriteFailed(
            b"[kim2kmg] %s: bone count %d exceeds the max amount of supported bones (%d)"
            % (model.source_name, len(model.bone_names), MOST_BONES)
        )
    if not model.parts:
        raise WriteFailed(b"[kim2kmg] %s: no parts present!" % model.source_name)


def _piece_records(
    model: Model, skeleton: Skeleton | None, tangents: bool, console: Console
) -> list[PieceRecord]:
    pieces = ordered_pieces(model)
    skin = select_skin(model)
    skinned = bool(model.bone_names)
    bones: list[int] = []
    if skin is not None and skeleton is not None:
        bones = bone_map(model, skeleton)
        check_bones(model, skin, len(bones))
    records: list[PieceRecord] = []
    vertex_size = index_size = 0
    for piece in pieces:
        check_piece(model, piece)
        check_corners(model, piece)
        if skinned and skin is None:
            raise WriteFailed(b"[kim2kmg] %s: missing skinstream" % model.source_name)
        record = lay_out_piece(piece, tangents, skinned, vertex_size, index_size)
        if skinned and skin is not None:
            record.skinning = skin_piece(model, piece, skin, bones, console)
        vertex_size += record.vertex_bytes()
        index_size += record.index_bytes()
        records.append(record)
    return records
