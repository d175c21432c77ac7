"""The progress line, as a terminal receives it."""

import os
import pathlib
import pty
import re
import signal
import subprocess

import pytest

import program
import recording

ERASE = "\r\x1b[K"


def on_terminal(vexolan, *arguments, command=(program.VEXOLAN,), ended_at=None):
    """Runs the program with a terminal as standard error. Returns what came there. When
    `ended_at` has come, a signal ends the program."""
    ours, theirs = pty.openpty()
    with subprocess.Popen([*command, *arguments], cwd=vexolan.folder, stdin=theirs, stderr=theirs,
                          stdout=subprocess.DEVNULL) as process:
        os.close(theirs)
        received = b""
        while True:
            try:
                received += os.read(ours, 4096)
            except OSError:  # nobody has the terminal open any more
                break
            if ended_at and ended_at in received:
                process.terminate()
        assert process.wait(timeout=60) == -signal.SIGTERM or not ended_at
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


@pytest.mark.parametrize("name, arguments", [("vexolan", ["-o", "out", "-i"]),
                                             ("vexolan-info", [])])
def test_the_line_is_removed_when_a_signal_ends_the_program(vexolan, slow, name, arguments):
    slow("read", path="a.orvenevent")
    before, *shown, after = on_terminal(
        vexolan, *arguments, "a.orvenevent", ended_at=b"reading",
        command=[pathlib.Path(program.VEXOLAN).with_name(name)]).split(ERASE)
    assert (before, after) == ("", "") and shown


@pytest.mark.parametrize("job, shown", [("", True), ("& wait", False)])
def test_jobs_in_the_background_show_nothing(vexolan, slow, job, shown):
    slow("read", path="a.orvenevent")
    shell = ["setsid", "--ctty", "bash", "-mc", f'LD_PRELOAD=$VEXOLAN_FAULTS "$@" {job}', "bash"]
    received = on_terminal(vexolan, "-i", "a.orvenevent", "-o", "out",
                           command=[*shell, program.VEXOLAN])
    assert ("reading" in received) == shown


@pytest.mark.parametrize("call, arguments", [("none", []), ("read", ["--verbose", "1"])])
def test_nothing_is_shown_of_short_or_silent_runs(vexolan, slow, call, arguments):
    slow(call, path="a.orvenevent")
    assert on_terminal(vexolan, *arguments, "-i", "a.orvenevent", "-o", "out") == ""
