from __future__ import annotations


class RecordingWarning(UserWarning):
    """A file of a recording was left out, or could not be read to its end."""


class RecordingError(Exception):
    """A file cannot be read, or not as asked for.

    Attributes
    ----------
    path : str
        The file.
    reason : str
        What is wrong with it.
    """

    def __init__(self, path: str, reason: str) -> None:
        super().__init__(path, reason)
        self.path = path
        self.reason = reason

    def __str__(self) -> str:
        return describe(self.path, self.reason)


def describe(path: str, reason: str) -> str:
    """Names the file, unless the reason does."""
    name = f'file "{path}"'
    return reason if reason.startswith(name) else f"{name}: {reason}"
