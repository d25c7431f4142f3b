"""The small text that says what an output was made from."""

VERSION = b"3"


def dependency_text(sources: list[bytes]) -> bytes:
    """The version, then one source a line."""
    return b"".join(line + b"\r\n" for line in [b"version:" + VERSION, *sources])
