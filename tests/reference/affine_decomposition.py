"""An affine matrix as translation, rotation, stretch along axes, and mirror (Shoemake and Duff's polar method)."""

from dataclasses import dataclass

from .ieee import f32
from .polar_decomposition import polar_decomposition
from .quaternions import Quaternion, of_rotation, product
from .stretch_axes import align_axes, spectral_decomposition


@dataclass
class AffineParts:
    translation: list[float]
    rotation: Quaternion
    stretch_rotation: Quaternion
    stretch: list[float]
    sign: float


def decompose(matrix: list[float]) -> AffineParts:
    """Splits 4 rows of 4 values."""
    linear = [matrix[4 * row : 4 * row + 3] for row in range(3)]
    rotation, stretch, determinant = polar_decomposition(linear)
    sign = 1.0
    if not determinant >= 0.0:
        sign = -1.0
        rotation = [[-value for value in row] for row in rotation]
    factors, axes = spectral_decomposition(stretch)
    stretch_rotation = of_rotation(axes)
    turn, factors = align_axes(stretch_rotation, factors)
    return AffineParts(
        [matrix[3], matrix[7], matrix[11]],
        of_rotation(rotation),
        product(stretch_rotation, turn),
        [f32(factor) for factor in factors],
        sign,
    )
