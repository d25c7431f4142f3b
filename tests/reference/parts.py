"""Part records, locator records and the order of pieces."""

import struct

from .model import NOWHERE, Locator, Model, Part, Piece
from .name_tokens import pack_name
from .write_failed import WriteFailed

LOCATOR_SIZE = 44


def hookup_pool(model: Model) -> dict[bytes, int]:
    """The distinct hookups in the order of their first use, each with its offset."""
    pool: dict[bytes, int] = {}
    length = 0
    for locator in model.locators:
        if locator.hookup and locator.hookup not in pool:
            pool[locator.hookup] = length
            length += len(locator.hookup) + 1
    return pool


def locator_records(model: Model, pool: dict[bytes, int]) -> list[bytes]:
    """One record per locator that a part lists; records nobody fills stay zero."""
    records: list[bytes] = []
    count = len(model.locators)
    for part in model.parts:
        for number in part.locators:
            _check_entry(model, part, b"locator", number, count)
            if len(records) == count:
                raise WriteFailed(
                    b"[kim2kmg] %s: the parts list more locators than the model has (%d)"
                    % (model.source_name, count)
                )
            records.append(_packed_locator(model, model.locators[number], pool))
    return records + [bytes(LOCATOR_SIZE)] * (count - len(records))


def _check_entry(model: Model, part: Part, kind: bytes, number: int, count: int) -> None:
    """A part may only list what there is."""
    if number >= count:
        raise WriteFailed(
            b"[kim2kmg] %s: part '%s' lists %s %d of %d" % (model.source_name, part.name, kind, number, count)
        )


def _packed_locator(model: Model, locator: Locator, pool: dict[bytes, int]) -> bytes:
    token = pack_name(locator.name)
    if token is None:
        raise WriteFailed(
            b"[kim2kmg] %s: locator name '%s' invalid (cannot be token)" % (model.source_name, locator.name)
        )
    if not all(scale > 0.0 for scale in locator.scale):
        raise WriteFailed(
            b"[kim2kmg] %s: locator name '%s' has invalid (negative or zero) scale"
            % (model.source_name, locator.name)
        )
    return struct.pack(
        "<Q3ff4fI", token, *locator.position, 1.0, *locator.rotation, pool.get(locator.hookup, NOWHERE)
    )


def part_records(model: Model) -> list[bytes]:
    records = []
    first_piece = first_locator = 0
    for part in model.parts:
        token = pack_name(part.name)
        if token is None:
            raise WriteFailed(
                b"[kim2kmg] %s: part name '%s' invalid (cannot be token)" % (model.source_name, part.name)
            )
        counts = (len(part.pieces), first_piece, len(part.locators), first_locator)
        records.append(struct.pack("<Q4I", token, *counts))
        first_piece += len(part.pieces)
        first_locator += len(part.locators)
    return records


def ordered_pieces(model: Model) -> list[Piece]:
    """The pieces part by part."""
    pieces = []
    for part in model.parts:
        for number in part.pieces:
            _check_entry(model, part, b"piece", number, len(model.pieces))
            pieces.append(model.pieces[number])
    if len(pieces) != len(model.pieces):
        raise WriteFailed(
            b"[kim2kmg] %s: incomplete piece <-> part assignment! Re-export!" % model.source_name
        )
    return pieces
