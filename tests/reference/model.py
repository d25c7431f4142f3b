"""The model and the skeleton as they come out of the text files."""

from dataclasses import dataclass, field

NOWHERE = 0xFFFFFFFF

ITEM_SIZES = {
    "FLOAT": 4,
    "FLOAT2": 8,
    "FLOAT3": 12,
    "FLOAT4": 16,
    "FLOAT5": 20,
    "FLOAT6": 24,
    "STRING": 256,
    "INT": 4,
    "INT2": 8,
    "FLOAT4X4": 64,
    "QUATERNION": 16,
}

Weight = tuple[int, float]
Clone = tuple[int, int]


@dataclass
class Stream:
    """One item of bytes for every vertex."""

    tag: bytes
    format: str
    aliases: list[bytes] = field(default_factory=list)
    items: list[bytes] = field(default_factory=list)


@dataclass
class Piece:
    """One portion of geometry: one material, one list of vertices, one of triangles."""

    index: int
    material: int
    vertex_count: int
    triangle_count: int
    stream_count: int
    streams: list[Stream] = field(default_factory=list)
    triangles: list[tuple[int, int, int]] = field(default_factory=list)

    def stream(self, tag: bytes) -> Stream | None:
        """The first stream with the tag."""
        for stream in self.streams:
            if stream.tag == tag:
                return stream
        return None


@dataclass
class Material:
    alias: bytes
    effect: bytes


@dataclass
class Part:
    name: bytes
    piece_count: int
    locator_count: int
    pieces: list[int] = field(default_factory=list)
    locators: list[int] = field(default_factory=list)


@dataclass
class Locator:
    name: bytes
    hookup: bytes
    position: list[float]
    rotation: list[float]
    scale: list[float]


@dataclass
class SkinItem:
    """A skinned position: its weights and the (piece, vertex) pairs that share it."""

    weights: list[Weight] = field(default_factory=list)
    clones: list[Clone] = field(default_factory=list)


@dataclass
class SkinStream:
    tag: bytes
    items: list[SkinItem] = field(default_factory=list)


@dataclass
class PieceSkinItem:
    """A skinned position of one piece: its weights and vertex indices as ranges of the piece skin's lists."""

    item_index: int
    first_weight: int
    weight_count: int
    first_vertex_index: int
    vertex_index_count: int


@dataclass
class PieceSkin:
    piece_index: int
    items: list[PieceSkinItem] = field(default_factory=list)
    weights: list[Weight] = field(default_factory=list)
    vertex_indices: list[int] = field(default_factory=list)
    vertex_items: list[int] = field(default_factory=list)

    def weights_of(self, item: PieceSkinItem) -> list[Weight]:
        return self.weights[item.first_weight : item.first_weight + item.weight_count]

    def vertex_indices_of(self, item: PieceSkinItem) -> list[int]:
        return self.vertex_indices[item.first_vertex_index : item.first_vertex_index + item.vertex_index_count]


@dataclass
class Global:
    """The totals that a model declares about itself."""

    vertex_count: int
    triangle_count: int
    material_count: int
    piece_count: int
    part_count: int
    bone_count: int
    locator_count: int
    skeleton: bytes
    piece_skin_count: int


@dataclass
class Model:
    totals: Global
    source_name: bytes = b""
    materials: list[Material] = field(default_factory=list)
    pieces: list[Piece] = field(default_factory=list)
    parts: list[Part] = field(default_factory=list)
    locators: list[Locator] = field(default_factory=list)
    bone_names: list[bytes] = field(default_factory=list)
    skin: list[SkinStream] | None = None
    piece_skins: list[PieceSkin] = field(default_factory=list)


@dataclass
class Bone:
    name: bytes
    parent: bytes
    matrix: list[float]
    inverse: list[float]


@dataclass
class Skeleton:
    bones: list[Bone] = field(default_factory=list)
    source_name: bytes = b""
    hash: int = 0

    def position_of(self, name: bytes) -> int | None:
        """The position of the first bone with the name."""
        for position, bone in enumerate(self.bones):
            if bone.name == name:
                return position
        return None
