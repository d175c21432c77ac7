"""The progress line, as a terminal receives it."""

import os
import pty
import re
import subprocess

import pytest

import program
import recording

ERASE = "\r\x1b[K"


def on_terminal(vexolan, *arguments):
    """Runs the program with a terminal as standard error. Returns what came there."""
    ours, theirs = pty.openpty()
    with subprocess.Popen([program.VEXOLAN, *arguments], cwd=vexolan.folder, stderr=theirs,
                          stdout=subprocess.DEVNULL) as process:
        os.close(theirs)
        received = b""
        while True:
            try:
                received += os.read(ours, 4096)
            except OSError:  # nobody has the terminal open any more
                break
        process.wait(timeout=60)
    os.close(ours)
    return received.decode().replace("\r\n", "\n")


@pytest.fixture
def slow(vexolan, faults):
    """Three files, of which the second is damaged and the first takes its time."""
    for name in "ac":
        vexolan.record(name, [recording.Event()] * 9)
    vexolan.put("b.orvenevent", b"no recording, but long enough for its first header")

    def slow(call, **settings):
        faults(call, first=4, last=4, do="sleep 1.5 #", cores=1, **settings)
    return slow


FILES = ["-i", "a.orvenevent,b.orvenevent,c.orvenevent", "-o", "out"]


def test_reading_is_shown_until_the_next_log_line(vexolan, slow):
    slow("read", path="a.orvenevent")
    received = on_terminal(vexolan, *FILES, "--parallel", "false")
    line = rf"{re.escape(ERASE)}reading: 0 % of [\d.]+ B, 0 events/s"
    assert re.match(rf"({line})+{re.escape(ERASE)}terminate called", received)


def test_writing_is_shown_and_removed(vexolan, slow):
    slow("write")
    received = on_terminal(vexolan, "-i", "a.orvenevent", "-o", "out", "-x", "200", "-t", "1",
                           "-T", "40")
    line = rf"{re.escape(ERASE)}writing: page \d+ of 40, [\d.]+ [kMG]?B/s(, \d+:\d\d left)?"
    assert re.fullmatch(rf"({line})+{re.escape(ERASE)}", received)


def test_log_lines_take_the_place_of_the_line(vexolan, slow):
    slow("read", path="a.orvenevent")
    before, *shown, logged = on_terminal(vexolan, *FILES).split(ERASE)
    assert before == "" and shown
    assert all(text.startswith("reading: ") for text in shown)
    assert re.fullmatch(r"ERROR: .*left in the file!\n", logged)


@pytest.mark.parametrize("call, arguments", [("none", []), ("read", ["--verbose", "1"])])
def test_nothing_is_shown_of_short_or_silent_runs(vexolan, slow, call, arguments):
    slow(call, path="a.orvenevent")
    assert on_terminal(vexolan, *arguments, "-i", "a.orvenevent", "-o", "out") == ""
