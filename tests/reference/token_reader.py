"""Tokens with one of look-ahead, and the shapes that every text format shares.

The next token is read only when a decision needs it, so a check that is complete without it speaks before anything
that the next token would say, and names the token before it.
"""

from .scanner import END, FLOAT, INTEGER, STRING, Scanner, Token


class ParseStopped(Exception):
    """The file is refused; its message has been given."""


class TokenReader:
    def __init__(self, scanner: Scanner) -> None:
        self._scanner = scanner
        self._ahead: Token | None = None

    def report(self, message: bytes) -> None:
        self._scanner.report(b"%s [ token '%s' ]" % (message, self._scanner.token_text.split(b"\0")[0]))

    def warn_of_file(self, message: bytes) -> None:
        self._scanner.console.warning(b"[kis] %s: %s" % (self._scanner.file_name, message))

    def fail(self, message: bytes) -> None:
        self.report(message)
        raise ParseStopped

    def check(self, holds: bool, message: bytes) -> None:
        if not holds:
            self.fail(message)

    def next_is(self, *kinds: str) -> bool:
        """Whether the next token is one of the kinds; it stays the next token."""
        if self._ahead is None:
            self._ahead = self._scanner.next_token()
        return self._ahead.kind in kinds

    def take(self, *kinds: str) -> Token:
        """The next token, which must be one of the kinds."""
        if not self.next_is(*kinds):
            self.fail(b"syntax error")
        token, self._ahead = self._ahead, None
        assert token is not None
        return token

    def take_end(self) -> None:
        self.take(END)

    def open(self, keyword: str) -> None:
        self.take(keyword)
        self.take("{")

    def close(self) -> None:
        self.take("}")

    def label(self, keyword: str) -> None:
        self.take(keyword)
        self.take(":")

    def integer_field(self, keyword: str) -> int:
        self.label(keyword)
        return self.integer()

    def string_field(self, keyword: str) -> bytes:
        self.label(keyword)
        return self.string()

    def floats_field(self, keyword: str, count: int) -> list[float]:
        self.label(keyword)
        self.take("(")
        values = [self.float() for _ in range(count)]
        self.take(")")
        return values

    def integer(self) -> int:
        return int(self.take(INTEGER).value)

    def float(self) -> float:
        return float(self.take(FLOAT).value)

    def string(self) -> bytes:
        text = self.take(STRING).value
        assert isinstance(text, bytes)
        return text


def read_header(reader: TokenReader) -> int:
    """The Header paragraph; of all it says only the format version matters."""
    reader.open("HEADER")
    version = reader.integer_field("FORMATVERSION")
    for keyword in ("SOURCE", "TYPE", "NAME"):
        reader.string_field(keyword)
    while reader.next_is("DEPENDENCY"):
        reader.string_field("DEPENDENCY")
    reader.close()
    return version
