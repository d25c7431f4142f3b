"""Colours and factors as four bytes."""

from .ieee import f32, floor, truncated_int32


def packed_colour(components: tuple[float, ...]) -> bytes:
    """Red, green and blue cover 0 to 2, alpha 0 to 1; the middle of the range begins exactly at byte 128.

    What is not a number becomes 0.
    """
    red, green, blue, alpha = components
    return bytes(map(_scaled_byte, (f32(red * 0.5), f32(green * 0.5), f32(blue * 0.5), alpha)))


def _scaled_byte(value: float) -> int:
    rounded = floor(f32(f32(value * 255.0) + 0.5))
    byte = int(min(rounded, 255.0)) if rounded > 0.0 else 0
    return max(byte, 128) if value >= 0.5 else min(byte, 127)


def packed_factor(components: tuple[float, ...]) -> bytes:
    """The low byte of each whole part."""
    return bytes(truncated_int32(value) & 0xFF for value in components)
