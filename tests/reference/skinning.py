"""From weights of any number to four bones and four bytes per vertex, and the vertex order of a skinned piece."""

from dataclasses import dataclass, field

from .console import Console
from .ieee import divide, f32, floor
from .model import NOWHERE, Clone, Model, Piece, SkinItem, SkinStream, Weight
from .sorting import by_key, sort
from .write_failed import WriteFailed

MOST_INFLUENCES = 4
MOST_SOURCE_INFLUENCES = 16
ONE_BYTE = 1.0 / 255.0
FULL_WEIGHT = 255
DECIMATED_BELOW = f32(0.85)

Influence = tuple[int, int]


@dataclass
class PieceSkinning:
    """For every output position the source vertex and its influence set."""

    sets: list[list[Influence]] = field(default_factory=list)
    order: list[tuple[int, int]] = field(default_factory=list)

    def source_vertices(self) -> list[int]:
        return [vertex for vertex, _ in self.order]

    def bone_slots(self, position: int) -> bytes:
        """Four bone numbers and four weights; slots beyond the set repeat its last bone without weight."""
        influences = self.sets[self.order[position][1]]
        filled = influences + [(influences[-1][0], 0)] * (MOST_INFLUENCES - len(influences))
        return bytes(bone & 0xFF for bone, _ in filled) + bytes(weight for _, weight in filled)


def select_skin(model: Model) -> SkinStream | None:
    """The stream of positions of the model's skin, or one put together from the piece skins."""
    if model.skin is not None:
        return next((stream for stream in model.skin if stream.tag == b"_POSITION"), None)
    if not model.piece_skins:
        return None
    stream = SkinStream(b"")
    for skin in model.piece_skins:
        for item in skin.items:
            clones: list[Clone] = [(skin.piece_index, vertex) for vertex in skin.vertex_indices_of(item)]
            stream.items.append(SkinItem(skin.weights_of(item), clones))
    return stream


def check_bones(model: Model, skin: SkinStream, bone_count: int) -> None:
    """Weights may only be of bones that there are."""
    for number, item in enumerate(skin.items):
        for bone, _ in item.weights:
            if bone >= bone_count:
                raise WriteFailed(
                    b"[kim2kmg] %s: skin item %d uses bone %d of %d" % (model.source_name, number, bone, bone_count)
                )


def skin_piece(
    model: Model, piece: Piece, skin: SkinStream, bone_map: list[int], console: Console
) -> PieceSkinning:
    vertex_items = _items_of_vertices(model, piece, skin, console)
    skinning = PieceSkinning()
    decimated = False
    for vertex in range(piece.vertex_count):
        influences, kept_little = _influences(model, skin.items[vertex_items[vertex]].weights, bone_map)
        decimated |= kept_little
        if influences not in skinning.sets:
            skinning.sets.append(influences)
        skinning.order.append((vertex, skinning.sets.index(influences)))
    sort(skinning.order, by_key(lambda entry: entry[1]))
    if decimated:
        console.warning(
            b"[kim2kmg] %s: has too many influential bones per vertex - decimated to %d, skinning may be deformed!"
            % (model.source_name, MOST_INFLUENCES)
        )
    return skinning


def _items_of_vertices(model: Model, piece: Piece, skin: SkinStream, console: Console) -> list[int]:
    """For every vertex the last item that names it; every vertex must have one."""
    for number, item in enumerate(skin.items):
        _warn_of_many_weights(model, number, item, console)
    _check_clones(model, piece, skin)
    vertex_items = [NOWHERE] * piece.vertex_count
    for number, item in enumerate(skin.items):
        for clone_piece, vertex in item.clones:
            if clone_piece == piece.index:
                vertex_items[vertex] = number
    if NOWHERE in vertex_items:
        raise WriteFailed(
            b"[kim2kmg] %s: vertex %d of piece %d has no skin"
            % (model.source_name, vertex_items.index(NOWHERE), piece.index)
        )
    return vertex_items


def _check_clones(model: Model, piece: Piece, skin: SkinStream) -> None:
    """Of the clones that name a vertex the piece does not have, the highest and last is reported."""
    highest, number = -1, -1
    for item_number, item in enumerate(skin.items):
        for clone_piece, vertex in item.clones:
            if clone_piece == piece.index and vertex >= max(highest, piece.vertex_count):
                highest, number = vertex, item_number
    if number >= 0:
        raise WriteFailed(
            b"[kim2kmg] %s: skin item %d names vertex %d of piece %d, which has %d"
            % (model.source_name, number, highest, piece.index, piece.vertex_count)
        )


def _warn_of_many_weights(model: Model, number: int, item: SkinItem, console: Console) -> None:
    if len(item.weights) <= MOST_SOURCE_INFLUENCES:
        return
    console.warning(
        b"[kim2kmg] %s: number of source influences exceeeds a threshold of %d at skin item #%d - source data "
        b"probably incorrect (source has %d)"
        % (model.source_name, MOST_SOURCE_INFLUENCES, number, len(item.weights))
    )
    for clone_piece, vertex in item.clones:
        console.warning(
            b"[kim2kmg] %s: - affecting piece %d, vertex %d" % (model.source_name, clone_piece, vertex)
        )


def _influences(model: Model, weights: list[Weight], bone_map: list[int]) -> tuple[list[Influence], bool]:
    """The influence set of the weights, and whether what it keeps of them is little."""
    pairs = _quantised(weights, bone_map)
    if not pairs:
        raise WriteFailed(
            b"[kim2kmg] %s: has at least one vertex with no influential bones" % model.source_name
        )
    sort(pairs, lambda a, b: (a[1] < b[1]) - (a[1] > b[1]))
    pairs = pairs[:MOST_INFLUENCES]
    total = 0.0
    for _, weight in pairs:
        total = f32(total + f32(weight * ONE_BYTE))
    divisor = total if total < 1.0 else 1.0
    pairs = _renormalised(pairs, divisor)
    sort(pairs, by_key(lambda pair: pair[0]))
    return pairs, divisor < DECIMATED_BELOW


def _quantised(weights: list[Weight], bone_map: list[int]) -> list[Influence]:
    """Weights as bytes; those that come to 0 are dropped, those that do not fit are full."""
    pairs = []
    for bone, weight in weights:
        rounded = floor(f32(f32(weight * 255.0) + 0.5))
        if rounded != 0.0:
            pairs.append((bone_map[bone], int(rounded) if 1.0 <= rounded <= 255.0 else FULL_WEIGHT))
    return pairs


def _renormalised(pairs: list[Influence], divisor: float) -> list[Influence]:
    """From the last pair to the second each gets its share of what was kept, and the first one the rest."""
    remaining = FULL_WEIGHT
    shares = []
    for bone, weight in reversed(pairs[1:]):
        share = min(int(floor(f32(f32(divide(weight, divisor)) + 0.5))), FULL_WEIGHT)
        shares.append((bone, share))
        remaining -= min(share, remaining)
    return [(pairs[0][0], remaining)] + shares[::-1]
