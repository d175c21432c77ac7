"""Compares vexolan-mpi on this machine with vexolan, and prints the table of docs/scaling.md.

What is timed of vexolan-mpi lies between barriers, without the start and the end of MPI; of
vexolan, the whole process. Before anything is timed, their images are compared to the byte. Then
all runs of a work take turns; speeds are medians of those of pairs. With two cores, one rank has
two tasks, and each of several has one.
"""

import argparse
import filecmp
import os
import pathlib
import statistics
import subprocess
import sys
import tempfile
import time
from typing import NamedTuple

from compare import describe, print_headings, print_row
from works import FILTERS, Bench

RANKS = (0, 1, 2, 4)  # 0: vexolan


class Times(NamedTuple):
    run: float
    reducing: float = 0
    reduced_bytes: float = 0


def works(bench):
    """Title, files and arguments of each."""
    star = bench.simulate("star", 40, files=4, pulses=10_000, period=1e-4)
    single = bench.simulate("single", 40, pulses=40_000, period=1e-4)
    small = bench.simulate("small", 40, files=4000 // bench.scale, period=1e-4)
    pages = ["-E", "reference", "-t", "1e-6", "-T", "100", "-x", "128"]
    cube = ["-E", "reference", "-t", "5e-8", "-T", "2000", "-x", "256"]
    yield "512 x 512, 4 files", star, FILTERS
    yield "512 x 512, one file", single, FILTERS
    yield f"512 x 512, {len(small)} files", small[0].parent, FILTERS
    yield "128 x 128 x 100 bins, `reference`, 4 files", star, pages
    yield "256 x 256 x 2000 bins, `reference`, 4 files", star, cube


def execute(bench, ranks, command, image):
    clock = bench.folder / "clock"
    environment = dict(os.environ)
    command = [*command, "-o", image]
    if ranks > 0:
        launcher = ["mpirun", "-n", str(ranks), "--oversubscribe", "--bind-to", "none"]
        command = [*launcher, bench.build / "vexolan-mpi", *command[1:]]
        environment |= {"OMPI_ALLOW_RUN_AS_ROOT": "1", "OMPI_ALLOW_RUN_AS_ROOT_CONFIRM": "1",
                        "LD_PRELOAD": str(bench.build / "librank_clock.so"),
                        "VEXOLAN_CLOCK": str(clock)}
    image.unlink(missing_ok=True)
    start = time.perf_counter()
    subprocess.run(command, env=environment, check=True, stdout=subprocess.DEVNULL)
    if ranks > 0:
        return Times(*map(float, clock.read_text().split()))
    return Times(time.perf_counter() - start)


def measure(bench, files, arguments, rounds):
    command = bench.vexolan("image", files, arguments).command[:-2]  # without -o
    images = {ranks: bench.images / f"{ranks}.tif" for ranks in RANKS}
    for ranks, image in images.items():
        execute(bench, ranks, command, image)
        if not filecmp.cmp(images[0], image, shallow=False):
            sys.exit(f"{ranks} ranks make another image than vexolan: {command}")
    taken = {ranks: [] for ranks in RANKS}
    for _ in range(rounds):
        for ranks, image in images.items():
            taken[ranks].append(execute(bench, ranks, command, image))
    return taken


def print_rows(title, taken):
    for ranks, runs in taken.items():
        run = statistics.median(times.run for times in runs)
        reducing = statistics.median(times.reducing for times in runs)
        rate = f"{runs[0].reduced_bytes / 1e9 / reducing:.1f} GB/s" if reducing else ""
        pairs = [alone.run / times.run for alone, times in zip(taken[0], runs)]
        faster = f"{statistics.median(pairs):.2f}" if ranks else ""
        name = f"{ranks} rank{'s' * (ranks > 1)}" if ranks else "vexolan"
        print_row([title, name, f"{run * 1e3:.0f}", faster, rate])
        title = ""


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--build", type=pathlib.Path, required=True, help="folder of the programs")
    parser.add_argument("--rounds", type=int, default=7, help="runs of each")
    parser.add_argument("--quick", action="store_true", help="a tenth of the events")
    options = parser.parse_args()

    describe(options.build, options.rounds)
    print_headings(["work", "run", "ms", "speed against vexolan", "`MPI_Reduce`"])
    with tempfile.TemporaryDirectory() as folder, \
            tempfile.TemporaryDirectory(dir="/dev/shm") as images:
        bench = Bench(options.build.resolve(), pathlib.Path(folder), pathlib.Path(images),
                      options.quick)
        for title, files, arguments in works(bench):
            print_rows(title, measure(bench, files, arguments, options.rounds))


if __name__ == "__main__":
    main()
