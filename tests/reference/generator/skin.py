"""Random skins of both forms for a random model."""

from typing import TYPE_CHECKING

from . import values

if TYPE_CHECKING:
    from .model import PiecePlan, RandomModel

Weights = list[tuple[int, float]]


def _weight_pool(model: "RandomModel") -> list[Weights]:
    """A few lists of weights, so that items share them."""
    return [_weights(model) for _ in range(model.rng.choice((1, 3, 8)))]


def _weights(model: "RandomModel") -> Weights:
    rng = model.rng
    count = rng.choice((1, 1, 2, 2, 3, 4, 5, 7)) if model.chance(0.97) else rng.choice((16, 17, 20))
    pairs = [(rng.randrange(len(model.bone_names)), values.weight(rng)) for _ in range(count)]
    if model.chance(0.4):
        total = sum(abs(value) for _, value in pairs) or 1.0
        pairs = [(bone, abs(value) / total) for bone, value in pairs]
    if all(value < 0.002 for _, value in pairs) and model.chance(0.95):
        pairs[0] = (pairs[0][0], 1.0)
    if model.chance(0.002):
        pairs[0] = (len(model.bone_names), 1.0)
    return pairs


def _write_weights(model: "RandomModel", weights: Weights, declared: int) -> None:
    t = model.tokens
    t.integer_field("WEIGHTS", declared)
    for bone, value in weights:
        t.integer(bone)
        if value == int(value) and 0 <= value < 1000 and model.chance(0.5):
            t.integer(int(value))
        else:
            t.number(value)


def _grouped(model: "RandomModel", entries: list) -> list[list]:
    """The entries in some order, cut into groups of one or more."""
    entries = entries[:]
    if model.chance(0.3):
        model.rng.shuffle(entries)
    groups: list[list] = []
    while entries:
        size = model.rng.choice((1, 1, 2, 3, 8))
        groups.append(entries[:size])
        del entries[:size]
    return groups


def piece_skin_tokens(model: "RandomModel") -> None:
    pool = _weight_pool(model)
    for number, piece in enumerate(model.pieces):
        _write_piece_skin(model, number, piece, pool)


def _write_piece_skin(model: "RandomModel", number: int, piece: "PiecePlan", pool: list[Weights]) -> None:
    t, rng = model.tokens, model.rng
    vertices = list(range(piece.vertex_count)) or [0]
    if model.chance(0.02):
        vertices[rng.randrange(len(vertices))] = vertices[-1]
    if model.chance(0.02):
        vertices.append(rng.choice(vertices))
    if model.chance(0.003):
        vertices[0] = len(vertices)
    if model.chance(0.01):
        vertices = [vertex for vertex in vertices if rng.random() < 0.7] or [0]
    groups = _grouped(model, vertices)
    weights = [rng.choice(pool) for _ in groups]
    with t.paragraph("PIECESKIN"):
        t.integer_field("PIECE", number)
        t.integer_field("STREAMCOUNT", 1)
        with t.paragraph("PIECESKINSTREAM"):
            t.label("FORMAT")
            t.word("FLOAT3")
            t.string_field("TAG", b"_POSITION")
            t.integer_field("ITEMCOUNT", len(groups))
            t.integer_field("TOTALWEIGHTCOUNT", sum(map(len, weights)))
            t.integer_field("TOTALVERTEXINDEXCOUNT", len(vertices))
            for position, (group, pairs) in enumerate(zip(groups, weights)):
                t.integer(position)
                t.mark("(")
                t.tuple([values.coordinate(rng) for _ in range(3)])
                _write_weights(model, pairs, len(pairs))
                t.integer_field("VERTEXINDICES", len(group))
                for vertex in group:
                    t.integer(vertex)
                t.mark(")")


def skin_tokens(model: "RandomModel") -> None:
    t, rng = model.tokens, model.rng
    tags = [b"_POSITION"] if model.chance(0.99) else [b"_NORMAL"]
    if model.chance(0.2):
        tags.insert(rng.randrange(2), rng.choice((b"_NORMAL", b"_POSITION", b"_position")))
    pool = _weight_pool(model)
    with t.paragraph("SKIN"):
        t.integer_field("STREAMCOUNT", len(tags))
        for tag in tags:
            _write_skin_stream(model, tag, pool)


def _write_skin_stream(model: "RandomModel", tag: bytes, pool: list[Weights]) -> None:
    t, rng = model.tokens, model.rng
    clones = [(piece.index, vertex) for piece in model.pieces for vertex in range(piece.vertex_count)]
    if clones and model.chance(0.02):
        clones.append(rng.choice(clones + [(99, 0)]))
    if clones and model.chance(0.01):
        clones[rng.randrange(len(clones))] = (model.pieces[0].index, rng.choice((0, 1000)))
    groups = _grouped(model, clones) or [[]]
    weights = [rng.choice(pool) for _ in groups]
    surplus = rng.choice((0, 0, 0, 5))
    with t.paragraph("SKINSTREAM"):
        t.label("FORMAT")
        t.word("FLOAT3")
        t.string_field("TAG", tag)
        t.integer_field("ITEMCOUNT", len(groups) + surplus)
        t.integer_field("TOTALWEIGHTCOUNT", sum(map(len, weights)) + surplus)
        t.integer_field("TOTALCLONECOUNT", len(clones) + surplus)
        for position, (group, pairs) in enumerate(zip(groups, weights)):
            _write_skin_item(model, position, group, pairs)


def _write_skin_item(model: "RandomModel", position: int, group: list[tuple[int, int]], pairs: Weights) -> None:
    t = model.tokens
    declared = [len(pairs), len(group)]
    if model.chance(0.01):
        pairs = []
        declared[0] = 0
    if model.chance(0.01):
        declared = [count + 3 if count else 0 for count in declared]
    t.integer(position)
    t.mark("(")
    t.tuple([values.coordinate(model.rng) for _ in range(3)])
    _write_weights(model, pairs, declared[0])
    t.integer_field("CLONES", declared[1])
    for piece, vertex in group:
        t.integer(piece)
        t.integer(vertex)
    t.mark(")")
