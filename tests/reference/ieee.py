"""Arithmetic of IEEE-754 numbers on top of Python's floats.

Python's floats are doubles. The sum, difference, product, quotient or square root of single-precision numbers, worked
out in double precision and rounded once more, is the single-precision result exactly; so `f32` after every operation
is all that single precision needs.
"""

import array
import math

_single = array.array("f", [0.0])


def f32(value: float) -> float:
    """Rounds to the nearest single; what is too large becomes infinite."""
    _single[0] = value
    return _single[0]


def one_nan(value: float) -> float:
    """The number; what is none in its one form, since its sign depends on the processor."""
    return math.nan if math.isnan(value) else value


def divide(dividend: float, divisor: float) -> float:
    """The quotient in double precision, with the results Python refuses: x/0 is infinite, 0/0 is not a number."""
    if divisor != 0.0:
        return dividend / divisor
    if dividend == 0.0 or math.isnan(dividend) or math.isnan(divisor):
        return math.nan
    return math.copysign(math.inf, dividend) * math.copysign(1.0, divisor)


def square_root(value: float) -> float:
    """The square root in double precision; not a number below zero."""
    return math.sqrt(value) if value >= 0.0 else math.nan


def floor(value: float) -> float:
    """The floor as a float; what has no integer below it stays as it is."""
    return float(math.floor(value)) if math.isfinite(value) else value


def truncated_int32(value: float) -> int:
    """Conversion to a signed 32-bit integer towards zero; what does not fit gives the most negative one."""
    if not math.isfinite(value) or not -2147483649.0 < value < 2147483648.0:
        return -0x80000000
    return int(value)


def printed(value: float) -> bytes:
    """With six decimals, as the C library writes it: what is not a number shows its sign too."""
    sign = b"-" if math.copysign(1.0, value) < 0.0 else b""
    return sign + b"%f" % abs(value)
