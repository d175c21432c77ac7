from __future__ import annotations

import os
from typing import List, NamedTuple, Optional, Union

import numpy

from . import _core
from ._arguments import choice_from, path_from
from ._progress import Progress, finish, report_to


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

    def __init__(self, counts: numpy.ndarray, edges: Optional[numpy.ndarray], account: Account,
                 files: List[str]) -> None:
        self._counts = counts
        self._edges = edges
        self._account = account
        self._files = files

    @property
    def counts(self) -> numpy.ndarray:
        """The counts, uint32 modulo 2**32: (rows, columns), or (pages, rows, columns). The memory
        that was counted in, no copy; it is freed with the last array that shows it."""
        return self._counts

    @property
    def edges(self) -> Optional[numpy.ndarray]:
        """Where time bins begin, and where the last one ends: n + 1 times in seconds, float64.
        None of one image, and of frames."""
        return self._edges

    @property
    def account(self) -> Account:
        """What became of the events."""
        return self._account

    def save(self, path: Union[str, bytes, os.PathLike], format: str = "tiff_w4", *,
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
        if format == "tiff_w4" and self._counts.nbytes >= 2**32:
            raise ValueError('format "tiff_w4" ends at 4 GiB: use "tiff_w8"')
        total = 1 if self._counts.ndim == 2 else len(self._counts)
        report = report_to(progress, total)
        _core.save_counts(self._counts, target, format, list(map(os.fsencode, self._files)), report)
        finish(report, total)

    def __repr__(self) -> str:
        return f"<vexolan.Image of shape {self._counts.shape}, {self._account}>"
