from __future__ import annotations

import os
import warnings
from typing import (TYPE_CHECKING, Any, Dict, Iterable, List, Literal, Optional, Sequence,
                    Tuple, Union)

import numpy

from . import _core
from ._arguments import (IntegerBounds, RealBounds, choice_from, path_from, require_memory_for,
                         set_pages, settings_from, survey_bounds_from, switch_from)
from ._errors import RecordingError, RecordingWarning, describe
from ._files import Path
from ._image import Account, Image
from ._progress import Progress, finish, report_to

if TYPE_CHECKING:
    from numpy.typing import NDArray

Since = Literal["start", "trigger"]
_modes = {"start": _core.Mode.ignore, "trigger": _core.Mode.reference}


def open(recording: Union[Path, Iterable[Path]], strict: bool = False, *,
         progress: Progress = None) -> Recording:
    """Open a recording.

    Parameters
    ----------
    recording : path, or paths
        A folder, of which the ``*.orvenevent`` files are taken, sorted by name; a file; or files in
        this order.
    strict : bool
        Whether a faulty file is a RecordingError. Else it is a RecordingWarning, and the file is
        left out.
    progress : callable or tqdm-like, optional
        Told how many files have been opened: called as ``progress(done, total)``, or an object with
        ``total`` and ``update(n)``.

    Raises
    ------
    FileNotFoundError
        For a path at which there is nothing.
    ValueError
        For a folder without event files, and for an empty list.
    RecordingError
        With `strict`, for the first faulty file.
    """
    return Recording(recording, strict, progress=progress)


class Recording:
    """The event files of a recording, which stay open.

    Several threads may use one object at the same time. Counting uses all cores and lets other
    threads run; Ctrl-C ends it with KeyboardInterrupt. What all kinds of images take:

    shape : (rows, columns)
    photons : (low, high), optional
        Bounds of photon counts, both included; None is no bound.
    psd : (low, high), optional
        Bounds of PSD values, both included; NaN is within no bound.
    region : (x0, y0, x1, y1), optional
        The part of the detector that is shown, in detector pixels; else all of it, 256 x 256.
    progress : callable or tqdm-like, optional
        Told how many events have been read: called as ``progress(done, total)``, or an object with
        ``total`` and ``update(n)``. What it raises ends the counting.
    """

    def __init__(self, recording: Union[Path, Iterable[Path]], strict: bool = False, *,
                 progress: Progress = None) -> None:
        self._strict = switch_from(strict, "strict")
        self._folder, self._paths = _paths_from(recording)
        report = report_to(progress, len(self._paths))
        self._opened = _core.Recording(self._paths, report)
        finish(report, len(self._paths))
        self._tell_failures(self._opened.faults, self._strict)

    @property
    def files(self) -> List[str]:
        """The files that are read, in their order."""
        return self._opened.files

    @property
    def faults(self) -> Dict[str, str]:
        """Files that were left out, and why: {path: reason}."""
        return dict(self._opened.faults)

    @property
    def n_events(self) -> int:
        """The number of events of all files."""
        return self._opened.n_events

    @property
    def n_triggers(self) -> Optional[int]:
        """The number of external triggers of all files; None if none was recorded with trigger
        input."""
        return self._opened.n_triggers

    def image(self, *, shape: Tuple[int, int] = (512, 512), photons: IntegerBounds = None,
              psd: RealBounds = None, since: Since = "start",
              region: Optional[Sequence[float]] = None, progress: Progress = None) -> Image:
        """Count events in one image over all time.

        Parameters
        ----------
        since : str
            "start": all events. "trigger": those before the last trigger of their file.
        shape : (rows, columns)
        photons, psd : (low, high), optional
            Bounds, both included; None is no bound.
        region : (x0, y0, x1, y1), optional
            The part of the detector that is shown, in detector pixels.
        progress : callable or tqdm-like, optional
            ``progress(done, total)``, or an object with ``total`` and ``update(n)``.

        Returns
        -------
        Image
            Counts of shape (rows, columns): x selects the column, y the row.
        """
        settings = settings_from(shape, photons, psd, region)
        settings.mode = _modes[choice_from(since, "since", _modes)]
        return self._count(settings, progress)

    def pages(self, bin: float, n: int, *, since: Since = "start", start: Optional[float] = None,
              upright: bool = True, shape: Tuple[int, int] = (512, 512),
              photons: IntegerBounds = None, psd: RealBounds = None,
              region: Optional[Sequence[float]] = None, progress: Progress = None) -> Image:
        """Count events in one page per time bin.

        Parameters
        ----------
        bin : float
            The length of a time bin in seconds, which is rounded to ticks of 1.5625 ns.
        n : int
            The number of time bins.
        since : str
            "start": events by their own time. "trigger": by the time since the last trigger, all
            intervals between triggers added up.
        start : float, optional
            Where the first bin begins, in seconds; events before it are not counted. Without it
            the first bin begins at 0, and takes events less than one bin before it too.
        upright : bool
            Whether x selects the column and y the row, as in one image; else the other way round.
        shape : (rows, columns)
        photons, psd : (low, high), optional
            Bounds, both included; None is no bound.
        region : (x0, y0, x1, y1), optional
            The part of the detector that is shown, in detector pixels.
        progress : callable or tqdm-like, optional
            ``progress(done, total)``, or an object with ``total`` and ``update(n)``.

        Returns
        -------
        Image
            Counts of shape (n, rows, columns), and the edges of the time bins.
        """
        settings = settings_from(shape, photons, psd, region)
        set_pages(settings, bin, n, start, upright)
        settings.mode = _modes[choice_from(since, "since", _modes)]
        return self._count(settings, progress)

    def frames(self, bin: float, n: int, *, start: Optional[float] = None, upright: bool = True,
               shape: Tuple[int, int] = (512, 512), photons: IntegerBounds = None,
               psd: RealBounds = None, region: Optional[Sequence[float]] = None,
               progress: Progress = None) -> Image:
        """Count events in one page per interval between triggers, numbered through all files.

        Parameters
        ----------
        bin : float
            How much of each interval is counted, in seconds.
        n : int
            The number of frames; later ones are not counted.
        start : float, optional
            Where that begins which is counted, in seconds after the trigger.
        upright : bool
            Whether x selects the column and y the row, as in one image; else the other way round.
        shape : (rows, columns)
        photons, psd : (low, high), optional
            Bounds, both included; None is no bound.
        region : (x0, y0, x1, y1), optional
            The part of the detector that is shown, in detector pixels.
        progress : callable or tqdm-like, optional
            ``progress(done, total)``, or an object with ``total`` and ``update(n)``.

        Returns
        -------
        Image
            Counts of shape (n, rows, columns), without edges.

        Raises
        ------
        RecordingError
            For any faulty file: frames behind it would have other numbers.
        """
        settings = settings_from(shape, photons, psd, region)
        set_pages(settings, bin, n, start, upright)
        settings.mode = _core.Mode.frameSync
        self._tell_failures(self._opened.faults, True)
        return self._count(settings, progress)

    def survey(self, *, photons: IntegerBounds = None, psd: RealBounds = None,
               progress: Progress = None) -> Dict[str, Any]:
        """What ``vexolan-info --json`` says of the recording: how events are spread, and which
        images fit it.

        Parameters
        ----------
        photons, psd : (low, high), optional
            Bounds, both included; None is no bound.
        progress : callable or tqdm-like, optional
            ``progress(done, total)``, or an object with ``total`` and ``update(n)``.

        Returns
        -------
        dict
            As docs/json.md describes.
        """
        import json

        bounds = survey_bounds_from(photons, psd)
        report = report_to(progress, self.n_events)
        text = _core.survey(self._folder, self._paths, bounds, report)
        finish(report, self.n_events)
        survey: Dict[str, Any] = json.loads(text)
        return survey

    def _count(self, settings: _core.Settings, progress: Progress) -> Image:
        require_memory_for(settings)
        report = report_to(progress, self.n_events)
        strict = self._strict or settings.mode == _core.Mode.frameSync
        counts, account, failures = self._opened.count(settings, strict, report)
        self._tell_failures(failures, strict)
        finish(report, self.n_events)
        return Image(counts, _edges_of(settings), Account(*account), self.files)

    @staticmethod
    def _tell_failures(failures: List[Tuple[str, str]], strict: bool) -> None:
        for path, reason in failures:
            if strict:
                raise RecordingError(path, reason)
            warnings.warn(describe(path, reason), RecordingWarning, stacklevel=4)

    def __reduce__(self) -> Any:
        return Recording, (self._paths, self._strict), {"_folder": self._folder}

    def __repr__(self) -> str:
        left_out = f", {len(self.faults)} left out" if self.faults else ""
        return f"<vexolan.Recording of {len(self.files)} files{left_out}, {self.n_events} events>"


def _paths_from(recording: Any) -> Tuple[Optional[bytes], List[bytes]]:
    """The folder, if it is one, and the files."""
    if isinstance(recording, (str, bytes, os.PathLike)):
        path = path_from(recording, "recording")
        os.stat(os.fsdecode(path))  # tells why there is nothing
        if not os.path.isdir(path):
            return None, [path]
        files = _core.files_in(path)
        if not files:
            raise ValueError(f"recording: no event files in {os.fsdecode(path)!r}")
        return path, files
    try:
        paths = [path_from(each, "recording") for each in recording]
    except TypeError:
        raise TypeError("recording must be a path or a sequence of paths, "
                        f"not {recording!r:.100}") from None
    if not paths:
        raise ValueError("recording must not be an empty sequence")
    return None, paths


def _edges_of(settings: _core.Settings) -> Optional[NDArray[numpy.float64]]:
    n = settings.time_max_binNumber
    if n is None or settings.mode == _core.Mode.frameSync:
        return None
    origin, width = _core.bins_of(settings)
    ticks = numpy.arange(n + 1, dtype="i8" if abs(origin) + width * n < 2**63 else "f8")
    seconds: NDArray[numpy.float64] = (origin + width * ticks) * _core.tick
    return seconds
