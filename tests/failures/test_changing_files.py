"""Recordings that several tasks share, and that change while they are read."""

import errno
import re

import pytest

from program import ended, error, info
from recording import PIXEL, Event, block, build, container, events


def long_recording(n_cycles):
    cycle = events(*(Event(x=column * PIXEL) for column in range(8)))[16:]
    return container(build(), block(b"events", cycle * n_cycles))


# Long enough for every task to come in time for a range of it.
LENGTHS = 30_000, 40_000
OLD, NEW = map(long_recording, LENGTHS)
OLD_IMAGE, NEW_IMAGE = ({(0, 0, column): n for column in range(8)} for n in LENGTHS)


@pytest.fixture
def run(vexolan, faults):
    """A run of several tasks over the old recording, with the new one beside it."""
    def start(*settings, times=1, **named_settings):
        vexolan.put("a.orvenevent", OLD)
        faults(*settings, **named_settings, cores=3)
        return vexolan("-i", ",".join(["a.orvenevent"] * times), "-x", 256, "-o", "out")
    vexolan.put("new", NEW)
    vexolan.put("tail", NEW[len(OLD):])
    return start


def test_each_recording_is_opened_once(vexolan, run):
    outcome = run("open", 21, path="a.orvenevent", errno=errno.EMFILE, times=20)
    assert outcome == ended(out=info(0))
    assert vexolan.image() == {cell: 20 * n for cell, n in OLD_IMAGE.items()}
    assert vexolan.bytes("calls") == b"20"


def correct_size(offset):
    """A block size of the file becomes that of the new one."""
    return ("dd if=new of=a.orvenevent conv=notrunc status=none bs=8 count=1 "
            f"skip={offset // 8} seek={offset // 8}")


APPEND, CORRECT_FILE, CORRECT_BLOCK = "cat tail >> a.orvenevent", correct_size(8), correct_size(56)
CHANGES = {
    "replaced": "cp new next && mv next a.orvenevent",
    "grown": f"[ $1 != 0 ] || {{ {APPEND} && {CORRECT_FILE} && {CORRECT_BLOCK}; }}",
    "growing": f"case $1 in 0) {APPEND};; 1) {CORRECT_FILE};; 2) {CORRECT_BLOCK};; esac",
}


@pytest.mark.parametrize("change", CHANGES)
@pytest.mark.parametrize("call", ["open", "seek", "read"])
def test_image_is_of_one_state_of_the_recording_or_its_error_is_told(vexolan, run, call, change):
    vexolan.put("change", CHANGES[change])
    images = []
    for number in range(1, 10):  # beyond, tasks read pieces only
        outcome = run(call, number, number + 2, do="sh change", path="a.orvenevent")
        assert (outcome.status, outcome.out) == (0, info(0))
        if outcome.err:
            assert re.fullmatch(error(".+"), outcome.err)
        else:
            images.append(vexolan.image())
            assert images[-1] in (OLD_IMAGE, NEW_IMAGE)
        if int(vexolan.bytes("calls")) < number:
            break
    assert OLD_IMAGE in images
    assert call != "open" or change == "growing" or images[0] == NEW_IMAGE
