from __future__ import annotations

import os
from typing import TYPE_CHECKING, Any, List, Literal, NamedTuple, Optional

import numpy

from . import _core
from ._arguments import choice_from, path_from
from ._files import Path
from ._progress import Progress, finish, report_to

if TYPE_CHECKING:
    from numpy.typing import NDArray


class Account(NamedTuple):
    """What became of the events of a recording."""

    recorded: int
    """All events, as far as files could be read."""
    rejected: int
    """Those beyond the bounds of photons and psd."""
    outside: int
    """Those within the bounds, but outside the image, its time bins or all trigger intervals."""
    counted: int
    """Those counted in the image."""


class Image:
    """Counts of events: one image, or a sequence of pages."""

    def __init__(self, counts: NDArray[numpy.uint32],
                 edges: Optional[NDArray[numpy.float64]], account: Account,
                 files: List[str]) -> None:
        self._counts = counts
        self._edges = edges
        self._account = account
        self._files = files

    @property
    def counts(self) -> NDArray[numpy.uint32]:
        """The counts, uint32 modulo 2**32: (rows, columns), or (pages, rows, columns). The memory
        that was counted in, no copy; it is freed with the last array that shows it. Before you
        subtract counts, make them signed: ``counts.astype(int)``."""
        return self._counts

    @property
    def edges(self) -> Optional[NDArray[numpy.float64]]:
        """Where time bins begin, and where the last one ends: n + 1 times in seconds, float64.
        None of one image, and of frames."""
        return self._edges

    @property
    def account(self) -> Account:
        """What became of the events."""
        return self._account

    def save(self, path: Path, format: Literal["tiff_w4", "tiff_w8"] = "tiff_w4", *,
             progress: Progress = None) -> None:
        """Write the counts as a TIFF file of 32-bit grey values, the same that vexolan writes.

        The file takes the place of an older one in one step when it is complete; missing folders
        are made.

        Parameters
        ----------
        path : str, bytes or os.PathLike
            Where to write. Files of the recording and other recordings are never replaced.
        format : str
            "tiff_w4", classic TIFF below 4 GiB, or "tiff_w8", BigTIFF.
        progress : callable or tqdm-like, optional
            Told how many pages have been written.

        Raises
        ------
        ValueError
            For a path that would destroy a recording, another format, or too large an image for
            classic TIFF.
        OSError
            If the file cannot be written. The path holds what it held before then.
        """
        target = path_from(path)
        choice_from(format, "format", ("tiff_w4", "tiff_w8"))
        total = 1 if self._counts.ndim == 2 else len(self._counts)
        report = report_to(progress, total)
        _core.save_counts(self._counts, target, format, list(map(os.fsencode, self._files)), report)
        finish(report, total)

    def __array__(self, dtype: Any = None, copy: Optional[bool] = None) -> NDArray[Any]:
        """The counts: what takes arrays takes an image."""
        if copy:
            return numpy.array(self._counts, dtype)
        return numpy.asarray(self._counts, dtype)

    def __repr__(self) -> str:
        return f"<vexolan.Image of shape {self._counts.shape}, {self._account}>"
