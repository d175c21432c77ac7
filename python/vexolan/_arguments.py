"""Checks arguments: what is wrong is said with the argument's name."""

from __future__ import annotations

import math
import operator
import os
from typing import Any, List, Optional, Sequence, Tuple

from . import _core

IntegerBounds = Optional[Sequence[Optional[int]]]
RealBounds = Optional[Sequence[Optional[float]]]

LARGEST_COUNT = 2**64 - 1
LARGEST_AXIS = 2**25  # pixels no narrower than a unit of the position
LARGEST_TIME = 2**62 * _core.tick  # seconds


def path_from(value: Any, name: str = "path") -> bytes:
    """The path in the encoding of the file system."""
    try:
        path = os.fsencode(value)
    except TypeError:
        raise TypeError(f"{name} must be a str, bytes or os.PathLike object, "
                        f"not {type(value).__name__}") from None
    except UnicodeEncodeError:
        raise ValueError(f"{name} has characters that no path can have") from None
    if b"\0" in path:
        raise ValueError(f"{name} must not hold a null character")
    if not path:
        raise ValueError(f"{name} must not be empty")
    return path


def integer_from(value: Any, name: str, low: int, high: int) -> int:
    try:
        number = operator.index(value)
    except TypeError:
        raise TypeError(f"{name} must be an integer, not {type(value).__name__}") from None
    if not low <= number <= high:
        raise ValueError(f"{name} must be between {low} and {high}, not {number}")
    return number


def real_from(value: Any, name: str) -> float:
    """A number that is not NaN."""
    try:
        if isinstance(value, (str, bytes, bytearray)):
            raise TypeError
        number = float(value)
    except TypeError:
        raise TypeError(f"{name} must be a real number, not {type(value).__name__}") from None
    except OverflowError:
        raise ValueError(f"{name} is too large") from None
    except ValueError:
        raise TypeError(f"{name} must be a real number") from None
    if math.isnan(number):
        raise ValueError(f"{name} must not be NaN")
    return number


def seconds_from(value: Any, name: str) -> float:
    seconds = real_from(value, name)
    if not abs(seconds) < LARGEST_TIME:
        raise ValueError(f"{name} must be less than 7.2e9 seconds from zero, not {seconds}")
    return seconds


def switch_from(value: Any, name: str) -> bool:
    if type(value).__name__ not in ("bool", "bool_"):  # numpy's too
        raise TypeError(f"{name} must be True or False, not {value!r}")
    return bool(value)


def choice_from(value: Any, name: str, choices: Any) -> Any:
    if not isinstance(value, str):
        raise TypeError(f"{name} must be a str, not {type(value).__name__}")
    if value not in choices:
        raise ValueError(f"{name} must be one of {', '.join(map(repr, choices))}, not {value!r}")
    return value


def items_from(value: Any, name: str, meaning: str) -> List[Any]:
    """The items of a sequence that has as many as `meaning`, which names them."""
    number = meaning.count(",") + 1
    if isinstance(value, (str, bytes, bytearray)):
        raise TypeError(f"{name} must be {meaning}, not {type(value).__name__}")
    try:
        length = len(value)
        items = [value[i] for i in range(min(length, number))]
    except (TypeError, KeyError):
        raise TypeError(f"{name} must be {meaning}, not {type(value).__name__}") from None
    if length != number:
        raise ValueError(f"{name} must be {meaning}, not {length} values")
    return items


def bounds_from(value: Any, name: str, bound_from: Any) -> Tuple[Any, Any]:
    """Two bounds, of which each may be None; both are where `value` is None."""
    if value is None:
        return None, None
    items = items_from(value, name, "(low, high)")
    low, high = (None if item is None else bound_from(item) for item in items)
    if low is not None and high is not None and low > high:
        raise ValueError(f"{name} must not have a low bound above the high one: {low} > {high}")
    return low, high


def photons_from(value: Any) -> Tuple[Any, Any]:
    return bounds_from(value, "photons",
                       lambda item: integer_from(item, "photons", 0, LARGEST_COUNT))


def psd_from(value: Any) -> Tuple[Any, Any]:
    return bounds_from(value, "psd", lambda item: real_from(item, "psd"))


def survey_bounds_from(photons: Any, psd: Any) -> _core.Bounds:
    bounds = _core.Bounds()
    bounds.nPhotons_min, bounds.nPhotons_max = photons_from(photons)
    bounds.psd_min, bounds.psd_max = psd_from(psd)
    return bounds


def settings_from(shape: Any, photons: Any, psd: Any, region: Any) -> _core.Settings:
    """What all kinds of images have."""
    settings = _core.Settings()
    settings.size_y, settings.size_x = shape_from(shape, LARGEST_AXIS if region is None else 2**31)
    low, high = photons_from(photons)
    settings.nPhotons_min = 0 if low is None else low
    settings.nPhotons_max = LARGEST_COUNT if high is None else high
    settings.psd_min, settings.psd_max = psd_from(psd)
    settings.region = region_from(region)
    return settings


def shape_from(shape: Any, largest: int) -> List[Any]:
    return [integer_from(size, "shape", 1, largest)
            for size in items_from(shape, "shape", "(rows, columns)")]


def region_from(region: Any) -> Optional[List[float]]:
    if region is None:
        return None
    return [real_from(item, "region") for item in items_from(region, "region", "(x0, y0, x1, y1)")]


def set_pages(settings: _core.Settings, bin: Any, n: Any, start: Any, upright: Any) -> None:
    """What sequences have besides."""
    seconds = seconds_from(bin, "bin")
    if not seconds >= _core.tick / 2:  # which is rounded to one
        raise ValueError(f"bin must be at least one tick of 1.5625 ns, not {seconds} seconds")
    settings.time_res_s = seconds
    settings.time_max_binNumber = integer_from(n, "n", 1, 2**63 - 1)
    settings.timeStart = None if start is None else seconds_from(start, "start")
    settings.upright = switch_from(upright, "upright")


def require_memory_for(settings: _core.Settings) -> None:
    """Tells of sizes for which there can be no memory."""
    cells = settings.size_x * settings.size_y * (settings.time_max_binNumber or 1)
    if 4 * cells >= 2**63:
        raise MemoryError(f"the image needs {4 * cells} bytes")
