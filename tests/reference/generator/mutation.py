"""One random edit of a file."""

import random
import re

_TOKEN = re.compile(rb'"[^"]*"|[A-Za-z_][A-Za-z0-9_]*|[^\s{}():"]+|[{}():]')
_FIELD = re.compile(rb"([A-Za-z]+)\s*:\s*([0-9]+)(?![0-9.eE])")
STRAY = (
    b"x",
    b'"',
    b'"""',
    b'"""a""b\n"""',
    b'"""" """"',
    b'"text"',
    b'""',
    b"{",
    b"}",
    b"(",
    b")",
    b":",
    b"0",
    b"1",
    b"2",
    b"-1",
    b"4294967295",
    b"99999999999",
    b"-99999999999",
    b"0x",
    b"0x10",
    b"09",
    b"1.0",
    b"-.5e-3f",
    b"1e400",
    b"-1e400",
    b"1e-400",
    b"0e99999999999999999999",
    b"-0.0e-99999999999999999999",
    b"000000000000000000000001.5",
    b"0.000000000000000000000000000000000000000000001401298464324817070923729583289916131280261941876515771757057",
    b"340282356779733661637539395458142568447.9",
    b"340282356779733661637539395458142568448.0",
    b"16777217.0000000000000000000000000000000000000000000000001",
    b"1.5.5",
    b"-",
    b"&7f800000",
    b"$0000807f",
    b"&3f8000001",
    b"#",
    b"\n",
    b"\0",
    b"\xff",
    b"Skin",
    b"Part",
    b"Locator",
    b"Aliases",
    b"FLOAT33",
    b'"' + b"y" * 255 + b'"',
    b'"' + b"y" * 256 + b'"',
)


def mutated(rng: random.Random, text: bytes) -> bytes:
    return rng.choice((_token_edit, _token_edit, _count_edit, _count_edit, _truncated, _byte_edit))(rng, text)


def _count_edit(rng: random.Random, text: bytes) -> bytes:
    """The number behind some keyword changes by one, or to something else."""
    found = list(_FIELD.finditer(text))
    if not found:
        return text
    keyword = rng.choice(sorted({field[1].upper() for field in found}))
    field = rng.choice([field for field in found if field[1].upper() == keyword])
    number = rng.choice((_counted(rng, field[2]), _counted(rng, field[2]), b"0", b"4294967295", b"77", b"1.0"))
    return text[: field.start(2)] + number + text[field.end(2) :]


def _token_edit(rng: random.Random, text: bytes) -> bytes:
    """A token is taken out, doubled, replaced, counted up or down, or swapped with its follower."""
    spans = [match.span() for match in _TOKEN.finditer(text)]
    if len(spans) < 2:
        return text + rng.choice(STRAY)
    number = rng.randrange(len(spans) - 1)
    first, last = spans[number]
    token = text[first:last]
    other_first, other_last = rng.choice(spans)
    replacement = rng.choice(
        (
            b"",
            token + b" " + token,
            rng.choice(STRAY),
            text[other_first:other_last],
            token + rng.choice(STRAY),
            _counted(rng, token),
            _counted(rng, token),
        )
    )
    return text[:first] + replacement + text[last:]


def _counted(rng: random.Random, token: bytes) -> bytes:
    """An integer off by one; other tokens lose or gain a byte."""
    if token.isdigit():
        return b"%d" % max(0, int(token) + rng.choice((-1, 1)))
    return token[:-1] if rng.random() < 0.5 else token + token[-1:]


def _truncated(rng: random.Random, text: bytes) -> bytes:
    return text[: rng.randrange(len(text) + 1)]


def _byte_edit(rng: random.Random, text: bytes) -> bytes:
    if not text:
        return text
    place = rng.randrange(len(text))
    byte = bytes([rng.choice((text[place] ^ (1 << rng.randrange(8)), rng.randrange(256)))])
    return text[:place] + byte + text[place + rng.randrange(2) :]
