"""The grammar of a model file and the checks of its counts."""

from .item_tuples import Shape, fit, read_format, read_tuple, read_tuple_of_shape
from .model import Global, Locator, Material, Model, Part, Piece, Stream
from .scanner import INTEGER, STRING
from .skin_grammar import read_piece_skin, read_skin
from .token_reader import TokenReader, read_header

MODEL_VERSION = 5


def read_model(reader: TokenReader) -> Model:
    version = read_header(reader)
    reader.check(version == MODEL_VERSION, b"unsupported FormatVersion")
    model = Model(_read_global(reader))
    _read_body(reader, model)
    _check_totals(reader, model)
    reader.take_end()
    return model


def _read_global(reader: TokenReader) -> Global:
    reader.open("GLOBAL")
    counts = [
        reader.integer_field(keyword)
        for keyword in (
            "VERTEXCOUNT",
            "TRIANGLECOUNT",
            "MATERIALCOUNT",
            "PIECECOUNT",
            "PARTCOUNT",
            "BONECOUNT",
            "LOCATORCOUNT",
        )
    ]
    skeleton = reader.string_field("SKELETON")
    piece_skin_count = reader.integer_field("PIECESKINCOUNT") if reader.next_is("PIECESKINCOUNT") else 0
    reader.close()
    return Global(*counts, skeleton, piece_skin_count)


def _read_body(reader: TokenReader, model: Model) -> None:
    """Materials, pieces and parts, after which the tail may be missing; or parts alone, after which it may not."""
    with_geometry = reader.next_is("MATERIAL")
    if with_geometry:
        _one_or_more(reader, "MATERIAL", lambda: model.materials.append(_read_material(reader)))
        _one_or_more(reader, "PIECE", lambda: model.pieces.append(_read_piece(reader)))
    _one_or_more(reader, "PART", lambda: model.parts.append(_read_part(reader)))
    if reader.next_is("LOCATOR", "BONES") or not with_geometry:
        _read_tail(reader, model)


def _read_tail(reader: TokenReader, model: Model) -> None:
    """Locators, bones with a skin, or both in this order."""
    with_locators = reader.next_is("LOCATOR")
    if with_locators:
        _one_or_more(reader, "LOCATOR", lambda: model.locators.append(_read_locator(reader)))
    if reader.next_is("BONES") or not with_locators:
        _read_bones(reader, model)
        _read_any_skin(reader, model)


def _read_any_skin(reader: TokenReader, model: Model) -> None:
    if reader.next_is("SKIN"):
        model.skin = read_skin(reader)
    else:
        _one_or_more(reader, "PIECESKIN", lambda: read_piece_skin(reader, model.piece_skins))


def _one_or_more(reader: TokenReader, keyword: str, read) -> None:
    read()
    while reader.next_is(keyword):
        read()


def _read_material(reader: TokenReader) -> Material:
    reader.open("MATERIAL")
    if reader.next_is("INDEX"):
        reader.integer_field("INDEX")
    material = Material(reader.string_field("ALIAS"), reader.string_field("EFFECT"))
    reader.close()
    return material


def _read_piece(reader: TokenReader) -> Piece:
    reader.open("PIECE")
    fields = ("INDEX", "MATERIAL", "VERTEXCOUNT", "TRIANGLECOUNT", "STREAMCOUNT")
    piece = Piece(*[reader.integer_field(keyword) for keyword in fields])
    _one_or_more(reader, "STREAM", lambda: piece.streams.append(_read_stream(reader, piece.vertex_count)))
    piece.triangles = _read_triangles(reader, piece.triangle_count)
    reader.close()
    reader.check(len(piece.streams) == piece.stream_count, b"incorrect number of Piece streams")
    return piece


def _read_stream(reader: TokenReader, vertex_count: int) -> Stream:
    reader.open("STREAM")
    stream_format = read_format(reader)
    stream = Stream(reader.string_field("TAG"), stream_format)
    if reader.next_is("ALIASCOUNT"):
        stream.aliases = _read_aliases(reader)
    shape: Shape | None = None
    while reader.next_is(INTEGER):
        position = reader.integer()
        if shape is None:
            shape, data = read_tuple(reader)
        else:
            data = read_tuple_of_shape(reader, shape)
        check_item(reader, position, len(stream.items), vertex_count)
        stream.items.append(fit(data, stream_format))
    reader.close()
    reader.check(len(stream.items) == vertex_count, b"mismatching Stream item count and VertexCount")
    return stream


def _read_aliases(reader: TokenReader) -> list[bytes]:
    count = reader.integer_field("ALIASCOUNT")
    reader.label("ALIASES")
    aliases = []
    while reader.next_is(STRING):
        aliases.append(reader.string())
    reader.check(len(aliases) == count, b"incorrect number of Stream aliases")
    return aliases


def check_item(reader: TokenReader, position: int, count: int, capacity: int) -> None:
    """Items are numbered from 0 without a gap, and there are no more of them than were declared."""
    reader.check(position == count, b"inconsistent Stream item order")
    reader.check(count < capacity, b"inconsistent Stream item type/count")


def _read_triangles(reader: TokenReader, triangle_count: int) -> list[tuple[int, int, int]]:
    reader.open("TRIANGLES")
    triangles: list[tuple[int, int, int]] = []
    while reader.next_is(INTEGER):
        position = reader.integer()
        reader.take("(")
        corners = (reader.integer(), reader.integer(), reader.integer())
        reader.take(")")
        check_item(reader, position, len(triangles), triangle_count)
        triangles.append(corners)
    reader.close()
    reader.check(len(triangles) == triangle_count, b"invalid number of Triangles elements")
    return triangles


def _read_part(reader: TokenReader) -> Part:
    reader.open("PART")
    part = Part(
        reader.string_field("NAME"), reader.integer_field("PIECECOUNT"), reader.integer_field("LOCATORCOUNT")
    )
    part.pieces = _read_integers(reader, "PIECES")
    part.locators = _read_integers(reader, "LOCATORS")
    reader.close()
    return part


def _read_integers(reader: TokenReader, keyword: str) -> list[int]:
    reader.label(keyword)
    integers = []
    while reader.next_is(INTEGER):
        integers.append(reader.integer())
    return integers


def _read_locator(reader: TokenReader) -> Locator:
    reader.open("LOCATOR")
    name = reader.string_field("NAME")
    hookup = reader.string_field("HOOKUP") if reader.next_is("HOOKUP") else b""
    reader.integer_field("INDEX")
    locator = Locator(
        name,
        hookup,
        reader.floats_field("POSITION", 3),
        reader.floats_field("ROTATION", 4),
        reader.floats_field("SCALE", 3),
    )
    reader.close()
    return locator


def _read_bones(reader: TokenReader, model: Model) -> None:
    reader.open("BONES")
    _one_or_more(reader, INTEGER, lambda: _read_bone_name(reader, model))
    reader.close()
    reader.check(len(model.bone_names) == model.totals.bone_count, b"invalid number of Bones elements")


def _read_bone_name(reader: TokenReader, model: Model) -> None:
    position = reader.integer()
    reader.take("(")
    name = reader.string()
    reader.take(")")
    check_item(reader, position, len(model.bone_names), model.totals.bone_count)
    model.bone_names.append(name)


def _check_totals(reader: TokenReader, model: Model) -> None:
    totals = model.totals
    reader.check(totals.piece_count == len(model.pieces), b"mismatching Piece count")
    reader.check(totals.part_count == len(model.parts), b"mismatching Part count")
    reader.check(totals.locator_count == len(model.locators), b"mismatching Locator count")
    reader.check(totals.piece_skin_count == len(model.piece_skins), b"mismatching Piece Skin count")
    if model.piece_skins:
        reader.check(
            len(model.pieces) == len(model.piece_skins),
            b"if defined PieceSkin, the paragraph count of PieceSkins and Pieces are expected to be the same",
        )
    vertices = sum(piece.vertex_count for piece in model.pieces)
    reader.check(vertices == totals.vertex_count, b"mismatching VertexCount count")
    triangles = sum(piece.triangle_count for piece in model.pieces)
    reader.check(triangles == totals.triangle_count, b"mismatching TriangleCount count")
