"""A file in the making: a list of spelled tokens."""

import random
from contextlib import contextmanager
from typing import Iterator

from .spelling import Spelling


class TokenList:
    def __init__(self, rng: random.Random) -> None:
        self.tokens: list[bytes] = []
        self.spelling = Spelling(rng)
        self._rng = rng

    def text(self) -> bytes:
        return self.spelling.join(self.tokens)

    def mark(self, punctuation: str) -> None:
        self.tokens.append(punctuation.encode())

    def word(self, keyword: str) -> None:
        self.tokens.append(self.spelling.word(keyword))

    def integer(self, value: int) -> None:
        self.tokens.append(self.spelling.integer(value))

    def number(self, value: float) -> None:
        self.tokens.append(self.spelling.number(value))

    def string(self, text: bytes) -> None:
        self.tokens.append(self.spelling.string(text))

    def label(self, keyword: str) -> None:
        self.word(keyword)
        self.mark(":")

    def integer_field(self, keyword: str, value: int) -> None:
        self.label(keyword)
        self.integer(value)

    def string_field(self, keyword: str, text: bytes) -> None:
        self.label(keyword)
        self.string(text)

    def floats_field(self, keyword: str, values: list[float]) -> None:
        self.label(keyword)
        self.tuple(values)

    def tuple(self, values: list) -> None:
        self.mark("(")
        for value in values:
            if isinstance(value, bytes):
                self.string(value)
            elif isinstance(value, int):
                self.integer(value)
            else:
                self.number(value)
        self.mark(")")

    @contextmanager
    def paragraph(self, keyword: str) -> Iterator[None]:
        self.word(keyword)
        self.mark("{")
        yield
        self.mark("}")

    def header(self, version: int) -> None:
        with self.paragraph("HEADER"):
            self.integer_field("FORMATVERSION", version)
            for keyword in ("SOURCE", "TYPE", "NAME"):
                self.string_field(keyword, b"random")
            for _ in range(self._rng.choice((0, 0, 0, 2))):
                self.string_field("DEPENDENCY", b"a.pix")
