"""The pass that joins pieces of one part with the same material and the same streams."""

from .model import NOWHERE, Model, Piece, PieceSkin, PieceSkinItem, Stream

MOST_VERTICES = 65535
_MASK = 0xFFFFFFFF


def merge_part_pieces(model: Model) -> None:
    if model.skin is not None:
        return
    new_position = _join_pieces(model, _parts_of_pieces(model))
    if NOWHERE in new_position:
        _renumber(model, new_position)
        _remove_absorbed(model, new_position)


def _parts_of_pieces(model: Model) -> list[int]:
    """For every piece the last part that names it."""
    part_of_piece = [NOWHERE] * len(model.pieces)
    for number, part in enumerate(model.parts):
        for piece in part.pieces[: part.piece_count]:
            if piece < len(model.pieces):
                part_of_piece[piece] = number
    return part_of_piece


def _join_pieces(model: Model, part_of_piece: list[int]) -> list[int]:
    """Joins what can be joined; gives the new position of every piece, or nowhere for an absorbed one."""
    count = len(model.pieces)
    sound = [_corners_are_sound(piece) for piece in model.pieces]
    new_position = list(range(count))
    for i in range(count):
        for j in range(i + 1, count):
            if NOWHERE in (new_position[i], new_position[j]) or part_of_piece[i] != part_of_piece[j]:
                continue
            if not (sound[i] and sound[j] and _can_absorb(model.pieces[i], model.pieces[j])):
                continue
            _absorb(model, i, j)
            for k in range(j + 1, count):
                if new_position[k] != NOWHERE:
                    new_position[k] -= 1
            new_position[j] = NOWHERE
    return new_position


def _corners_are_sound(piece: Piece) -> bool:
    """A corner beyond the vertices would look right once more vertices have come."""
    return all(corner < piece.vertex_count for corners in piece.triangles for corner in corners)


def _can_absorb(first: Piece, second: Piece) -> bool:
    if first.material != second.material or first.stream_count != second.stream_count:
        return False
    if first.vertex_count + second.vertex_count > MOST_VERTICES:
        return False
    return all(_same_layout(stream, second.stream(stream.tag)) for stream in first.streams)


def _same_layout(stream: Stream, other: Stream | None) -> bool:
    return other is not None and stream.format == other.format and stream.aliases == other.aliases


def _absorb(model: Model, i: int, j: int) -> None:
    first, second = model.pieces[i], model.pieces[j]
    offset = first.vertex_count
    for stream in first.streams:
        source = second.stream(stream.tag)
        assert source is not None
        stream.items = stream.items + source.items
    first.vertex_count += second.vertex_count
    moved = [tuple(corner + offset for corner in corners) for corners in second.triangles]
    first.triangles = first.triangles + moved
    first.triangle_count += second.triangle_count
    if model.piece_skins:
        _append_piece_skin(model.piece_skins[i], model.piece_skins[j])


def _append_piece_skin(skin: PieceSkin, source: PieceSkin) -> None:
    items, weights, vertices = len(skin.items), len(skin.weights), len(skin.vertex_indices)
    for item in source.items:
        skin.items.append(
            PieceSkinItem(
                item.item_index + items,
                item.first_weight + weights,
                item.weight_count,
                item.first_vertex_index + vertices,
                item.vertex_index_count,
            )
        )
    skin.weights += source.weights
    skin.vertex_indices += [(vertex + vertices) & _MASK for vertex in source.vertex_indices]
    skin.vertex_items += [(item + items) & _MASK for item in source.vertex_items]


def _renumber(model: Model, new_position: list[int]) -> None:
    """Gives the pieces that parts name their new numbers and drops the absorbed ones from the lists."""
    for part in model.parts:
        j = 0
        while j < min(part.piece_count, len(part.pieces)):
            piece = part.pieces[j]
            if piece >= len(new_position):
                j += 1
                continue
            model.pieces[piece].index = new_position[piece]
            if model.piece_skins:
                model.piece_skins[piece].piece_index = new_position[piece]
            if new_position[piece] != NOWHERE:
                part.pieces[j] = new_position[piece]
                j += 1
            else:
                del part.pieces[j]
                part.piece_count -= 1


def _remove_absorbed(model: Model, new_position: list[int]) -> None:
    kept = [position for position, new in enumerate(new_position) if new != NOWHERE]
    model.pieces = [model.pieces[position] for position in kept]
    if model.piece_skins:
        model.piece_skins = [model.piece_skins[position] for position in kept]
