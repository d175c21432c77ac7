"""Compares the Python module with vexolan and numpy, and prints the table of docs/performance.md.

The module counts in this process, from a recording that is open. What is timed of vexolan is the
whole process, less what `vexolan --version` takes. Before anything is timed, images are compared to
the byte. Then all runs take turns; figures are medians.
"""

import argparse
import os
import pathlib
import statistics
import subprocess
import sys
import tempfile
import time

import numpy

from compare import describe, print_headings, print_row, verdict
from rivals.numpy_rivals import image_by_bincount, read_events
from works import BOUNDS, FILTERS, Bench

MODULE_BOUNDS = {"photons": (BOUNDS["photons_min"], BOUNDS["photons_max"]),
                 "psd": (BOUNDS["psd_min"], BOUNDS["psd_max"])}
BINS = [(1e-6 * n, 100 // n) for n in range(1, 11)]  # seconds, and how many


def seconds_of(work):
    start = time.perf_counter()
    work()
    return time.perf_counter() - start


def process_seconds(bench, command):
    measured = subprocess.run([bench.build / "measure", *command], stdout=subprocess.PIPE,
                              stderr=subprocess.DEVNULL, text=True, check=True)
    return float(measured.stdout.split()[0])


def image_by_numpy(files):
    image = numpy.zeros((512, 512), int)
    for path in files:
        events = read_events(path)
        keep = ((events["photons"] >= BOUNDS["photons_min"])
                & (events["photons"] <= BOUNDS["photons_max"])
                & (events["psd"] >= BOUNDS["psd_min"]) & (events["psd"] <= BOUNDS["psd_max"]))
        image += image_by_bincount(events, keep, 512)
    return image


class Contest:
    """One recording, counted by the module, which has it open, by vexolan, and by numpy."""

    def __init__(self, bench, vexolan, files):
        self.bench = bench
        self.vexolan = vexolan
        self.files = files
        self.recording = vexolan.open(files)
        self.by_module = bench.images / "module.tif"
        self.by_program = bench.images / "program.tif"

    def image(self):
        return self.recording.image(**MODULE_BOUNDS)

    def save(self):
        self.image().save(self.by_module)

    def pages(self, bin, n):
        return self.recording.pages(bin, n, since="trigger", shape=(128, 128), **MODULE_BOUNDS)

    def try_bins(self):
        for bin, n in BINS:
            self.pages(bin, n)

    def program(self, *arguments):
        inputs = ",".join(map(str, self.files))
        return process_seconds(self.bench, [self.bench.build / "vexolan", "-i", inputs, *FILTERS,
                                            *arguments, "-o", self.by_program])

    def program_pages(self, bin, n):
        return self.program("-E", "reference", "-t", repr(bin), "-T", str(n), "-x", "128",
                            "--upright", "true")

    def check(self):
        """Compares images, and brings the recording into the page cache."""
        self.program()
        self.save()
        self.require_same_bytes()
        self.program_pages(*BINS[0])
        self.pages(*BINS[0]).save(self.by_module)
        self.require_same_bytes()
        if (image_by_numpy(self.files) != self.image().counts).any():
            sys.exit("the images of the module and of numpy differ")

    def require_same_bytes(self):
        if self.by_module.read_bytes() != self.by_program.read_bytes():
            sys.exit("the images of the module and of vexolan differ")

    def runs(self):
        """What is timed: functions that return seconds."""
        def process(*command):
            return process_seconds(self.bench, command)

        return {
            "start": lambda: process(self.bench.build / "vexolan", "--version"),
            "vexolan": self.program,
            "image": lambda: seconds_of(self.image),
            "save": lambda: seconds_of(self.save),
            "numpy": lambda: seconds_of(lambda: image_by_numpy(self.files)),
            "open": lambda: seconds_of(lambda: self.vexolan.open(self.files)),
            "bins": lambda: seconds_of(self.try_bins),
            "bins by vexolan": lambda: sum(self.program_pages(*each) for each in BINS),
            "import numpy": lambda: process(sys.executable, "-c", "import numpy"),
            "import vexolan": lambda: process(sys.executable, "-c", "import vexolan"),
        }


def rows(ms):
    counting = ms["vexolan"] - ms["start"]
    beyond_numpy = ms["import vexolan"] - ms["import numpy"]

    def against(other, goal):
        return verdict(f"{other / ms['image']:.2f}", goal, other / ms["image"] >= goal)

    yield "`image` of W1, recording open", ms["image"], ""
    yield "`image` and `save`", ms["save"], ""
    yield "vexolan, without process start", counting, against(counting, 0.95)
    yield "numpy bincount, files read anew", ms["numpy"], against(ms["numpy"], 12)
    yield "`open`, 4 files", ms["open"], ""
    yield "`pages` with ten choices of bins, one after the other", ms["bins"], ""
    yield "vexolan with these ten choices", ms["bins by vexolan"], (
        f"{ms['bins by vexolan'] / ms['bins']:.2f}")
    yield "`import vexolan`, beyond `import numpy`", beyond_numpy, verdict(
        "", "at most 20 ms", beyond_numpy <= 20).strip()


def parse_arguments():
    parser = argparse.ArgumentParser(description=__doc__)
    option = parser.add_argument
    option("--build", type=pathlib.Path, required=True, help="folder of the programs")
    option("--rounds", type=int, default=9)
    option("--quick", action="store_true", help="a tenth of the events")
    return parser.parse_args()


def main():
    arguments = parse_arguments()
    modules = str(arguments.build.resolve() / "python")
    sys.path.insert(0, modules)
    os.environ["PYTHONPATH"] = modules
    import vexolan

    describe(arguments.build, arguments.rounds)
    with tempfile.TemporaryDirectory(prefix="recordings-") as folder, \
            tempfile.TemporaryDirectory(prefix="images-", dir="/dev/shm") as images:
        bench = Bench(arguments.build.resolve(), pathlib.Path(folder), pathlib.Path(images),
                      arguments.quick)
        files = bench.simulate("star", 40, files=4, pulses=10_000, period=1e-4)
        contest = Contest(bench, vexolan, files)
        contest.check()
        runs = contest.runs()
        seconds = {name: [] for name in runs}
        for _ in range(arguments.rounds):
            for name, run in runs.items():
                seconds[name].append(run())
    print_headings(["in Python", "ms", "vexolan's speed in Python against it"])
    for name, ms, compared in rows({name: 1e3 * statistics.median(all_seconds)
                                    for name, all_seconds in seconds.items()}):
        print_row([name, f"{ms:.1f}", compared])


if __name__ == "__main__":
    main()
