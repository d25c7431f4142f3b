"""Random models and skeletons, as tokens: mostly sound, with a rare oddity of every kind."""

import random
from dataclasses import dataclass, field

from ..model import ITEM_SIZES
from . import values
from .mesh import random_triangles
from .skin import piece_skin_tokens, skin_tokens
from .token_list import TokenList

EFFECTS = (
    b"rvk2.dif.spec",
    b"rvk2.dif",
    b"rvk2.leaves.oak",
    b"rvk2.leaves",
    b"rvk2.dif.billb.grass",
    b"rvk2.dif.billb",
    b"",
)
HOOKUPS = (b"", b"", b"a", b"ab", b"AB", b"door/left", b"\xc3\xbc")
SHAPES = {
    "FLOAT": ("f", 1),
    "FLOAT2": ("f", 2),
    "FLOAT3": ("f", 3),
    "FLOAT4": ("f", 4),
    "FLOAT5": ("f", 5),
    "FLOAT6": ("f", 6),
    "INT": ("i", 1),
    "INT2": ("i", 2),
    "FLOAT4X4": ("f", 16),
    "QUATERNION": ("f", 4),
    "STRING": ("s", 1),
}


@dataclass
class StreamPlan:
    format: str
    tag: bytes
    aliases: list[bytes] = field(default_factory=list)


@dataclass
class PiecePlan:
    """What the rest of the model has to know of a piece."""

    index: int
    vertex_count: int
    triangle_count: int


class RandomModel:
    """One model; `tokens` is its file, `bone_names` what its skeleton needs."""

    def __init__(self, rng: random.Random, skeleton_name: bytes) -> None:
        self.rng = rng
        self.tokens = TokenList(rng)
        self.skin = rng.choice(("none", "none", "Skin", "PieceSkin", "PieceSkin"))
        self.bone_names = self._bone_names() if self.skin != "none" else []
        self.material_count = rng.randrange(1, 4)
        self.layouts = [self._layout()]
        if self.chance(0.5):
            self.layouts.append(self._variant(self.layouts[0]) if self.chance(0.5) else self._layout())
        self.pieces = self._piece_plans()
        self.part_count = rng.randrange(1, 4)
        self.locator_count = rng.choice((0, 0, 1, 2, 5))
        self._write(skeleton_name)

    def chance(self, probability: float) -> bool:
        return self.rng.random() < probability

    def _bone_names(self) -> list[bytes]:
        count = self.rng.randrange(1, 9)
        if self.chance(0.02):
            count = self.rng.choice((40, 200, 255, 256))
        stems = (b"root", b"Hips.L", b"spine", b"a_very_long_bone_name", b"hand_")
        names = [self.rng.choice(stems) + b"%d" % number for number in range(count)]
        if self.chance(0.02):
            names[-1] = names[0]
        return names

    def _layout(self) -> list[StreamPlan]:
        rng = self.rng
        layout = [StreamPlan("FLOAT3", b"_POSITION"), StreamPlan("FLOAT3", b"_NORMAL"), StreamPlan("FLOAT4", b"_RGBA")]
        for channel in range(rng.choice((0, 1, 1, 2, 3, 8))):
            layout.append(StreamPlan("FLOAT2", b"_UV%d" % channel, self._aliases()))
        for tag, probability in ((b"_TANGENT", 0.4), (b"_FACTOR", 0.3), (b"_UV5", 0.05), (b"_UV1", 0.05)):
            if self.chance(probability):
                layout.append(StreamPlan("FLOAT4" if tag[1:2] != b"U" else "FLOAT2", tag))
        if self.chance(0.3):
            layout.append(StreamPlan(rng.choice(list(ITEM_SIZES)), rng.choice((b"_EXTRA", b"_EXTRA", b"_rgba"))))
        if self.chance(0.1):
            layout.append(rng.choice(layout))
        if self.chance(0.5):
            rng.shuffle(layout)
        if self.chance(0.02):
            layout.pop()
        if self.chance(0.03):
            rng.choice(layout).format = rng.choice(list(ITEM_SIZES))
        return layout

    def _variant(self, layout: list[StreamPlan]) -> list[StreamPlan]:
        """The same streams, one of them with other aliases or in place of another."""
        variant = layout[:]
        changed = self.rng.randrange(len(variant))
        if self.chance(0.5):
            variant[changed] = self.rng.choice(variant)
        else:
            variant[changed] = StreamPlan(variant[changed].format, variant[changed].tag, self._aliases())
        return variant

    def _aliases(self) -> list[bytes]:
        names = [b"_TEXCOORD%d" % self.rng.randrange(9), b"_UV%d" % self.rng.randrange(8), b"other"]
        return [self.rng.choice(names) for _ in range(self.rng.choice((0, 1, 1, 2)))]

    def _piece_plans(self) -> list[PiecePlan]:
        rng = self.rng
        count = rng.choice((1, 2, 2, 3, 4, 6)) if self.chance(0.98) else 0
        plans = []
        for number in range(count):
            index = number if self.chance(0.98) else rng.choice((0, 7, 0xFFFFFFFF))
            vertices = rng.choice((3, 4, 5, 8, 12, 24, 40)) if self.chance(0.997) else rng.randrange(3)
            triangles = rng.choice((1, 2, 3, 6, 12, 30)) if self.chance(0.97) else 0
            if self.chance(0.03):
                vertices, triangles = rng.randrange(20, 150), rng.randrange(80, 400)
            plans.append(PiecePlan(index, vertices, triangles))
        return plans

    def _write(self, skeleton_name: bytes) -> None:
        t = self.tokens
        t.header(5)
        piece_skins = len(self.pieces) if self.skin == "PieceSkin" else 0
        with t.paragraph("GLOBAL"):
            t.integer_field("VERTEXCOUNT", sum(piece.vertex_count for piece in self.pieces))
            t.integer_field("TRIANGLECOUNT", sum(piece.triangle_count for piece in self.pieces))
            t.integer_field("MATERIALCOUNT", self.material_count)
            t.integer_field("PIECECOUNT", len(self.pieces))
            t.integer_field("PARTCOUNT", self.part_count)
            t.integer_field("BONECOUNT", len(self.bone_names))
            t.integer_field("LOCATORCOUNT", self.locator_count)
            t.string_field("SKELETON", skeleton_name)
            if piece_skins or self.chance(0.2):
                t.integer_field("PIECESKINCOUNT", piece_skins)
        if self.pieces:
            for _ in range(self.material_count):
                self._write_material()
            for piece in self.pieces:
                self._write_piece(piece)
        self._write_parts()
        for number in range(self.locator_count):
            self._write_locator(number)
        if self.bone_names:
            self._write_bones()
            skin_tokens(self) if self.skin == "Skin" else piece_skin_tokens(self)

    def _write_material(self) -> None:
        t = self.tokens
        with t.paragraph("MATERIAL"):
            if self.chance(0.3):
                t.integer_field("INDEX", self.rng.randrange(5))
            t.string_field("ALIAS", self.rng.choice((b"paint", b"wood", b"")))
            t.string_field("EFFECT", self.rng.choice(EFFECTS))

    def _write_piece(self, piece: PiecePlan) -> None:
        t = self.tokens
        layout = list(self.rng.choice(self.layouts))
        if self.chance(0.1):
            self.rng.shuffle(layout)
        material = self.rng.randrange(self.material_count) if self.chance(0.99) else 0xFFFFFFFF
        with t.paragraph("PIECE"):
            t.integer_field("INDEX", piece.index)
            t.integer_field("MATERIAL", material)
            t.integer_field("VERTEXCOUNT", piece.vertex_count)
            t.integer_field("TRIANGLECOUNT", piece.triangle_count)
            t.integer_field("STREAMCOUNT", len(layout))
            distinct = max(3, int(piece.vertex_count * self.rng.choice((0.4, 0.8, 1.0))))
            contents = [vertex % distinct for vertex in range(piece.vertex_count)]
            self.rng.shuffle(contents)
            for plan in layout:
                self._write_stream(plan, contents)
            self._write_triangles(piece)

    def _write_stream(self, plan: StreamPlan, contents: list[int]) -> None:
        """A stream whose equal contents are written with equal values."""
        t = self.tokens
        kind, count = SHAPES[plan.format]
        if kind == "f" and count < 6 and self.chance(0.02):
            count = self.rng.choice((count + 1, max(1, count - 1)))
        if self.chance(0.005):
            kind, count = self.rng.choice(list(SHAPES.values()) + [("i", 3)])
        written = [[self._value(kind, plan.tag) for _ in range(count)] for _ in range(max(contents, default=0) + 1)]
        with t.paragraph("STREAM"):
            t.label("FORMAT")
            t.word(plan.format)
            t.string_field("TAG", plan.tag)
            if plan.aliases or self.chance(0.05):
                t.integer_field("ALIASCOUNT", len(plan.aliases))
                t.label("ALIASES")
                for alias in plan.aliases:
                    t.string(alias)
            for number, content in enumerate(contents):
                t.integer(number)
                t.tuple(written[content])

    def _value(self, kind: str, tag: bytes) -> float | int | bytes:
        if kind == "s":
            return values.name(self.rng, b"text")
        if kind == "i":
            return self.rng.choice((0, 1, 77, 0xFFFFFFFF))
        if tag == b"_RGBA":
            return values.colour(self.rng)
        return values.factor(self.rng) if tag == b"_FACTOR" else values.coordinate(self.rng)

    def _write_triangles(self, piece: PiecePlan) -> None:
        t = self.tokens
        with t.paragraph("TRIANGLES"):
            triangles = random_triangles(self.rng, piece.vertex_count, piece.triangle_count)
            for number, corners in enumerate(triangles):
                t.integer(number)
                t.tuple(corners)

    def _write_parts(self) -> None:
        t = self.tokens
        pieces = self._dealt(len(self.pieces))
        locators = self._dealt(self.locator_count)
        for number in range(self.part_count):
            with t.paragraph("PART"):
                t.string_field("NAME", values.name(self.rng, b"part"))
                t.integer_field("PIECECOUNT", len(pieces[number]) if self.chance(0.98) else self.rng.randrange(9))
                t.integer_field("LOCATORCOUNT", len(locators[number]))
                for keyword, listed in (("PIECES", pieces[number]), ("LOCATORS", locators[number])):
                    t.label(keyword)
                    for entry in listed:
                        t.integer(entry)

    def _dealt(self, count: int) -> list[list[int]]:
        """The numbers below the count, dealt to the parts; rarely one too few, too many, or of something else."""
        numbers = list(range(count))
        if self.chance(0.3):
            self.rng.shuffle(numbers)
        if numbers and self.chance(0.02):
            numbers[-1] = self.rng.choice((numbers[0], count, 0xFFFFFFFF))
        if numbers and self.chance(0.02):
            numbers.pop()
        hands: list[list[int]] = [[] for _ in range(self.part_count)]
        for number in numbers:
            self.rng.choice(hands).append(number)
        return hands

    def _write_locator(self, number: int) -> None:
        t = self.tokens
        with t.paragraph("LOCATOR"):
            t.string_field("NAME", values.name(self.rng, b"loc"))
            hookup = self.rng.choice(HOOKUPS)
            if hookup or self.chance(0.3):
                t.string_field("HOOKUP", hookup)
            t.integer_field("INDEX", number)
            t.floats_field("POSITION", [values.coordinate(self.rng) for _ in range(3)])
            t.floats_field("ROTATION", [values.coordinate(self.rng) for _ in range(4)])
            scale = [self.rng.choice((1.0, 2.0, 0.1)) for _ in range(3)]
            if self.chance(0.01):
                scale[self.rng.randrange(3)] = self.rng.choice((0.0, -0.0, -1.0))
            t.floats_field("SCALE", scale)

    def _write_bones(self) -> None:
        t = self.tokens
        with t.paragraph("BONES"):
            for number, name in enumerate(self.bone_names):
                t.integer(number)
                t.tuple([name])


def skeleton_tokens(rng: random.Random, bone_names: list[bytes]) -> TokenList:
    t = TokenList(rng)
    t.header(1 if rng.random() < 0.98 else 2)
    names = bone_names[:]
    if rng.random() < 0.3:
        rng.shuffle(names)
    if rng.random() < (0.3 if len(names) == 255 else 0.01):
        names.append(b"extra")
    if rng.random() < 0.01:
        names[rng.randrange(len(names))] = b"renamed"
    with t.paragraph("GLOBAL"):
        t.integer_field("BONECOUNT", len(names))
    with t.paragraph("BONES"):
        for number, name in enumerate(names):
            t.integer(number)
            t.mark("(")
            t.string_field("NAME", name)
            parent = rng.choice([b""] + names[:number])
            if rng.random() < 0.003:
                parent = rng.choice(names + [b"nobody"])
            t.string_field("PARENT", parent)
            t.floats_field("MATRIX", values.bone_matrix(rng))
            t.mark(")")
    return t
