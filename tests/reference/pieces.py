"""Piece records, vertex data and index data."""

import struct
from dataclasses import dataclass, field

from .bounds import Bounds
from .model import NOWHERE, Model, Piece, Stream
from .skinning import PieceSkinning
from .uv_channels import texture_coordinate_map, uv_channels
from .vertex_packing import packed_colour, packed_factor
from .write_failed import WriteFailed

MOST_VERTICES = 65535
STREAM_OFFSETS = ("position", "normal", "uv", "colour", "factor", "tangent", "bone_indices", "bone_weights")


@dataclass
class PieceRecord:
    """A piece and where its data lies."""

    piece: Piece
    bounds: Bounds
    channels: list[Stream]
    stride: int
    offsets: dict[str, int]
    index_offset: int
    skinning: PieceSkinning | None = None
    vertex_order: list[int] = field(default_factory=list)

    def vertex_bytes(self) -> int:
        return self.stride * self.piece.vertex_count

    def index_bytes(self) -> int:
        return (self.piece.triangle_count * 6 + 3) // 4 * 4

    def packed(self, vertex_data: int, index_data: int) -> bytes:
        """The 100 bytes of the record, once it is known where vertex and index data begin."""
        piece = self.piece
        offsets = [self.offsets.get(name, NOWHERE) for name in STREAM_OFFSETS]
        return struct.pack(
            "<5I10f10I",
            piece.triangle_count * 3,
            piece.vertex_count,
            texture_coordinate_map(self.channels),
            len(self.channels),
            piece.material,
            *self.bounds.fields(),
            self.stride,
            *[offset if offset == NOWHERE else offset + vertex_data for offset in offsets],
            self.index_offset + index_data,
        )


def check_piece(model: Model, piece: Piece) -> None:
    name = model.source_name
    if piece.vertex_count == 0:
        raise WriteFailed(b"[kim2kmg] %s: piece %d has zero vertex count !" % (name, piece.index))
    position = piece.stream(b"_POSITION")
    if position is None or position.format != "FLOAT3":
        raise WriteFailed(
            b"[kim2kmg] %s: unavailable/incorrect _POSITION stream on piece %d" % (name, piece.index)
        )
    if piece.vertex_count > MOST_VERTICES:
        raise WriteFailed(
            b"[kim2kmg] %s: piece %d has more than allowed number of vertices (%d)"
            % (name, piece.index, MOST_VERTICES)
        )


def check_corners(model: Model, piece: Piece) -> None:
    for number, corners in enumerate(piece.triangles):
        for corner in corners:
            if corner >= piece.vertex_count:
                raise WriteFailed(
                    b"[kim2kmg] %s: triangle %d of piece %d uses vertex %d of %d"
                    % (model.source_name, number, piece.index, corner, piece.vertex_count)
                )


def lay_out_piece(piece: Piece, tangents: bool, skinned: bool, vertex_data: int, index_data: int) -> PieceRecord:
    """The record of a piece whose vertex and index data begin at the given places of their sections."""
    bounds = Bounds()
    for point in positions(piece):
        bounds.add(point)
    channels = uv_channels(piece)
    offsets = {"position": vertex_data, "normal": vertex_data + 12}
    end = vertex_data + 24
    for name, size, present in (
        ("tangent", 16, tangents and piece.stream(b"_TANGENT") is not None),
        ("colour", 4, True),
        ("factor", 4, piece.stream(b"_FACTOR") is not None),
        ("uv", 8 * len(channels), bool(channels)),
        ("bone_indices", 4, skinned),
        ("bone_weights", 4, skinned),
    ):
        if present:
            offsets[name] = end
            end += size
    return PieceRecord(piece, bounds, channels, end - vertex_data, offsets, index_data)


def positions(piece: Piece) -> list[tuple[float, float, float]]:
    """The positions of a piece; none when they are not three floats."""
    stream = piece.stream(b"_POSITION")
    if stream is None or stream.format != "FLOAT3":
        return []
    return [struct.unpack("<3f", item) for item in stream.items]


def vertex_data(model: Model, record: PieceRecord, tangents: bool) -> bytes:
    fields = _vertex_fields(model, record, tangents)
    data = bytearray()
    order = _vertex_order(record)
    for place, vertex in enumerate(order):
        for field_of in fields:
            data += field_of(vertex)
        if record.skinning is not None:
            data += record.skinning.bone_slots(place)
    return bytes(data)


def _vertex_order(record: PieceRecord) -> list[int]:
    if record.skinning is None:
        return list(range(record.piece.vertex_count))
    return record.skinning.source_vertices()


def _vertex_fields(model: Model, record: PieceRecord, tangents: bool) -> list:
    """For every field of a vertex a function from the vertex to its bytes; checks that the streams are there."""
    piece = record.piece
    fields = [_raw(_required(model, piece, b"_POSITION", "FLOAT3"))]
    fields.append(_raw(_required(model, piece, b"_NORMAL", "FLOAT3")))
    tangent = piece.stream(b"_TANGENT")
    if tangents and tangent is not None:
        if tangent.format != "FLOAT4":
            raise WriteFailed(
                b"[kim2kmg] %s: incorrect _TANGENT stream format in piece %d." % (model.source_name, piece.index)
            )
        fields.append(_raw(tangent))
    fields.append(_packed(_required(model, piece, b"_RGBA", "FLOAT4"), packed_colour))
    uv_fields = [_raw(_required(model, piece, channel.tag, "FLOAT2")) for channel in record.channels]
    if piece.stream(b"_FACTOR") is not None:
        fields.append(_packed(_required(model, piece, b"_FACTOR", "FLOAT4"), packed_factor))
    return fields + uv_fields


def _required(model: Model, piece: Piece, tag: bytes, stream_format: str) -> Stream:
    stream = piece.stream(tag)
    if stream is None or stream.format != stream_format:
        raise WriteFailed(
            b"[kim2kmg] %s: unavailable/incorrect format %s stream in piece %d."
            % (model.source_name, tag, piece.index)
        )
    return stream


def _raw(stream: Stream):
    return lambda vertex: stream.items[vertex]


def _packed(stream: Stream, pack):
    return lambda vertex: pack(struct.unpack("<4f", stream.items[vertex]))


def index_data(record: PieceRecord) -> bytes:
    """Three 16-bit output positions per triangle, filled up to a multiple of four bytes."""
    position_of = {vertex: place for place, vertex in enumerate(_vertex_order(record))}
    data = b"".join(
        struct.pack("<3H", *[position_of[corner] & 0xFFFF for corner in corners])
        for corners in record.piece.triangles
    )
    return data.ljust(record.index_bytes(), b"\0")
