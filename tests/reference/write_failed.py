"""The one way in which writing a geometry file ends early."""


class WriteFailed(Exception):
    """Carries the error line."""

    def __init__(self, message: bytes) -> None:
        super().__init__(message)
        self.message = message
