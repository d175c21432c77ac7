"""vexolan-mpi on some ranks does what vexolan does."""

import json
import os
import re
import signal

import numpy
import pytest

from program import Program, info, what
from recording import PIXEL, TICK, block, build, container, triggers

PIECE = 8192  # events: files are cut between pieces
EVENT = numpy.dtype([("x", "<i4"), ("y", "<i4"), ("time", "<i8"), ("photons", "<u8"),
                     ("psd", "<f8")])
GAP, INTERVAL = 10, 1000  # ticks from event to event, and from trigger to trigger
BINS = f"-t {INTERVAL // 10 * TICK} -T 10"
FRAMES = f"-E frameSync -t {INTERVAL * 4 // 5 * TICK} -T 700"  # of more than 1000
KINDS = {
    "2-D": "-x 64 --fileFormat tiff_w8",
    "2-D reference": "-x 64 -E reference",
    "3-D": f"-x 32 -t {10**5 * TICK} -T 5",
    "3-D reference": f"-x 32 -E reference {BINS} --fileFormat tiff_w8",
    "frameSync": f"-x 16 {FRAMES}",
}


def disordered(n, seed, spikes):
    """Events with jitter over several intervals, of which some blocks come too early. At each key
    of `spikes` comes one that is due at its value only, and holds back those behind it."""
    random = numpy.random.default_rng(seed)
    events = numpy.zeros(n, EVENT)
    events["x"], events["y"] = random.integers(0, 256 * PIXEL, (2, n))
    events["photons"], events["psd"] = random.integers(0, 5, n), random.random(n)
    due = numpy.arange(n) * GAP + random.integers(-3 * INTERVAL, 3 * INTERVAL, n)
    starts = numpy.arange(0, n - 4000, 4000)
    for start in random.choice(starts, len(starts) // 3, replace=False):
        due[start:start + 2000] += 2000 * GAP
    for at, later in spikes.items():
        due[at], events["photons"][at], events["psd"][at] = later * GAP, 2, 1
    events["time"] = due
    return events


def recorded(events, trigger_times):
    return container(build(), triggers(*trigger_times), block(b"events", events.tobytes()))


def trigger_times(n):
    return range(0, n * GAP, INTERVAL)


def fill(vexolan):
    """Files of which ranks share the first and the third, behind an early event of which no other
    one counts. The fourth they would share, did its triggers ascend. The last is the third again.
    """
    n = 7 * PIECE + 100
    late = disordered(n, 1, {5000: 30000, 40000: 50000})
    over = disordered(3 * PIECE + 500, 2, {100: 30000})
    many = numpy.arange(0, 7 * PIECE * GAP, 20).reshape(7, -1)
    mixed = numpy.random.default_rng(4).permuted(many, axis=1).ravel()
    for name, content in {
            "late": recorded(late, trigger_times(n * 9 // 10)),
            "empty": recorded(late[:0], [0, 1]),
            "over": recorded(over, trigger_times(len(over))),
            "mixed": recorded(disordered(7 * PIECE, 3, {7: 100}), mixed),
            "damaged": b"ORVEN", "untriggered": container(build(), block(b"events"))}.items():
        vexolan.put(name, content)
    return ["late", "empty", "over", "mixed", "over"]


def listed(vexolan, *names):
    return ["--inputListFile", vexolan.put("list", "\n".join(names)), "-o", "out"]


def facts(report):
    """A report without what differs from run to run."""
    for name in "arguments", "started", "seconds":
        del report["run"][name]
    return report


@pytest.mark.parametrize("n_ranks, report", [(2, []), (3, ["--report", "report"]), (5, [])])
@pytest.mark.parametrize("kind", KINDS)
def test_outputs_and_texts_are_those_of_vexolan(vexolan, on_ranks, kind, n_ranks, report):
    names = fill(vexolan)
    if kind != "frameSync":  # ends with the first
        names = ["missing", *names[:3], "damaged", *names[3:], "untriggered"]
    arguments = [*KINDS[kind].split(), "-m", 1, "-p", 0.1, *listed(vexolan, *names), *report]
    expected, image, pages = vexolan(*arguments), vexolan.bytes(), vexolan.pages()
    expected_report = report and facts(json.loads(vexolan.bytes("report")))
    assert expected.status == 0 and numpy.count_nonzero(pages) > 1000
    outcome = on_ranks(n_ranks)(*arguments)
    remark, _, out = outcome.out.partition("\n")
    assert re.fullmatch(rf"info:    <time>: Counting by {n_ranks} ranks on 1 machine with \d+ of "
                        rf"{os.cpu_count()} cores?", remark)
    assert outcome._replace(out=out) == expected
    assert vexolan.bytes() == image
    assert not report or facts(json.loads(vexolan.bytes("report"))) == expected_report


@pytest.mark.parametrize("arguments", ["--parallel false", "--strict true", FRAMES])
def test_first_failure_in_list_order_ends_the_run(vexolan, on_ranks, arguments):
    fill(vexolan)
    arguments = [*arguments.split(), *listed(vexolan, "late", "damaged", "late", "missing")]
    expected = vexolan(*arguments)
    assert what(expected)
    outcome = on_ranks(3)(*arguments)
    assert (outcome.status, outcome.err) == (128 + signal.SIGABRT, expected.err)
    assert not vexolan.exists()


def test_help_is_shown_once_and_alone_no_rank_is_mentioned(vexolan, on_ranks, tmp_path):
    assert on_ranks(3)("--help").err.count("Usage: ") == 1
    arguments = listed(vexolan, "a\0b")
    expected = vexolan(*arguments)
    assert on_ranks(2)(*arguments).err == expected.err
    assert Program(tmp_path, [os.environ["VEXOLAN_MPI"]])(*arguments) == expected


def at(file, events):
    """Where in a file the last events begin, of which there are so many."""
    return len(file) - events * EVENT.itemsize


@pytest.mark.parametrize("kind, report", [("2-D reference", []),
                                          ("3-D reference", ["--report", "report"])])
@pytest.mark.parametrize("pieces, n_readable", [
    # By rank, the piece that it cannot read at first; of nine, each has three.
    ({}, 9), ({0: 2, 1: 4}, 2), ({1: 4}, 4), ({1: 3, 2: 8}, 3)])
def test_nothing_counts_behind_what_cannot_be_read(vexolan, on_ranks, kind, report, pieces,
                                                   n_readable):
    n = 9 * PIECE
    events = disordered(n, 1, {5000: 15000, 4 * PIECE - 1: 7 * PIECE})
    file = recorded(events, trigger_times(n * 9 // 10))
    vexolan.put("readable", recorded(events[:n_readable * PIECE], trigger_times(n * 9 // 10)))
    arguments = [*KINDS[kind].split(), *report]
    whole = vexolan(*arguments, *listed(vexolan, "readable"))
    image = vexolan.bytes()
    expected_events = report and json.loads(vexolan.bytes("report"))["run"]["events"]
    vexolan.put("file", file)
    faults = {rank: {"call": "read", "path": "file", "errno": 5, "last": 1, "cores": 1,
                     "from": at(file, n - piece * PIECE)} for rank, piece in pieces.items()}
    outcome = on_ranks(3, faults)(*arguments, *listed(vexolan, "file"))
    assert re.fullmatch("ERROR:.*Read Error!\n" if pieces else "", outcome.err)
    assert outcome.out.endswith(info(0) if pieces else whole.out)
    assert vexolan.bytes() == image
    assert not report or json.loads(vexolan.bytes("report"))["run"]["events"] == expected_events


def test_rank_that_cannot_open_a_file_takes_nothing_back(vexolan, on_ranks):
    """The second of two ranks looks at the file, and cannot open it again to count."""
    file = recorded(disordered(4 * PIECE, 1, {}), trigger_times(4 * PIECE))
    vexolan.put("file", file)
    faults = {0: {"call": "read", "path": "file", "errno": 5, "from": at(file, 4 * PIECE)},
              1: {"call": "open", "path": "file", "errno": 24, "first": 2, "last": 2}}
    outcome = on_ranks(2, faults)("-E", "reference", *listed(vexolan, "file"))
    assert outcome.err.count("\n") == 1
    assert not vexolan.pages().any()


def test_file_that_has_changed_since_it_was_looked_at_fails(vexolan, on_ranks):
    vexolan.put("file", recorded(disordered(4 * PIECE, 1, {}), [0, 1]))
    vexolan.put("other", recorded(disordered(3 * PIECE, 1, {}), [0, 1]))
    faults = {1: {"call": "open", "path": "file", "first": 2, "do": "cp other file; :"}}
    outcome = on_ranks(2, faults)("-E", "reference", *listed(vexolan, "file"))
    assert 'file "file" has changed since it was looked at!' in outcome.err
    assert outcome.out.endswith(info(0))


@pytest.mark.parametrize("ranks, available", [([0, 1, 2], 2 << 10), ([1], 1)])
def test_images_of_all_ranks_must_find_memory(vexolan, on_ranks, ranks, available):
    vexolan.put("meminfo", f"MemAvailable: {available} kB\n")
    vexolan.put("file", recorded(disordered(10, 1, {}), [0, 1]))
    outcome = on_ranks(3, {rank: {"meminfo": "meminfo"} for rank in ranks})(*listed(vexolan, "file"))
    assert outcome.status == 128 + signal.SIGABRT and outcome.err.count("what()") == 1
    needed = 3 * 512 * 512 * 4
    assert f"needs {needed} bytes, of which {available << 10} can be had" in what(outcome)
    assert not vexolan.exists()


@pytest.mark.parametrize("rank", [0, 1])
def test_rank_that_is_killed_ends_all(vexolan, on_ranks, rank):
    file = recorded(disordered(4 * PIECE, 1, {}), [0, 1])
    vexolan.put("file", file)
    kill = {"call": "read", "path": "file", "from": at(file, 4 * PIECE),
            "signal": signal.SIGKILL.value}
    outcome = on_ranks(3, {rank: kill})(*listed(vexolan, "file"))
    assert outcome.status == 128 + signal.SIGKILL
    assert not vexolan.exists()


def test_steps_between_ranks(on_ranks):
    outcome = on_ranks(3, built="VEXOLAN_RANKS_TESTS")()
    assert outcome.status == 0, outcome.out
