"""Runs vexolan and its rivals on simulated recordings and prints the Markdown tables of
docs/performance.md and README.md.

Every run is a whole process, its output included. Before anything is timed, the images of all
contenders are compared, to the pixel; images of the same kind of file, to the byte. Then the runs
of works that share recordings take turns.
"""

import argparse
import hashlib
import os
import pathlib
import platform
import shutil
import statistics
import subprocess
import sys
import tempfile
from typing import NamedTuple

import numpy
import tifffile

from works import ALL_WORKS, Bench


class Measured(NamedTuple):
    wall: float
    cpu: float
    peak_mib: float


def execute(bench, run):
    for path in bench.images.iterdir():
        path.unlink()
    finished = subprocess.run(
        [bench.build / "measure", *run.command],
        env={**os.environ, **run.environment},
        stdout=subprocess.PIPE,
        text=True,
        check=False,
    )
    if finished.returncode != 0:
        sys.exit(f"failed: {' '.join(map(str, run.command))}")
    wall, user, system, peak = map(float, finished.stdout.split())
    return Measured(wall, user + system, peak / 1024)


def digest_of_pixels(path):
    counts = tifffile.imread(path) if path.suffix == ".tif" else numpy.fromfile(path, "<u4")
    return hashlib.sha256(numpy.ascontiguousarray(counts, "<u4")).hexdigest()


def digest_of_bytes(path):
    return hashlib.sha256(numpy.fromfile(path, "u1")).hexdigest()


def check_images(bench, runs):
    """Runs all once, which also brings the recordings into the page cache."""
    first = {}
    for run in runs:
        execute(bench, run)
        if run.image is None:
            continue
        alike = [other.output.suffix for other in runs if other.image == run.image]
        digest_of = digest_of_bytes if set(alike) == {".tif"} else digest_of_pixels
        digest = digest_of(run.output)
        name, expected = first.setdefault(run.image, (run.name, digest))
        if digest != expected:
            sys.exit(f"the images of {name!r} and {run.name!r} differ")


def show_progress(text):
    if sys.stderr.isatty():
        print(f"\r{text:79.79}\r", end="", file=sys.stderr)


def median_of(measured):
    return Measured(*map(statistics.median, zip(*measured)))


def measure(bench, runs, rounds):
    results = {run.name: [] for run in runs}
    for number in range(rounds):
        for run in runs:
            show_progress(f"round {number + 1}: {run.name}")
            results[run.name].append(execute(bench, run))
    show_progress("")
    return {name: median_of(measured) for name, measured in results.items()}


def verdict(reached, goal, met):
    return f"{reached} (goal {goal}{'' if met else ', **missed**'})"


def comparison(goal, results):
    if goal is None:
        return ""
    ratio = results[goal.slow].wall / results[goal.fast].wall
    reached = f"{ratio:.2f}" if ratio < 10 else f"{ratio:.0f}"
    if goal.at_least is None:
        return reached
    return verdict(reached, f"{goal.at_least:g}", ratio >= goal.at_least)


def memory(run, peak):
    if not run.image_mib:
        return f"{peak:.0f}"
    most = run.image_mib + 16 + 4 * run.tasks
    return verdict(f"{peak:.0f}", f"{most:.0f}", peak <= most)


def rows(work, results):
    for run in work.runs:
        median = results[run.name]
        yield [
            work.title if run is work.runs[0] else "",
            run.name,
            f"{median.wall * 1e3:.0f}",
            f"{median.cpu * 1e3:.0f}",
            f"{run.share * work.amount / median.wall:.0f} {work.unit}/s",
            comparison(run.goal, results),
            memory(run, median.peak_mib),
        ]


README_HEADINGS = ["40 million events in 4 files, filtered, as 512 x 512 pixels", "time", "memory"]
README_RUNS = {
    "vexolan": "vexolan",
    "numpy bincount": "numpy: `fromfile`, a mask, `bincount`",
    "numpy histogram2d": "numpy: `fromfile`, a mask, `histogram2d`",
}


def readme_rows(results):
    """The same figures as in the large table, for those who want to know three."""
    for name, title in README_RUNS.items():
        median = results[name]
        times = "" if name == "vexolan" else (
            f": {median.wall / results['vexolan'].wall:.0f} times as long")
        yield [title, f"{round(median.wall * 1e3) / 1e3:.2g} s{times}", f"{median.peak_mib:.0f} MiB"]


HEADINGS = ["work", "run", "ms", "CPU ms", "rate", "vexolan's speed against it", "peak MiB"]


def print_row(cells):
    print("| " + " | ".join(cells) + " |", flush=True)


def print_headings(headings):
    print_row(headings)
    print_row(["---"] * len(headings))


def processor():
    for line in pathlib.Path("/proc/cpuinfo").read_text().splitlines():
        if line.startswith("model name"):
            return line.split(":", 1)[1].strip()
    return platform.machine()


def cached(build, name):
    for line in (build / "CMakeCache.txt").read_text().splitlines():
        if line.startswith(f"{name}:"):
            return line.split("=", 1)[1]
    return ""


def describe(build, rounds):
    compiler = cached(build, "CMAKE_CXX_COMPILER")
    version = subprocess.run([compiler, "--version"], stdout=subprocess.PIPE, text=True, check=True)
    flags = f"-std=c++20 {cached(build, 'CMAKE_CXX_FLAGS_RELEASE').replace('-DNDEBUG', '').strip()}"
    kernel = ".".join(platform.release().split(".")[:2])
    gib = os.sysconf("SC_PHYS_PAGES") * os.sysconf("SC_PAGE_SIZE") / 2**30
    print(f"{processor()}, {os.cpu_count()} cores, {gib:.0f} GiB; Linux {kernel}; "
          f"{version.stdout.splitlines()[0]}, `{flags}`; numpy {numpy.__version__}. "
          f"Medians of {rounds} rounds; {os.getloadavg()[0]:.1f} other processes were busy at the "
          "start.\n")


def parse_arguments():
    temporary = tempfile.gettempdir()
    memory_folder = "/dev/shm" if os.path.isdir("/dev/shm") else temporary
    work_names = [works.__name__ for works in ALL_WORKS]
    parser = argparse.ArgumentParser(description="Compare vexolan with its rivals.")
    option = parser.add_argument
    option("--build", type=pathlib.Path, required=True, help="folder of the programs")
    option("--folder", type=pathlib.Path, default=temporary,
           help="where to put the recordings, up to 4 GB (default: %(default)s)")
    option("--image-folder", type=pathlib.Path, default=memory_folder,
           help="where to put the images, up to 1.1 GB (default: %(default)s)")
    option("--rounds", type=int, default=5)
    option("--quick", action="store_true", help="a tenth of the events and pages")
    option("--only", choices=work_names, action="append", help="run some of the works only")
    return parser.parse_args()


def main():
    arguments = parse_arguments()
    describe(arguments.build, arguments.rounds)
    print_headings(HEADINGS)
    all_results = {}
    for make_works in ALL_WORKS:
        if arguments.only and make_works.__name__ not in arguments.only:
            continue
        folder = pathlib.Path(tempfile.mkdtemp(prefix="recordings-", dir=arguments.folder))
        images = pathlib.Path(tempfile.mkdtemp(prefix="images-", dir=arguments.image_folder))
        try:
            bench = Bench(arguments.build.resolve(), folder, images, arguments.quick)
            works = list(make_works(bench))
            os.sync()
            runs = [run for work in works for run in work.runs]
            check_images(bench, runs)
            results = measure(bench, runs, arguments.rounds)
        finally:
            shutil.rmtree(folder)
            shutil.rmtree(images)
        all_results |= results
        for work in works:
            for cells in rows(work, results):
                print_row(cells)
    if README_RUNS.keys() <= all_results.keys() and not arguments.quick:
        print("\nFor README.md:\n")
        print_headings(README_HEADINGS)
        for cells in readme_rows(all_results):
            print_row(cells)


if __name__ == "__main__":
    main()
