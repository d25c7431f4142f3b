"""The many ways to write the same tokens: letter case, number notations, blanks, comments, line ends."""

import random
import struct

from ..ieee import f32

BYTE_ORDER_MARK = b"\xef\xbb\xbf"


class Spelling:
    """How one file is written; every file has habits of its own."""

    def __init__(self, rng: random.Random) -> None:
        self._rng = rng
        self._capitals = rng.random()
        self._bit_patterns = rng.choice((0.0, 0.0, 0.3, 1.0))
        self._odd_integers = rng.choice((0.0, 0.0, 0.05, 0.5))
        self._comments = rng.choice((0.0, 0.0, 0.02, 0.1))
        self._line_end = rng.choice((b"\n", b"\n", b"\n", b"\r\n"))
        self._byte_order_mark = rng.random() < 0.02
        # As exporters write; now and then with a line that is not.
        self._oddities = rng.choice((0.0, 0.01, 1.0))

    def word(self, keyword: str) -> bytes:
        chance = self._rng.random()
        if chance < self._capitals:
            return keyword.encode()
        if chance > 0.98:
            return "".join(self._rng.choice((c.lower(), c)) for c in keyword).encode()
        return keyword.capitalize().encode()

    def string(self, text: bytes) -> bytes:
        return b'"' + text + b'"'

    def integer(self, value: int) -> bytes:
        if self._rng.random() >= self._odd_integers:
            return b"%d" % value
        signed = value - 0x100000000 if value >= 0x80000000 else -value
        notations = [b"0x%x" % value, b"0X%08X" % value, b"0%o" % value]
        if value >= 0x80000000 or value == 0:
            notations.append(b"-%d" % -signed)
        return self._rng.choice(notations)

    def number(self, value: float) -> bytes:
        """A float that reads as the value rounded to single precision."""
        value = f32(value)
        if abs(value) == float("inf"):
            return b"1e39" if value > 0 else b"-1.0e999"
        if self._rng.random() < self._bit_patterns:
            bits = struct.pack(">f", value)
            if self._rng.random() < 0.5:
                return b"&" + bits.hex().encode()
            return b"$" + bits[::-1].hex().upper().encode()
        return self._decimal(value)

    def _decimal(self, value: float) -> bytes:
        style = self._rng.random()
        if style < 0.6:
            text = b"%.9g" % value
        elif style < 0.8:
            text = b"%.*e" % (self._rng.choice((8, 12, 40)), value)
        else:
            text = repr(value).encode()
        if not set(b".e") & set(text):
            text += self._rng.choice((b".0", b".", b"e0", b"E+00"))
        if text.startswith(b"0.") and len(text) > 2 and self._rng.random() < 0.2:
            text = text[1:]
        return text + (b"f" if self._rng.random() < 0.05 else b"")

    def join(self, tokens: list[bytes]) -> bytes:
        text = bytearray(BYTE_ORDER_MARK if self._byte_order_mark else b"")
        for token in tokens:
            text += token + self._gap(token)
        return bytes(text)

    def _gap(self, token: bytes) -> bytes:
        if self._rng.random() >= self._oddities:
            return self._exporter_gap(token)
        if self._rng.random() < self._comments:
            return self._rng.choice((b" ", b"")) + b'# "note" 1 {' + self._line_end
        if token in (b"{", b"}") or self._rng.random() < 0.15:
            return self._line_end + b"\t" * self._rng.randrange(3)
        if token in (b"(", b")", b":") and self._rng.random() < 0.2:
            return b""
        return self._rng.choice((b" ", b" ", b"  ", b"\t"))

    def _exporter_gap(self, token: bytes) -> bytes:
        """A line an item."""
        if token in (b"{", b")"):
            return self._line_end + b"\t\t"
        if token in (b"}",) or token.startswith(b'"'):
            return self._line_end
        return b" " if token in (b"(", b":") else b"  "
