"""Names of up to 12 characters packed into 64 bits, base 38, the first character lowest."""

ALPHABET = b"0123456789abcdefghijklmnopqrstuvwxyz_"
LONGEST_NAME = 12


def pack_name(name: bytes) -> int | None:
    """The packed name, letter case dropped; None for names that are too long or hold other characters."""
    if len(name) > LONGEST_NAME:
        return None
    value = 0
    for character in reversed(name.lower()):
        code = ALPHABET.find(character) + 1
        if code == 0:
            return None
        value = value * 38 + code
    return value
