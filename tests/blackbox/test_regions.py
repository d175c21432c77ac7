"""Parts of the detector, starts of times and upright pages: every cell, against numpy."""

import decimal
import json
import math

import numpy
import pytest

from program import aborted, ended, info, thrown, what
from recording import PIXEL, TICK
from surveying import EVENT, write
from test_outputs import MODES

BIN, PAGES = 7, 4  # ticks and pages of MODES


def rounded(number):
    return int(math.copysign(math.floor(abs(number) + 0.5), number))


class Axis:
    """What pixels share: a part of the detector, or all of it."""

    def __init__(self, part, size):
        low, high = part or (0, 256)
        self.truncates, self.size = not part, size
        self.first, self.end = rounded(low * PIXEL), rounded(high * PIXEL)
        self.width = rounded((high - low) / size * PIXEL)

    def pixels(self, positions):
        """The pixel of each position, -1 outside."""
        pixels = (positions - self.first) // self.width
        if self.truncates:
            pixels += (-self.width < positions) & (positions < 0)
        else:
            pixels[positions >= self.end] = -1
        return numpy.where(pixels < self.size, pixels, -1)

    def positions(self, random, n):
        """Mostly on both sides of an edge."""
        edges = self.first + self.width * numpy.arange(-1, self.size + 2)
        near = random.choice([*edges, self.first, self.end], n) + random.integers(-1, 2, n)
        return numpy.where(random.random(n) < 0.2, random.integers(-PIXEL, 257 * PIXEL, n), near)


def pages_of(times, frames, start, kind):
    """The page of each event, -1 outside."""
    since = times - (start or 0)
    if "-t" not in MODES[kind]:
        return numpy.zeros_like(times)
    if kind == "frameSync":
        return numpy.where((since >= 0) & (since < BIN) & (frames < PAGES), frames, -1)
    pages = since // BIN
    if start is None:
        pages += (-BIN < since) & (since < 0)
    return numpy.where(pages < PAGES, pages, -1)


def since_trigger(times, triggers):
    """Times, and the number of the interval; of the events that are offered only."""
    index = numpy.searchsorted(triggers, times, "right") - 1
    offered = index < len(triggers) - 1
    index = numpy.maximum(index, 0)
    return times - numpy.take(triggers, index), index, offered


@pytest.mark.parametrize("seed", range(15))
@pytest.mark.parametrize("kind", MODES)
def test_image_report_and_spectra_are_those_of_numpy(vexolan, kind, seed):
    random = numpy.random.default_rng([seed, len(kind)])
    columns, rows = random.integers(1, 30, 2)
    timed, upright = "-t" in MODES[kind], bool(random.integers(2))
    crossed = timed and not upright
    options, region = ["--upright", str(upright).lower()] * (upright or seed % 2), None
    if random.integers(3):
        x0, x1, y0, y1 = (round(bound, int(places)) for bound, places in zip(numpy.concatenate(
            numpy.sort(random.uniform(-3, 260, (2, 2)))), random.choice([0, 2, 9], 4)))
        region = [x0, y0, x1 + 1, y1 + 1]
        options += ["--region", ",".join(map(str, region))]
    start = int(random.integers(-20, 20)) if timed and random.integers(3) else None
    if start is not None:
        options += ["--timeStart", (start + random.choice([0, 0.4, -0.4])) * TICK]
    x_axis = Axis(region and region[0::2], rows if crossed else columns)
    y_axis = Axis(region and region[1::2], columns if crossed else rows)

    image = numpy.zeros((PAGES if timed else 1, rows, columns), int)
    n, nFrames = 4000, 0
    for name in "ab":
        events = numpy.zeros(n, EVENT)
        events["x"], events["y"] = x_axis.positions(random, n), y_axis.positions(random, n)
        times = events["time"] = numpy.sort(random.integers(-50, 90, n))
        triggers = numpy.sort(random.integers(-30, 80, 4))
        write(vexolan.folder / f"{name}.orvenevent", events, triggers)
        frames, offered = numpy.zeros(n, int), numpy.full(n, True)
        if "-E" in MODES[kind]:
            times, frames, offered = since_trigger(times, triggers)
            frames, nFrames = frames + nFrames, nFrames + 3
        cells = numpy.stack([pages_of(times, frames, start, kind), *(
            (x_axis.pixels(events["x"]), y_axis.pixels(events["y"]))[:: 1 if crossed else -1])])
        numpy.add.at(image, tuple(cells[:, offered & (cells >= 0).all(axis=0)]), 1)

    inputs = ["-i", "a.orvenevent,b.orvenevent", "-o", "out"]
    spectra = ["--spectra", "s"] * ("3-D" in kind)
    assert vexolan("-x", columns, "-y", rows, *MODES[kind], *options, *inputs, *spectra,
                   "--report", "r") == ended(out=info(nFrames))
    assert (vexolan.pages() == image).all()
    made = vexolan.bytes()
    assert vexolan("-f", "r", "--parallel", "false", *inputs) == ended(out=info(nFrames))
    assert vexolan.bytes() == made

    axes = [{"coordinate": name, "start": axis.first / PIXEL, "pixel_width": axis.width / PIXEL}
            for name, axis in (("x", x_axis), ("y", y_axis))]
    assert json.loads(vexolan.bytes("r"))["run"]["axes"] == {
        "columns": axes[crossed], "rows": axes[not crossed], "pages": {
            "coordinate": "frame" if kind == "frameSync" else "time", "bin_ticks": BIN,
            "bin_seconds": BIN * TICK, "start": "trigger" if "-E" in MODES[kind] else "time 0",
            "start_ticks": start or 0, "start_seconds": (start or 0) * TICK} if timed else None}
    starts = [decimal.Decimal("1.5625e-9") * ((start or 0) + BIN * page) for page in range(PAGES)]
    assert not spectra or vexolan.bytes("s").decode() == "".join(
        f"{each:.13f}\t{page.sum()}\n" for each, page in zip(starts, image))


@pytest.mark.parametrize("name, texts", [
    ("region", ["", "0,0,9", "0,0,9,9,9", "0,0,9,9,", "0,0,9,9 ", "0;0;9;9", "0,0,,9", "a,0,9,9",
                "9,0,0,9", "0,9,9,0", "9,9,9,9", "nan,0,9,9", "0,0,9,nan", "0,0,inf,9",
                "0,0,9,1e999", "0,0,32768.1,9", "-32768.1,0,9,9", "1,0,1.000001,9", "0,0,0.0001,9"]),
    ("timeStart", ["", "x", "1s", "1,2", "1 ", "nan", "inf", "-inf", "1e999", "7.3e9", "-7.3e9"]),
])
@pytest.mark.parametrize("report", [[], ["--report", "r"]])
def test_bad_value_is_refused_by_its_name_before_any_input(vexolan, name, texts, report):
    for text in texts:
        failure = vexolan(f"--{name}={text}", "-x", 100, "-t", 1, "-T", 1, *report, "-i",
                          "missing.orvenevent", "--parallel", "false", "-o", "out")
        assert failure == aborted(thrown(what(failure)))
        assert name in what(failure) and what(failure).endswith("!"), text


def test_a_start_needs_time_bins(vexolan):
    vexolan.put("s", '{"vexolan": {"timeStart": 0}}')
    for setting in ["--timeStart", 0], ["-f", "s"]:
        assert vexolan(*setting, "-o", "out") == aborted(thrown("timeStart needs time bins!"))
