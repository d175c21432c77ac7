from __future__ import annotations

import os
from typing import TYPE_CHECKING, Any, Optional, Tuple, Union

import numpy

from . import _core
from ._arguments import path_from
from ._errors import RecordingError

if TYPE_CHECKING:  # its import takes longer than that of this package
    from numpy.typing import NDArray

Path = Union[str, bytes, "os.PathLike[str]", "os.PathLike[bytes]"]

event_dtype = numpy.dtype([("x", "<i4"), ("y", "<i4"), ("time", "<i8"), ("photons", "<u8"),
                           ("psd", "<f8")])
"""An event as it lies in files: x and y in 1/65536 of a detector pixel, time in ticks of
1.5625 ns."""

_piece_length = 2**18  # events that are converted at a time: between these Ctrl-C is noticed

_fields: Tuple[str, ...] = event_dtype.names or ()


def read_events(path: Path) -> NDArray[numpy.void]:
    """The events of a file, in the order of the file.

    Returns
    -------
    numpy.ndarray
        Shape (events,), with the fields x and y in 1/65536 of a detector pixel, time in ticks of
        1.5625 ns, photons, and psd. It is read-only and mapped from the file where that can be:
        what is not looked at is not read. As with all that is mapped, the process ends by SIGBUS if
        it looks at events of a file that has been cut off meanwhile: copy what must outlast that.

    Raises
    ------
    RecordingError
        For a file that is damaged or no event file.
    OSError
        For a file that cannot be opened.
    """
    events, _ = _index_of(path)
    return _records_in(path, events, event_dtype)


def read_triggers(path: Path) -> Optional[NDArray[numpy.int64]]:
    """The times of the external triggers of a file in ticks of 1.5625 ns, int64, in the order of
    the file; None if it was recorded without trigger input.

    Raises
    ------
    RecordingError, OSError
        As `read_events`.
    """
    _, triggers = _index_of(path)
    return None if triggers is None else _records_in(path, triggers, numpy.dtype("<i8"))


def write_recording(path: Path, events: Any, triggers: Any = None) -> None:
    """Write an event file.

    The file takes the place of an older one in one step when it is complete.

    Parameters
    ----------
    path : str, bytes or os.PathLike
        Where to write; vexolan takes files that are named ``*.orvenevent`` from folders.
    events : structured array
        Shape (events,), with the fields of `event_dtype` in any order.
    triggers : array of integers, optional
        Times of external triggers in ticks, shape (triggers,). None: recorded without trigger
        input.

    Raises
    ------
    TypeError, ValueError
        For events or triggers of other kinds, or beyond what the file can hold.
    OSError
        If the file cannot be written.
    """
    target = path_from(path)
    records = _events_from(events)
    times = None if triggers is None else _column_from(triggers, "triggers", numpy.dtype("<i8"))
    _core.write_recording(target, records.view(numpy.uint8), times)


def _index_of(path: Path) -> Any:
    name = path_from(path)
    with open(os.fsdecode(name), "rb", opener=_open_at_once):  # tells why it cannot be opened
        pass
    try:
        return _core.index_of_file(name)
    except ValueError as fault:
        raise RecordingError(os.fsdecode(name), str(fault)) from None


def _open_at_once(path: str, flags: int) -> int:
    """Does not wait for the other end of a pipe."""
    return os.open(path, flags | os.O_NONBLOCK)


def _records_in(path: Path, block: Any, dtype: numpy.dtype[Any]) -> NDArray[Any]:
    position, number = block
    name = os.fsdecode(path)
    if number == 0:
        return numpy.empty(0, dtype)
    try:
        return numpy.memmap(name, dtype, "r", position, (number,))
    except (OSError, ValueError):  # not all file systems can map files
        records = numpy.fromfile(name, dtype, number, offset=position)
    if len(records) != number:
        raise RecordingError(name, "Read Error!")
    return records


def _events_from(events: Any) -> NDArray[numpy.void]:
    array = _array_from(events, "events")
    missing = set(_fields) - set(array.dtype.names or ())
    if missing:
        raise TypeError("events must be a structured array with the fields "
                        f"{', '.join(_fields)}; missing: {', '.join(sorted(missing))}")
    if array.dtype == event_dtype and array.flags.c_contiguous:
        return array
    records = numpy.empty(len(array), event_dtype)
    for first in range(0, len(array), _piece_length):
        piece = slice(first, first + _piece_length)
        for name in _fields:
            records[name][piece] = _column_from(array[name][piece], f"events[{name!r}]",
                                                event_dtype[name])
    return records


def _array_from(values: Any, name: str) -> NDArray[Any]:
    try:
        array = numpy.asarray(values)
    except ValueError as fault:
        raise ValueError(f"{name} must be an array: {fault}") from None
    if array.ndim == 0:
        raise TypeError(f"{name} must be an array, not {type(values).__name__}")
    if array.ndim != 1:
        raise ValueError(f"{name} must have one dimension, not {array.ndim}")
    return array


def _column_from(values: Any, name: str, dtype: numpy.dtype[Any]) -> NDArray[Any]:
    """Values of a type that holds all of them."""
    array = _array_from(values, name)
    if array.size == 0:
        return numpy.empty(0, dtype)
    if array.dtype.kind not in ("iu" if dtype.kind in "iu" else "iuf"):
        raise TypeError(f"{name} must be {'integers' if dtype.kind in 'iu' else 'real numbers'}, "
                        f"not {array.dtype}")
    if dtype.kind in "iu":
        limits = numpy.iinfo(dtype)
        if int(array.min()) < limits.min or int(array.max()) > limits.max:
            raise ValueError(f"{name} must be between {limits.min} and {limits.max}")
    return numpy.ascontiguousarray(array, dtype)
