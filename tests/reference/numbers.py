"""What the number texts of the formats are worth."""

import struct

from .ieee import f32

_DIGITS = b"0123456789abcdef"
_INT32_LOWEST = 0x80000000
_UINT32_HIGHEST = 0xFFFFFFFF


def integer_value(text: bytes) -> int:
    """The 32 bits of an integer text.

    A leading 0x means base 16, a leading 0 base 8, whatever follows; reading stops at the first byte that is no digit
    of the base. Both ends saturate.
    """
    negative = text.startswith(b"-")
    digits = text[1:].lower() if negative else text.lower()
    if digits.startswith(b"0x"):
        magnitude = _magnitude(digits[2:], 16)
    elif digits.startswith(b"0"):
        magnitude = _magnitude(digits, 8)
    else:
        magnitude = _magnitude(digits, 10)
    if negative:
        return -min(magnitude, _INT32_LOWEST) & _UINT32_HIGHEST
    return magnitude


def _magnitude(digits: bytes, base: int) -> int:
    value = 0
    for digit in digits:
        code = _DIGITS.find(digit)
        if not 0 <= code < base:
            break
        value = min(value * base + code, _UINT32_HIGHEST)
    return value


def decimal_value(text: bytes) -> float:
    """A decimal text as the nearest double, then the nearest single."""
    return f32(float(text.rstrip(b"fF")))


def bit_pattern_value(text: bytes) -> float | None:
    """The single with the bits of eight hex digits: `&` gives the number, `$` its bytes in memory order.

    None for infinities and what is not a number.
    """
    order = "big" if text.startswith(b"&") else "little"
    bits = int.from_bytes(bytes.fromhex(text[1:].decode("ascii")), order)
    if bits & 0x7F800000 == 0x7F800000:
        return None
    return struct.unpack("<f", bits.to_bytes(4, "little"))[0]
