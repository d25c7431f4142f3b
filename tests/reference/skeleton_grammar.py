"""The grammar of a skeleton file."""

from .matrix_inverse import inverse
from .model import Bone, Skeleton
from .scanner import INTEGER
from .token_reader import TokenReader, read_header

SKELETON_VERSION = 1


def read_skeleton(reader: TokenReader) -> Skeleton:
    """A wrong format version is reported, but does not stop the reading."""
    if read_header(reader) != SKELETON_VERSION:
        reader.report(b"unsupported FormatVersion")
    reader.open("GLOBAL")
    bone_count = reader.integer_field("BONECOUNT")
    reader.close()
    skeleton = Skeleton()
    reader.open("BONES")
    _read_bone(reader, skeleton)
    while reader.next_is(INTEGER):
        _read_bone(reader, skeleton)
    reader.close()
    reader.check(len(skeleton.bones) == bone_count, b"incorrect number of bones in Skeleton")
    reader.take_end()
    return skeleton


def _read_bone(reader: TokenReader, skeleton: Skeleton) -> None:
    position = reader.integer()
    reader.take("(")
    name = reader.string_field("NAME")
    parent = reader.string_field("PARENT")
    matrix = reader.floats_field("MATRIX", 16)
    reader.take(")")
    reader.check(position == len(skeleton.bones), b"inconsistent Skeleton bone order")
    inverted, invertible = inverse(matrix)
    if not invertible:
        reader.warn_of_file(b"bone '%s' has a matrix without an inverse" % name)
    skeleton.bones.append(Bone(name, parent, matrix, inverted))
