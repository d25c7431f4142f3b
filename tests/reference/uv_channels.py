"""Which UV streams a piece stores, and which texture coordinates they feed."""

from .model import Piece, Stream

SLOTS = 8
UV_TAGS = [b"_UV%d" % k for k in range(SLOTS)]
TEXCOORD_NAMES = [b"_TEXCOORD%d" % k for k in range(SLOTS)]
UNFED = 0xF


def uv_channels(piece: Piece) -> list[Stream]:
    """The streams _UV0, _UV1 and so on, up to the first that is missing."""
    channels = []
    for tag in UV_TAGS:
        stream = piece.stream(tag)
        if stream is None:
            break
        channels.append(stream)
    return channels


def texture_coordinate_map(channels: list[Stream]) -> int:
    """For every slot, four bits with the number of its channel."""
    entries = [UNFED] * SLOTS
    for number, stream in enumerate(channels):
        if not stream.aliases:
            entries[number] = number
        for alias in stream.aliases:
            for slot in range(SLOTS):
                if alias in (TEXCOORD_NAMES[slot], UV_TAGS[slot]):
                    entries[slot] = number
    return sum(entry << (4 * slot) for slot, entry in enumerate(entries))
