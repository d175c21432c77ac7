"""A slow and obvious account of which events are counted where."""

import math
from collections import Counter
from dataclasses import dataclass
from typing import Optional

from recording import TICK

MISSING_TRIGGERS = ("External trigger data requested from data set recorded without external "
                    "trigger enabled!")


@dataclass
class Settings:
    time_extTrigger: str = "ignore"
    size_x: int = 256
    size_y: int = 256
    time_res_s: Optional[float] = None  # None: one image, integrated over time
    time_limit: Optional[int] = None
    nPhotons_min: int = 0
    nPhotons_max: int = 2**64 - 1
    psd_min: Optional[float] = None
    psd_max: Optional[float] = None


def nearest(value):
    whole = math.floor(value)
    return whole + (value - whole >= 0.5)


def divide(dividend, divisor):
    """Division as the hardware does it: the quotient is cut toward zero."""
    quotient = abs(dividend) // divisor
    return quotient if dividend >= 0 else -quotient


def wrap(ticks):
    return (ticks + 2**63) % 2**64 - 2**63


def passes(event, settings):
    """Both bounds are inclusive; NaN fails every bound that is given."""
    return (settings.nPhotons_min <= event.photons <= settings.nPhotons_max
            and (settings.psd_min is None or event.psd >= settings.psd_min)
            and (settings.psd_max is None or event.psd <= settings.psd_max))


def place(event, time, frame, settings):
    """The (page, row, column) for the event, inside the image or not."""
    width_x = nearest(256.0 / settings.size_x * 65536.0)
    width_y = nearest(256.0 / settings.size_y * 65536.0)
    if settings.time_res_s is None:
        return 0, divide(event.y, width_y), divide(event.x, width_x)
    ticks = nearest(settings.time_res_s / TICK)
    page = divide(time, ticks)
    if settings.time_extTrigger == "frameSync":
        page = frame if 0 <= time < ticks else -1
    return page, divide(event.x, width_y), divide(event.y, width_x)


def walk(events, triggers, first_frame):
    """(event, time after its trigger, frame) of each event before the last trigger."""
    cursor = 0
    for k in range(len(triggers) - 1):
        while cursor < len(events) and events[cursor].time < triggers[k + 1]:
            yield events[cursor], wrap(events[cursor].time - triggers[k]), first_frame + k
            cursor += 1


def expected(files, settings):
    """(counts, trigger intervals, failed files) of `files`, a list of (events, triggers)."""
    image, intervals, failed = Counter(), 0, 0
    shape = (settings.time_limit or 1, settings.size_y, settings.size_x)
    for events, triggers in files:
        offered = [(event, event.time, 0) for event in events if passes(event, settings)]
        if settings.time_extTrigger != "ignore":
            if triggers is None:
                failed += 1
                continue
            offered = list(walk([event for event, _, _ in offered], triggers, intervals))
            intervals += max(len(triggers) - 1, 0)
        cells = (place(*offer, settings) for offer in offered)
        image.update(cell for cell in cells
                     if all(0 <= index < size for index, size in zip(cell, shape)))
    return image, intervals, failed
