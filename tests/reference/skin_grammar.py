"""The grammar of the two forms of skin: one Skin for the model, or one PieceSkin for every piece."""

from .ieee import f32
from .item_tuples import read_format, read_tuple
from .model import NOWHERE, PieceSkin, PieceSkinItem, SkinItem, SkinStream
from .scanner import FLOAT, INTEGER
from .token_reader import TokenReader


def read_skin(reader: TokenReader) -> list[SkinStream]:
    reader.open("SKIN")
    count = reader.integer_field("STREAMCOUNT")
    streams = [_read_skin_stream(reader)]
    while reader.next_is("SKINSTREAM"):
        streams.append(_read_skin_stream(reader))
    reader.close()
    reader.check(len(streams) == count, b"incorrect number of Skin streams")
    return streams


class _SkinLimits:
    """How many items, weights and clones a skin stream may still take."""

    def __init__(self, reader: TokenReader) -> None:
        self.items = reader.integer_field("ITEMCOUNT")
        self.weights = reader.integer_field("TOTALWEIGHTCOUNT")
        self.clones = reader.integer_field("TOTALCLONECOUNT")


def _read_skin_stream(reader: TokenReader) -> SkinStream:
    reader.open("SKINSTREAM")
    read_format(reader)
    stream = SkinStream(reader.string_field("TAG"))
    limits = _SkinLimits(reader)
    _read_skin_item(reader, stream, limits)
    while reader.next_is(INTEGER):
        _read_skin_item(reader, stream, limits)
    reader.close()
    return stream


def _read_skin_item(reader: TokenReader, stream: SkinStream, limits: _SkinLimits) -> None:
    position = reader.integer()
    reader.take("(")
    read_tuple(reader)
    reader.check(position == len(stream.items), b"inconsistent SkinStream item order")
    reader.check(len(stream.items) < limits.items, b"inconsistent SkinStream item type/count")
    item = SkinItem()
    stream.items.append(item)
    _read_skin_weights(reader, item, limits)
    _read_skin_clones(reader, item, limits)
    reader.take(")")


def _read_skin_weights(reader: TokenReader, item: SkinItem, limits: _SkinLimits) -> None:
    declared = reader.integer_field("WEIGHTS")
    while reader.next_is(INTEGER):
        pair = _read_weight(reader)
        reader.check(len(item.weights) < declared and limits.weights > 0, b"cannot add weight pair")
        item.weights.append(pair)
        limits.weights -= 1
    reader.check(bool(item.weights) or declared == 0, b"invalid Weights count")


def _read_skin_clones(reader: TokenReader, item: SkinItem, limits: _SkinLimits) -> None:
    declared = reader.integer_field("CLONES")
    while reader.next_is(INTEGER):
        pair = (reader.integer(), reader.integer())
        reader.check(len(item.clones) < declared and limits.clones > 0, b"cannot add clone pair")
        item.clones.append(pair)
        limits.clones -= 1
    reader.check(bool(item.clones) or declared == 0, b"invalid Clones count")


def _read_weight(reader: TokenReader) -> tuple[int, float]:
    """A bone and its weight, which may be written as an integer."""
    bone = reader.integer()
    return bone, f32(float(reader.take(FLOAT, INTEGER).value))


def read_piece_skin(reader: TokenReader, piece_skins: list[PieceSkin]) -> None:
    """Reads one PieceSkin and appends it to those already there; they come in the order of the pieces."""
    reader.open("PIECESKIN")
    piece_index = reader.integer_field("PIECE")
    stream_count = reader.integer_field("STREAMCOUNT")
    repeated = any(skin.piece_index == piece_index for skin in piece_skins)
    reader.check(not repeated, b"multiple PieceSkin-s with the same piece index")
    reader.check(piece_index == len(piece_skins), b"invalid PieceIndex")
    reader.check(stream_count == 1, b"only single piece skin stream is expected")
    skin = PieceSkin(piece_index)
    _read_piece_skin_stream(reader, skin)
    piece_skins.append(skin)
    reader.close()


class _PieceSkinTotals:
    """What a piece-skin stream declares about itself."""

    def __init__(self, reader: TokenReader) -> None:
        self.items = reader.integer_field("ITEMCOUNT")
        self.weights = reader.integer_field("TOTALWEIGHTCOUNT")
        self.vertex_indices = reader.integer_field("TOTALVERTEXINDEXCOUNT")


def _read_piece_skin_stream(reader: TokenReader, skin: PieceSkin) -> None:
    reader.open("PIECESKINSTREAM")
    stream_format = read_format(reader)
    tag = reader.string_field("TAG")
    totals = _PieceSkinTotals(reader)
    reader.check(stream_format == "FLOAT3", b"only FLOAT3 is allowed")
    reader.check(tag == b"_POSITION", b"only _POSITION is allowed")
    reader.check(totals.items != 0, b"invalid item_count")
    reader.check(totals.weights != 0, b"invalid total_weight_count")
    reader.check(totals.vertex_indices != 0, b"invalid total_vertex_index_count")
    _read_piece_skin_item(reader, skin, totals)
    while reader.next_is(INTEGER):
        _read_piece_skin_item(reader, skin, totals)
    reader.close()
    _finish_piece_skin(reader, skin, totals)


def _read_piece_skin_item(reader: TokenReader, skin: PieceSkin, totals: _PieceSkinTotals) -> None:
    position = reader.integer()
    reader.take("(")
    reader.take("(")
    for _ in range(3):
        reader.float()
    reader.take(")")
    reader.check(len(skin.items) < totals.items, b"input item_count is smaller than actual item count")
    reader.check(position == len(skin.items), b"item index should be incremental from zero")
    item = PieceSkinItem(position, len(skin.weights), 0, len(skin.vertex_indices), 0)
    skin.items.append(item)
    _read_piece_skin_weights(reader, skin, item, totals)
    _read_vertex_indices(reader, skin, item, totals)
    reader.take(")")


def _read_piece_skin_weights(
    reader: TokenReader, skin: PieceSkin, item: PieceSkinItem, totals: _PieceSkinTotals
) -> None:
    differ = b"weight_count and actual weight count differ"
    item.weight_count = reader.integer_field("WEIGHTS")
    reader.check(item.weight_count != 0, b"invalid weight count of item")
    added = 0
    while added == 0 or reader.next_is(INTEGER):
        pair = _read_weight(reader)
        reader.check(added < item.weight_count, differ)
        reader.check(
            len(skin.weights) < totals.weights, b"total_weight_count is smaller than actual weight count"
        )
        skin.weights.append(pair)
        added += 1
    reader.check(added == item.weight_count, differ)


def _read_vertex_indices(
    reader: TokenReader, skin: PieceSkin, item: PieceSkinItem, totals: _PieceSkinTotals
) -> None:
    item.vertex_index_count = reader.integer_field("VERTEXINDICES")
    reader.check(item.vertex_index_count != 0, b"invalid vertex index count of item")
    added = 0
    while added == 0 or reader.next_is(INTEGER):
        vertex = reader.integer()
        reader.check(
            added < item.vertex_index_count, b"vertex_index_count and actual vertex index count differ"
        )
        reader.check(
            len(skin.vertex_indices) < totals.vertex_indices,
            b"total_vertex_index_count is smaller than actual vertex index count",
        )
        reader.check(vertex < totals.vertex_indices, b"vertex index exceeds total_vertex_index_count")
        skin.vertex_indices.append(vertex)
        added += 1
    reader.check(
        added == item.vertex_index_count,
        b"input vertex_index_count and actual vertex index count for the item differ",
    )


def _finish_piece_skin(reader: TokenReader, skin: PieceSkin, totals: _PieceSkinTotals) -> None:
    reader.check(len(skin.items) == totals.items, b"input item_count and actual item count are different")
    reader.check(
        len(skin.weights) == totals.weights,
        b"input total_weight_count and actual total weight count are different",
    )
    reader.check(
        len(skin.vertex_indices) == totals.vertex_indices,
        b"input total_vertex_input_count and actual total vertex index count are different",
    )
    skin.vertex_items = [NOWHERE] * totals.vertex_indices
    for item in skin.items:
        for vertex in skin.vertex_indices_of(item):
            skin.vertex_items[vertex] = item.item_index
