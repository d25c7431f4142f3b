"""Parenthesised groups of literals, the values of stream items, and the bytes they become."""

import struct

from .model import ITEM_SIZES
from .scanner import FLOAT, INTEGER, STRING
from .token_reader import TokenReader

FLOAT_COUNTS = (1, 2, 3, 4, 5, 6, 16)
INTEGER_COUNTS = (1, 2, 3)
STRING_COUNTS = (1,)

Shape = tuple[str, int]


def read_format(reader: TokenReader) -> str:
    """The keyword that says what the items of a stream are."""
    reader.label("FORMAT")
    return reader.take(*ITEM_SIZES).kind


def read_tuple(reader: TokenReader) -> tuple[Shape, bytes]:
    """A group of any allowed shape."""
    reader.take("(")
    first = reader.take(FLOAT, INTEGER, STRING)
    counts = {FLOAT: FLOAT_COUNTS, INTEGER: INTEGER_COUNTS, STRING: STRING_COUNTS}[first.kind]
    values = [first.value]
    while len(values) < max(counts) and (len(values) not in counts or not reader.next_is(")")):
        values.append(reader.take(first.kind).value)
    reader.take(")")
    return (first.kind, len(values)), pack(first.kind, values)


def read_tuple_of_shape(reader: TokenReader, shape: Shape) -> bytes:
    """A group of exactly one shape."""
    kind, count = shape
    reader.take("(")
    values = [reader.take(kind).value for _ in range(count)]
    reader.take(")")
    return pack(kind, values)


def pack(kind: str, values: list) -> bytes:
    if kind == STRING:
        return values[0].ljust(ITEM_SIZES["STRING"], b"\0")
    return struct.pack(f"<{len(values)}{'f' if kind == FLOAT else 'I'}", *values)


def fit(data: bytes, stream_format: str) -> bytes:
    """The item of a format that begins like the data: longer data is cut, shorter data filled up with zeros."""
    size = ITEM_SIZES[stream_format]
    return data[:size].ljust(size, b"\0")
