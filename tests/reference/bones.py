"""Bone records and the way from the model's bones to the skeleton's."""

import struct

from .affine_decomposition import decompose
from .ieee import f32, one_nan
from .model import Bone, Model, Skeleton
from .name_tokens import pack_name
from .write_failed import WriteFailed

MOST_BONES = 255
NO_PARENT = 255


def bone_records(model: Model, skeleton: Skeleton) -> list[bytes]:
    _check_counts(model, skeleton)
    parents = [_parent_of(skeleton, number, bone) for number, bone in enumerate(skeleton.bones)]
    return [
        _packed(number, bone, parents[number], _local_matrix(skeleton, bone, parents[number]))
        for number, bone in enumerate(skeleton.bones)
    ]


def _check_counts(model: Model, skeleton: Skeleton) -> None:
    count = len(skeleton.bones)
    if count > MOST_BONES:
        raise WriteFailed(
            b"[kim2kmg] %s: Too many bones in skeleton (%d, max. allowed bone count is %d)"
            % (skeleton.source_name, count, MOST_BONES)
        )
    if len(model.bone_names) != count:
        raise WriteFailed(
            b"[kim2kmg] %s: Mismatched number of bones (%d) with skeleton file '%s' bones (%d). Probably result of a "
            b"partial commit (.kim without .kis or vice versa), check log."
            % (model.source_name, len(model.bone_names), skeleton.source_name, count)
        )


def _parent_of(skeleton: Skeleton, number: int, bone: Bone) -> int:
    """The position of the parent, which must stand before the bone."""
    name = skeleton.source_name
    if not bone.parent:
        return NO_PARENT
    parent = skeleton.position_of(bone.parent)
    if parent is None:
        raise WriteFailed(b"[kim2kmg] %s: cannot match parent bone '%s' with skeleton" % (name, bone.parent))
    if parent == number:
        raise WriteFailed(
            b"[kim2kmg] %s: circular parentship ordering - bone: '%s' parent: '%s' index: %d"
            % (name, bone.name, bone.parent, number)
        )
    if parent > number:
        raise WriteFailed(
            b"[kim2kmg] %s: incorrect bone ordering - bone: '%s' (%d) < parent: '%s' (%d)"
            % (name, bone.name, number, bone.parent, parent)
        )
    return parent


def _local_matrix(skeleton: Skeleton, bone: Bone, parent: int) -> list[float]:
    if parent == NO_PARENT:
        return bone.matrix
    return [
        _row_times_column(skeleton.bones[parent].inverse, bone.matrix, row, column)
        for row in range(4)
        for column in range(4)
    ]


def _row_times_column(left: list[float], right: list[float], row: int, column: int) -> float:
    total = f32(left[4 * row] * right[column])
    for k in (1, 2, 3):
        total = f32(total + f32(left[4 * row + k] * right[4 * k + column]))
    return total


def _packed(number: int, bone: Bone, parent: int, local: list[float]) -> bytes:
    token = pack_name(bone.name)
    if token is None:
        token = pack_name(b"unnamed_%03d" % number)
    parts = decompose(local)
    numbers = [
        *bone.matrix,
        *bone.inverse,
        *_w_first(parts.stretch_rotation),
        *_w_first(parts.rotation),
        *parts.translation,
        *parts.stretch,
        parts.sign,
    ]
    return struct.pack("<Q47fB3x", token, *map(one_nan, numbers), parent)


def _w_first(quaternion: tuple[float, float, float, float]) -> tuple[float, float, float, float]:
    x, y, z, w = quaternion
    return w, x, y, z


def bone_map(model: Model, skeleton: Skeleton) -> list[int]:
    """For every bone of the model the position of the skeleton's bone with its name."""
    positions = []
    for name in model.bone_names:
        position = skeleton.position_of(name)
        if position is None:
            raise WriteFailed(
                b"[kim2kmg] %s: cannot find mapping for kim bone '%s'" % (model.source_name, name)
            )
        positions.append(position)
    return positions
