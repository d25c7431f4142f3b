"""What the program says: lines on standard output and standard error, in order."""

LINE_END = b"\r\n"


class Console:
    """Collects the lines of one run."""

    def __init__(self) -> None:
        self.output = bytearray()
        self.errors = bytearray()

    def info(self, text: bytes) -> None:
        self.output += text + LINE_END

    def warning(self, text: bytes) -> None:
        self.errors += b"*** WARNING *** : " + text + LINE_END

    def error(self, text: bytes) -> None:
        self.errors += b"*** ERROR *** : " + text + LINE_END
