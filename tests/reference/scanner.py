"""From the bytes of a text file to tokens.

Of the patterns that match at a place the longest wins, and of equally long ones the first.
"""

import re
from typing import Callable, NamedTuple

from .console import Console
from .keywords import keyword_at
from .numbers import bit_pattern_value, decimal_value, integer_value

END = "end of input"
STRING = "string"
LONG_STRING = "long string"
INTEGER = "integer"
FLOAT = "float"

STRING_CAPACITY = 256


class Token(NamedTuple):
    """A token: one of the kinds above, a punctuation character or a keyword in capitals, and its value."""

    kind: str
    value: int | float | bytes = 0


class Scanner:
    """Delivers the tokens of one file and reports what is none."""

    def __init__(self, text: bytes, file_name: bytes, console: Console) -> None:
        self.text = text
        self.file_name = file_name
        self.console = console
        self.position = 0
        self.line = 1
        self.token_text = b""

    def report(self, message: bytes) -> None:
        self.console.error(b"%s:%d: %s" % (self.file_name, self.line, message))

    def next_token(self) -> Token:
        """The next token; blanks, comments and unknown bytes are passed over."""
        while self.position < len(self.text):
            length, action = self._longest_match()
            self.token_text = self.text[self.position : self.position + length]
            self.position += length
            token = action(self)
            if token is not None:
                return token
        self.token_text = b""
        return Token(END)

    def _longest_match(self) -> tuple[int, "Action"]:
        best_length, best_action = 0, _unknown_byte
        for match_length, action in CANDIDATES[self.text[self.position]]:
            length = match_length(self.text, self.position)
            if length > best_length:
                best_length, best_action = length, action
        return max(best_length, 1), best_action


Action = Callable[[Scanner], Token | None]
MatchLength = Callable[[bytes, int], int]


def _line_feed(scanner: Scanner) -> None:
    scanner.line += 1


def _blanks(scanner: Scanner) -> None:
    del scanner


def _comment(scanner: Scanner) -> None:
    if scanner.token_text.endswith(b"\n"):
        scanner.line += 1


def _punctuation(scanner: Scanner) -> Token:
    return Token(scanner.token_text.decode("ascii"))


def _keyword(scanner: Scanner) -> Token:
    return Token(scanner.token_text.upper().decode("ascii"))


def _integer(scanner: Scanner) -> Token:
    return Token(INTEGER, integer_value(scanner.token_text))


def _decimal_float(scanner: Scanner) -> Token:
    return Token(FLOAT, decimal_value(scanner.token_text))


def _bit_pattern(scanner: Scanner) -> Token:
    value = bit_pattern_value(scanner.token_text)
    if value is None:
        scanner.report(b"Invalid floating point value '%s'" % scanner.token_text)
        return Token(END)
    return Token(FLOAT, value)


def _string(scanner: Scanner) -> Token:
    """A quoted text: no escapes, line feeds are not counted, 255 bytes at most."""
    end = scanner.text.find(b'"', scanner.position)
    content = scanner.text[scanner.position : end if end >= 0 else len(scanner.text)]
    if len(content) >= STRING_CAPACITY:
        scanner.report(b"string length exceeds buffer size (%d bytes)" % STRING_CAPACITY)
    if end < 0:
        return _unterminated(scanner)
    scanner.position = end + 1
    return Token(STRING, content[: STRING_CAPACITY - 1].split(b"\0")[0])


def _long_string(scanner: Scanner) -> Token:
    end = scanner.text.find(b'"""', scanner.position)
    if end < 0:
        return _unterminated(scanner)
    content = scanner.text[scanner.position : end]
    scanner.position = end + 3
    return Token(LONG_STRING, content)


def _unterminated(scanner: Scanner) -> Token:
    scanner.position = len(scanner.text)
    scanner.report(b"unterminated string constant")
    return Token(END)


def _unknown_byte(scanner: Scanner) -> None:
    scanner.report(b"unknown token : '%s'" % scanner.token_text.rstrip(b"\0"))


def _matches(pattern: bytes) -> MatchLength:
    """The length of what a regular expression matches at a place; 0 when it does not."""
    match = re.compile(pattern).match

    def match_length(text: bytes, position: int) -> int:
        found = match(text, position)
        return found.end() - position if found else 0

    return match_length


def _keyword_length(text: bytes, position: int) -> int:
    return len(keyword_at(text, position))


EXPONENT = rb"[eE][+-]?[0-9]+"

LETTERS = bytes(range(ord("A"), ord("Z") + 1)) + bytes(range(ord("a"), ord("z") + 1))
DIGITS = b"0123456789"

# Each pattern with the bytes it may begin with, so that the others need not be tried.
PATTERNS: list[tuple[bytes, MatchLength, Action]] = [
    (b"\n", _matches(rb"\n"), _line_feed),
    (b" \t\r", _matches(rb"[ \t\r]+"), _blanks),
    (b"#", _matches(rb"#[^\n]*\n?"), _comment),
    (b":{}()", _matches(rb"[:{}()]"), _punctuation),
    (LETTERS, _keyword_length, _keyword),
    (b"0", _matches(rb"0[xX][0-9a-fA-F]+"), _integer),
    (b"0", _matches(rb"0[0-7]+"), _integer),
    (b"-" + DIGITS, _matches(rb"-?[0-9]+"), _integer),
    (b"$&", _matches(rb"[$&][0-9a-fA-F]{8}"), _bit_pattern),
    (b"-." + DIGITS, _matches(rb"-?(?:[0-9]+\.[0-9]*|\.[0-9]+)(?:%s)?[fF]?" % EXPONENT), _decimal_float),
    (b"-" + DIGITS, _matches(rb"-?[0-9]+%s[fF]?" % EXPONENT), _decimal_float),
    (b'"', _matches(rb'"'), _string),
    (b'"', _matches(rb'"""'), _long_string),
]
CANDIDATES = [[entry[1:] for entry in PATTERNS if byte in entry[0]] for byte in range(256)]
