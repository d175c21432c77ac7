"""The progress line, as a terminal receives it."""

import contextlib
import os
import pathlib
import pty
import re
import signal
import subprocess
import termios
import time

import pytest

import program
import recording

ERASE = "\r\x1b[K"


def on_terminal(vexolan, *arguments, **conditions):
    """What comes on a terminal before the account that closes a run."""
    return vexolan.on_terminal(*arguments, **conditions).partition("recorded  ")[0]


@pytest.fixture
def slow(vexolan, faults):
    """Three files, of which the second is damaged and the first takes its time."""
    for name in "ac":
        vexolan.record(name, [recording.Event()] * 9)
    vexolan.put("b.orvenevent", b"no recording, but long enough for its first header")

    def slow(call, seconds=1.5, **settings):
        faults(call, first=2, last=2, do=f"sleep {seconds} #", cores=1, **settings)
    return slow


@pytest.fixture(params=["stopped", "full"])
def stalled(request, vexolan):
    """Starts a run on a terminal that takes nothing, and returns it with both of its ends."""
    started = []

    def start(*arguments):
        ours, theirs = pty.openpty()
        if request.param == "stopped":
            termios.tcflow(theirs, termios.TCOOFF)
        else:
            os.set_blocking(theirs, False)
            with contextlib.suppress(BlockingIOError):
                while True:
                    os.write(theirs, b"x\n")
            os.set_blocking(theirs, True)
        started.append(subprocess.Popen([program.VEXOLAN, *arguments], cwd=vexolan.folder,
                                        stdin=theirs, stdout=theirs, stderr=theirs))
        return ours, theirs, started[0]
    yield start
    started[0].kill()
    started[0].wait()


FILES = ["-i", "a.orvenevent,b.orvenevent,c.orvenevent", "-o", "out"]


def test_reading_is_shown_until_the_next_log_line(vexolan, slow):
    slow("read", path="a.orvenevent")
    received = on_terminal(vexolan, *FILES, "--parallel", "false")
    line = rf"{re.escape(ERASE)}reading: 0 % of [\d.]+ B, 0 events/s"
    assert re.match(rf"({line})+{re.escape(ERASE)}terminate called", received)


def test_reading_tells_how_much_is_read(vexolan, slow):
    slow("read", path="c.orvenevent")  # 9 of 18 events are 288 of 704 bytes
    received = on_terminal(vexolan, "-i", "a.orvenevent,c.orvenevent", "-o", "out")
    line = rf"{re.escape(ERASE)}reading: 40 % of 704 B, \d events/s, 0:\d\d left"
    assert re.fullmatch(rf"({line})+{re.escape(ERASE)}", received)


def test_writing_is_shown_and_removed(vexolan, slow):
    slow("write")
    received = on_terminal(vexolan, "-i", "a.orvenevent", "-o", "out", "-x", "200", "-t", "1",
                           "-T", "40")
    line = rf"{re.escape(ERASE)}writing: page \d+ of 40, [\d.]+ [kMG]?B/s(, \d+:\d\d left)?"
    assert re.fullmatch(rf"({line})+{re.escape(ERASE)}", received)


def test_log_lines_take_the_place_of_the_line(vexolan, slow):
    slow("read", path="a.orvenevent")
    started = time.monotonic()
    before, *shown, logged = on_terminal(vexolan, *FILES, columns=20).split(ERASE)
    assert before == "" and shown
    assert len(shown) <= 5 * (time.monotonic() - started)
    assert all(text.startswith("reading: ") and len(text) == 17 for text in shown)
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


@pytest.mark.parametrize("seconds, arguments", [(0.2, []), (1.5, ["--verbose", "1"])])
def test_nothing_is_shown_of_short_or_silent_runs(vexolan, slow, seconds, arguments):
    slow("read", seconds, path="a.orvenevent")
    assert on_terminal(vexolan, *arguments, "-i", "a.orvenevent", "-o", "out") == ""


def test_terminal_that_takes_nothing_delays_only_its_own_lines(vexolan, slow, stalled):
    slow("read", path="a.orvenevent")
    ours, theirs, process = stalled(*FILES)
    latest = time.monotonic() + 20
    while not vexolan.exists():
        assert process.poll() is None and time.monotonic() < latest
        time.sleep(0.01)
    termios.tcflow(theirs, termios.TCOON)
    os.close(theirs)
    received = b"\n"
    while b"info" not in received:  # what was kept comes even if the progress line was shown before
        received += os.read(ours, 4096)
    assert re.findall(rb"[\nK](ERROR|info): ", received) == [b"ERROR", b"info"]
    assert process.wait(timeout=60) == 0


def test_first_signal_ends_a_run_whose_terminal_takes_nothing(vexolan, slow, stalled):
    slow("read", "1.5; kill -TERM $PPID", path="a.orvenevent")
    *_, process = stalled(*FILES)
    assert process.wait(timeout=20) == -signal.SIGTERM
    assert not vexolan.exists()
