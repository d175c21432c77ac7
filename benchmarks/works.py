"""The works that vexolan and its rivals are compared in: what each process is told to do."""

import os
import pathlib
import subprocess
import sys
from typing import Iterator, NamedTuple, Optional

import numpy

from rivals.numpy_rivals import BLOCK, START_BYTES, read_events

SOURCE = pathlib.Path(__file__).resolve().parent
TICK = 1.5625e-9

# Both filters on: bounds that hold most of the simulated signal and little of the background.
FILTERS = ["-m", "6", "-M", "30", "-p", "0.4", "-P", "0.9"]
BOUNDS = {"photons_min": 6, "photons_max": 30, "psd_min": 0.4, "psd_max": 0.9}


class Goal(NamedTuple):
    """How many times as fast `fast` is as `slow`, and should be; both are names of runs."""

    fast: str
    slow: str
    at_least: Optional[float] = None


class Run(NamedTuple):
    """One process. Runs with the same `image` must have the same image."""

    name: str
    command: list
    output: Optional[pathlib.Path] = None
    image: Optional[str] = None
    goal: Optional[Goal] = None
    tasks: int = 0  # vexolan only
    image_mib: float = 0  # vexolan only, where memory has a goal
    environment: dict = {}
    share: float = 1  # of the work's amount


class Work(NamedTuple):
    title: str
    amount: float
    unit: str
    runs: list


class Bench:
    """Where things are, and how processes are called."""

    def __init__(self, build, folder, images, quick):
        self.build = build
        self.folder = folder
        self.images = images
        self.scale = 10 if quick else 1
        self.cores = os.cpu_count()

    def simulate(self, name, millions, files=1, pulses=100, period=0.01, scene="star"):
        """The files of a new recording of so many million events, a tenth of them if quick."""
        folder = self.folder / name
        subprocess.run(
            [self.build / "vexolan-simulate", "-o", folder, "-s", scene, "--triggers",
             "-n", str(round(millions / self.scale * 1e6)), "--files", str(files),
             "--pulses", str(pulses), "--pulse-period", str(period)],
            check=True,
        )
        return sorted(folder.iterdir())

    def vexolan(self, name, files, arguments, many_tasks=False, **fields):
        output = self.images / f"{name}.tif"
        if isinstance(files, pathlib.Path):
            inputs = ["-I", files]
        else:
            inputs = ["-i", ",".join(map(str, files))]
        tasks, environment = self.cores, {}
        if many_tasks:
            tasks, environment = 64, {"LD_PRELOAD": self.build / "libmany_cores.so"}
        elif "false" in arguments:
            tasks = 1
        command = [self.build / "vexolan", *inputs, *arguments, "-o", output]
        return Run(name, command, output, tasks=tasks, environment=environment, **fields)

    def rival(self, name, program, files, image=None, goal=None, suffix="raw", **settings):
        output = self.images / f"{name}.{suffix}"
        settings = {"threads": self.cores, "output": output, **settings}
        words = [f"{setting}={value}" for setting, value in settings.items()]
        return Run(name, [self.build / program, *words, *files], output, image, goal)

    def numpy_rival(self, name, way, files, image, goal):
        output = self.images / f"{name}.raw"
        script = SOURCE / "rivals" / "numpy_rivals.py"
        bounds = map(str, BOUNDS.values())
        command = [sys.executable, script, way, "512", *bounds, output, *files]
        return Run(name, command, output, image, goal)


def integrated_works(bench) -> Iterator[Work]:
    """W1, W2, W5 and many tasks: images over all time."""
    star = bench.simulate("star", 40, files=4, pulses=10_000, period=1e-4)
    single = bench.simulate("single", 40, pulses=40_000, period=1e-4)
    spot = bench.simulate("spot", 40, files=4, pulses=10_000, period=1e-4, scene="spot")
    amount = 40 / bench.scale

    def rival(name, program, at_least=None, **settings):
        goal = Goal("vexolan", name, at_least)
        return bench.rival(name, program, star, "star", goal, **settings, **BOUNDS)

    def numpy_rival(way, at_least):
        name = f"numpy {way}"
        return bench.numpy_rival(name, way, star, "star", Goal("vexolan", name, at_least))

    yield Work("W1: 512 x 512, 4 files", amount, "M events", [
        bench.vexolan("vexolan", star, FILTERS, image="star", image_mib=1),
        bench.rival("reading alone", "read_alone", star,
                    goal=Goal("vexolan", "reading alone", 0.6)),
        rival("hand-written, private counters", "hand_written", counters="private"),
        rival("hand-written, atomic counters", "hand_written", counters="shared"),
        rival("Boost.Histogram, thread-safe counters", "boost_histogram", 5, counters="shared",
              axes="regular"),
        rival("Boost.Histogram, thread-safe, only counting", "boost_histogram", counters="shared",
              axes="integer"),
        rival("Boost.Histogram, one per thread", "boost_histogram", counters="private",
              axes="regular"),
        numpy_rival("bincount", 12),
        numpy_rival("histogram2d", 50),
        bench.vexolan("vexolan, one core", star, [*FILTERS, "--parallel", "false"], image="star",
                      image_mib=1),
        bench.rival("reading alone, one core", "read_alone", star, threads=1,
                    goal=Goal("vexolan, one core", "reading alone, one core")),
    ])
    told = "vexolan, with a report"
    yield Work("W1 with a report, and told of by `vexolan-info`", amount, "M events", [
        bench.vexolan(told, star, [*FILTERS, "--report", bench.images / "report.json"],
                      image="star", image_mib=1, goal=Goal(told, "vexolan", 0.95)),
        Run("vexolan-info", [bench.build / "vexolan-info", *star],
            goal=Goal("vexolan-info", "reading alone", 0.4)),
    ])
    yield Work("W2: the same in one file", amount, "M events", [
        bench.vexolan("vexolan, one file", single, FILTERS, image="single", image_mib=1,
                      goal=Goal("vexolan, one file", "vexolan", 0.9)),
        bench.rival("hand-written, one file", "hand_written", single, "single", counters="private",
                    goal=Goal("vexolan, one file", "hand-written, one file"), **BOUNDS),
    ])
    yield Work("W5: W1 in mode `reference`", amount, "M events", [
        bench.vexolan("vexolan, `reference`", star, [*FILTERS, "-E", "reference"], image="star",
                      image_mib=1, goal=Goal("vexolan, `reference`", "vexolan", 0.8)),
    ])
    one, four = "vexolan, `reference`, one file", "vexolan, `reference`, four files"
    yield Work("the same in `reference`, without a filter", amount, "M events", [
        bench.vexolan(one, single, ["-E", "reference"], image_mib=1, goal=Goal(one, four, 0.9)),
        bench.vexolan(four, star, ["-E", "reference"], image_mib=1),
    ])
    spread, hot = "vexolan, 64 tasks", "vexolan, 64 tasks, 20 x 20 pixel spot"
    walked = "vexolan, 64 tasks, `reference`"
    yield Work("W1 with 64 tasks", amount, "M events", [
        bench.vexolan(spread, star, FILTERS, image="star", image_mib=1, many_tasks=True,
                      goal=Goal(spread, "vexolan", 0.85)),
        bench.vexolan(walked, star, [*FILTERS, "-E", "reference"], image="star", image_mib=1,
                      many_tasks=True, goal=Goal(walked, "vexolan, `reference`", 0.85)),
        bench.vexolan(hot, spot, FILTERS, many_tasks=True, goal=Goal(hot, spread, 0.7)),
    ])


def make_relative(files, folder, period_ticks):
    """The same events with the times since their pulses, in recordings without triggers."""
    folder.mkdir()
    made = []
    for path in files:
        events = read_events(path)
        events["time"] %= period_ticks
        block = numpy.array((b"events", events.nbytes), BLOCK)
        start = numpy.fromfile(path, BLOCK, START_BYTES // BLOCK.itemsize)
        start["size"][0] = start[1:].nbytes + block.nbytes + events.nbytes
        made.append(folder / path.name)
        made[-1].write_bytes(start.tobytes() + block.tobytes() + events.tobytes())
    return made


def cube_works(bench) -> Iterator[Work]:
    """W4, W5 and many tasks: an image sequence larger than any cache, in random order."""
    period, bins, size = 1e-4, 2000, 256
    ticks = round(period / TICK / bins)
    pulses = bench.simulate("pulses", 20, files=2, pulses=10_000, period=period)
    spot = bench.simulate("spot", 20, files=2, pulses=10_000, period=period, scene="spot")
    relative = make_relative(pulses, bench.folder / "relative", ticks * bins)
    amount = 20 / bench.scale
    cube = [*FILTERS, "-x", str(size), "-t", repr(ticks * TICK), "-T", str(bins)]
    reference = [*cube, "-E", "reference"]
    tool = {"image": "cube", "image_mib": size * size * bins * 4 / 2**20}

    def hand_written(name, counters):
        goal = Goal("vexolan, cube", name, 0.9)
        settings = {"counters": counters, "size": size, "pages": bins, "ticks": ticks}
        return bench.rival(name, "hand_written", relative, "cube", goal, **settings, **BOUNDS)

    yield Work(f"W4: {size} x {size} x {bins} bins, written too", amount, "M events", [
        bench.vexolan("vexolan, cube", relative, cube, **tool),
        hand_written("hand-written, cube, private counters", "private"),
        hand_written("hand-written, cube, atomic counters, prefetch", "shared"),
    ])
    yield Work("W5: the counts of W4 in mode `reference`", amount, "M events", [
        bench.vexolan("vexolan, cube, `reference`", pulses, reference, **tool,
                      goal=Goal("vexolan, cube, `reference`", "vexolan, cube", 0.8)),
    ])
    spread, hot = "vexolan, cube, 64 tasks", "vexolan, cube, 64 tasks, 20 x 20 pixel spot"
    yield Work("the same with 64 tasks", amount, "M events", [
        bench.vexolan(spread, pulses, reference, many_tasks=True, **tool,
                      goal=Goal(spread, "vexolan, cube, `reference`", 0.85)),
        bench.vexolan(hot, spot, reference, many_tasks=True, goal=Goal(hot, spread, 0.7)),
    ])


def page_works(bench) -> Iterator[Work]:
    """Sequences of everyday size, in one file and in several."""
    period, bins, size = 1e-4, 100, 128
    ticks = round(period / TICK / bins)
    several = bench.simulate("several", 40, files=4, pulses=10_000, period=period)
    single = bench.simulate("one", 40, pulses=40_000, period=period)
    relative = make_relative(several, bench.folder / "relative-pages", ticks * bins)
    arguments = ["-x", str(size), "-t", repr(ticks * TICK), "-T", str(bins), "-E", "reference"]
    one, four = "vexolan, pages, one file", "vexolan, pages, four files"
    many = "vexolan, pages, 64 tasks"
    private, shared = "hand-written, pages, private counters", "hand-written, pages, atomic counters"
    mib = size * size * bins * 4 / 2**20

    def hand_written(name, counters, at_least=None):
        return bench.rival(name, "hand_written", relative, "pages", Goal(four, name, at_least),
                           counters=counters, size=size, pages=bins, ticks=ticks)

    yield Work(f"`reference`, {size} x {size} x {bins} bins", 40 / bench.scale, "M events", [
        bench.vexolan(four, several, arguments, image="pages", image_mib=mib),
        hand_written(private, "private", 0.9),
        hand_written(shared, "shared"),
        bench.vexolan(one, single, arguments, image_mib=mib, goal=Goal(one, four, 0.9)),
        bench.vexolan(many, several, arguments, image="pages", image_mib=mib, many_tasks=True,
                      goal=Goal(many, four, 0.85)),
    ])


def small_file_works(bench) -> Iterator[Work]:
    """W3: many small files."""
    files = bench.simulate("small", 40, files=4000 // bench.scale, period=1e-4)
    tool = "vexolan, small files"
    reading, hand = "reading alone, small files", "hand-written, small files"
    yield Work(f"W3: {len(files)} files x 10 k events", 40 / bench.scale, "M events", [
        bench.vexolan(tool, files[0].parent, FILTERS, image="small", image_mib=1),
        bench.rival(reading, "read_alone", files, goal=Goal(tool, reading, 0.6)),
        bench.rival(hand, "hand_written", files, "small", Goal(tool, hand), counters="private",
                    **BOUNDS),
    ])


def frame_works(bench) -> Iterator[Work]:
    """W6: frames. As the pulses come regularly, frames are bins of the absolute time as well."""
    period, frames, size = 1e-3, 1000, 128
    files = bench.simulate("frames", 40, files=4, pulses=frames // 4, period=period)
    single = bench.simulate("frames-single", 40, pulses=frames, period=period)
    arguments = [*FILTERS, "-x", str(size), "-t", repr(period), "-T", str(frames)]
    frame_sync = [*arguments, "-E", "frameSync"]
    tool, reading, hand = "vexolan, frames", "reading alone, frames", "hand-written, frames"
    one_core, one_file = "vexolan, frames, one core", "vexolan, frames, one file"
    image = {"image": "frames", "image_mib": size * size * frames * 4 / 2**20}
    title = f"W6: `frameSync`, {frames} frames of {size} x {size}"
    yield Work(title, 40 / bench.scale, "M events", [
        bench.vexolan(tool, files, frame_sync, **image),
        bench.vexolan(one_core, files, [*frame_sync, "--parallel", "false"],
                      goal=Goal(tool, one_core), **image),
        bench.vexolan(one_file, single, frame_sync, goal=Goal(one_file, tool, 0.9)),
        bench.rival(reading, "read_alone", files, threads=1, goal=Goal(one_core, reading, 0.4)),
        bench.rival(hand, "hand_written", files, "frames", Goal(one_core, hand), threads=1,
                    size=size, pages=frames, ticks=round(period / TICK), counters="private",
                    **BOUNDS),
    ])
    few = bench.simulate("few-frames", 40, files=4, pulses=25, period=period)
    small = ["-x", "64", "-t", repr(period), "-T", "100", "-E", "frameSync"]
    both, one = "vexolan, few frames", "vexolan, few frames, one core"
    yield Work("`frameSync`, 100 frames of 64 x 64", 40 / bench.scale, "M events", [
        bench.vexolan(both, few, small, goal=Goal(both, one, 1.8)),
        bench.vexolan(one, few, [*small, "--parallel", "false"]),
        bench.vexolan("vexolan, few frames, 64 tasks", few, small, many_tasks=True,
                      goal=Goal("vexolan, few frames, 64 tasks", both, 0.85)),
        bench.vexolan("vexolan, the first 100 of 1000 frames", files, small),
    ])


def output_works(bench) -> Iterator[Work]:
    """W7: images of a thousand events, so that writing is what takes the time."""
    few = bench.simulate("few", 1e-3 * bench.scale, pulses=1, period=1e-3)
    for size, pages in ((512, 1000 // bench.scale), (16, 40_000 // bench.scale)):
        yield output_work(bench, few, size, pages)


def output_work(bench, files, size, pages):
    def title(number):
        return f"{size} x {size} x {number} pages"

    def vexolan(number, **fields):
        arguments = ["-x", str(size), "-t", "0.001", "-T", str(number)]
        return bench.vexolan(f"vexolan, {title(number)}", files, arguments, **fields)

    # Rows, their two strip tables, and a directory of twelve entries.
    nBytes = 8 + pages * (size * size * 4 + size * 6 + 150)
    tool, half = f"vexolan, {title(pages)}", f"vexolan, {title(pages // 2)}"
    writing, rows = f"writing alone, {title(pages)}", f"row by row, {title(pages)}"
    return Work(f"W7: output of {title(pages)}", nBytes / 1e6, "MB", [
        vexolan(pages, image=title(pages)),
        bench.rival(writing, "write_alone", [], goal=Goal(tool, writing, 0.7), bytes=nBytes),
        bench.rival(rows, "row_by_row", files, title(pages), Goal(tool, rows, 3), size=size,
                    pages=pages, ticks=round(1e-3 / TICK), threads=1, suffix="tif"),
        vexolan(pages // 2, goal=Goal(tool, half, 0.45), share=0.5),
    ])


ALL_WORKS = (integrated_works, small_file_works, page_works, cube_works, frame_works,
             output_works)
