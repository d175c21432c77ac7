"""Damaged event files, and sound ones of unusual structure."""

import pytest

from program import aborted, ended, error, info, thrown
from recording import PIXEL, TICK, Event, block, build, container, events, triggers

HALF = 2**63  # block sizes from here on are negative as signed numbers
GOOD = events(Event(x=5), Event(x=6))

SIZE = "File size mismatch!"
NO_BUILD = "File is missing build information!"
BUILD_SIZE = "Build info size missmatch! File corrupted?"
UNKNOWN = "Block identifier not recognized!"
PARTIAL_EVENTS = "File contains partial events!"
PARTIAL_TRIGGERS = "File contains partial external triggers!"
NO_EVENTS = "File does not contain event data!"


def after_build(*blocks):
    return container(build(), *blocks)


def too_long(claimed, left):
    return f"Block size is indicated as {claimed} but only {left} bytes are left in the file!"


# (content, message): of several faults the one that is checked first is reported
DAMAGED = [
    (b"", "Read Error!"),
    (container(), "Read Error!"),
    (container(build(), GOOD, size=113), too_long(113, 112)),
    (container(build(), size=HALF - 17), too_long(HALF - 17, 32)),
    (container(build(), identifier=b"orven", size=33), too_long(33, 32)),
    (container(build(), GOOD, size=111), SIZE),
    (container(build(), GOOD, size=HALF - 16), SIZE),  # the position after the block wraps
    *((container(build(), GOOD, identifier=magic, size=0), "Not a valid ORVEN file!")
      for magic in (b"ORVE", b"ORVENX", b"ORVEN\0\0\1")),
    (container(b"build\0\0\0\x10"), "Read Error!"),
    (container(block(b"builds", bytes(8))), NO_BUILD),
    (container(block(b"build", bytes(8)), GOOD), BUILD_SIZE),
    (container(block(b"bui", b"", size=16)), too_long(16, 0)),
    (container(build(HALF, 2), GOOD), "File has wrong version!"),
    (container(build(0, 3 + 2**32)), "File has wrong type!"),
    (after_build(triggers(1, 2)), NO_EVENTS),
    (after_build(GOOD, GOOD[:12]), "Read Error!"),
    *((after_build(GOOD, triggers(0, 1), block(name, bytes(32))), UNKNOWN)
      for name in (b"event", b"events\0\1", b"build")),
    (after_build(block(b"other", b"abc", size=4)), too_long(4, 3)),
    (after_build(block(b"other", size=2**64 - 8)), UNKNOWN),
    (after_build(GOOD, block(b"events", bytes(8))), PARTIAL_EVENTS),
    (after_build(triggers(0, 9), GOOD, block(b"extTrigs", bytes(7))), PARTIAL_TRIGGERS),
    (after_build(block(b"events", size=HALF - 96)), too_long(HALF - 96, 0)),
    (after_build(block(b"events", size=2**64 - 1)), PARTIAL_EVENTS),
    (after_build(GOOD, block(b"extTrigs", size=2**64 - 4)), PARTIAL_TRIGGERS),
    # A wrapped size passes these checks, and the memory for it is refused.
    *((after_build(GOOD, block(name, size=size), GOOD), "vector::reserve", "length_error")
      for name in (b"events", b"extTrigs") for size in (HALF, 2**64 - 32)),
    (after_build(block(b"events", size=HALF - 64)), "std::bad_alloc", "bad_alloc"),
    (after_build(block(b"extTrigs", size=HALF - 8)), "std::bad_alloc", "bad_alloc"),
]


def reads(vexolan, mode, parallel):
    """A run over a good file, the bad one, and the good file again."""
    vexolan.record("good", [Event()], [0, 1])
    return vexolan("-i", "good.orvenevent,bad.orvenevent,good.orvenevent", "-x", 1, "-E", mode,
                   *(["-t", TICK, "-T", 2] if mode == "frameSync" else []),
                   "--parallel", parallel, "-o", "out")


@pytest.mark.parametrize("fault", DAMAGED, ids=[message for _, message, *_ in DAMAGED])
def test_damage_ends_a_sequential_run_and_is_logged_by_tasks(vexolan, fault):
    content, message, *kind = fault
    vexolan.put("bad.orvenevent", content)
    for mode, parallel in ("ignore", "false"), ("reference", "false"), ("frameSync", "true"):
        assert reads(vexolan, mode, parallel) == aborted(thrown(message, *kind))
        assert not vexolan.exists()
    for mode, intervals in ("ignore", 0), ("reference", 2):
        assert reads(vexolan, mode, "true") == ended(out=info(intervals), err=error(message))
        assert vexolan.image() == {(0, 0, 0): 2}


def test_path_that_is_no_file_is_an_error_of_that_file(vexolan):
    missing = 'file "bad.orvenevent" could not be opened!'
    assert reads(vexolan, "ignore", "false") == aborted(thrown(missing))
    assert reads(vexolan, "reference", "true") == ended(out=info(2), err=error(missing))
    (vexolan.folder / "bad.orvenevent").mkdir()
    assert reads(vexolan, "frameSync", "true") == aborted(thrown("Read Error!"))
    assert reads(vexolan, "ignore", "true") == ended(out=info(0), err=error("Read Error!"))


def test_file_without_triggers_fails_where_they_are_needed(vexolan):
    vexolan.record("bad", [Event()])
    missing = ("External trigger data requested from data set recorded without external trigger "
               "enabled!")
    for mode, parallel in ("reference", "false"), ("frameSync", "true"):
        assert reads(vexolan, mode, parallel) == aborted(thrown(missing))
    assert reads(vexolan, "reference", "true") == ended(out=info(2), err=error(missing))
    assert reads(vexolan, "ignore", "true") == ended(out=info(0))


ONE, TWO, NONE = events(Event(time=15)), events(Event(time=15), Event(time=25)), events()


@pytest.mark.parametrize("mode, blocks, intervals, count", [
    ("ignore", [TWO, ONE], 0, 1),
    ("ignore", [TWO, NONE], 0, 0),
    ("ignore", [triggers(), NONE, triggers(5), TWO, triggers(10, 20)], 0, 2),
    ("reference", [ONE, triggers(10, 20), TWO, triggers(0, 20, 30)], 2, 2),
    ("reference", [triggers(0, 20, 30), ONE, triggers(10, 20), TWO], 1, 1),
    ("reference", [triggers(10, 20), triggers(), TWO], 0, 0),
])
@pytest.mark.parametrize("parallel", ["true", "false"])
def test_last_block_of_a_kind_counts(vexolan, mode, blocks, intervals, count, parallel):
    vexolan.put("a.orvenevent", after_build(*blocks))
    arguments = ["-i", "a.orvenevent", "-x", 1, "-E", mode, "--parallel", parallel, "-o", "out"]
    assert vexolan(*arguments) == ended(out=info(intervals))
    assert vexolan.pages().tolist() == [[[count]]]


@pytest.mark.parametrize("parallel", ["true", "false"])
@pytest.mark.parametrize("size", [256, 1024])  # small and large images are counted differently
def test_long_file_is_counted_event_for_event(vexolan, size, parallel):
    columns = [0, size // 4, size // 2]
    cycle = events(*(Event(x=column * 256 * PIXEL // size) for column in columns))[16:]
    n_cycles = 750_001  # long enough to be shared among tasks, and no multiple of a piece
    vexolan.put("a.orvenevent", after_build(block(b"events", cycle * n_cycles)))
    assert vexolan("-i", "a.orvenevent", "-x", size, "--parallel", parallel, "-o", "out") == ended(
        out=info(0))
    assert vexolan.image() == {(0, 0, column): n_cycles for column in columns}
