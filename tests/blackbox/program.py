"""Runs the built program in a folder of its own and states what it should have written."""

import fcntl
import os
import pathlib
import pty
import re
import resource
import signal
import struct
import subprocess
import termios
from typing import NamedTuple

import numpy
import tifffile

import recording

BUILD = pathlib.Path(__file__).resolve().parents[2] / "build"
VEXOLAN = os.environ.get("VEXOLAN", str(BUILD / "vexolan"))

STAMP = r"\d{4}-\d\d-\d\d \d\d:\d\d:\d\d UTC[+-]\d{4}"
LOG_PREFIX = re.compile(rf"^(ERROR:   |WARNING: |info:    ){STAMP}: ", re.MULTILINE)
ASSERTION = re.compile(r"^vexolan: .+: Assertion `(.+)' failed\.$", re.MULTILINE)


class Outcome(NamedTuple):
    """How a run ended, with time stamps and source places of assertions taken out of the texts."""

    status: int
    out: str
    err: str


def ended(out="", err=""):
    return Outcome(0, out, err)


def aborted(err, out=""):
    return Outcome(-signal.SIGABRT, out, err)


def error(message):
    return f"ERROR:   <time>: {message}\n"


def warning(message):
    return f"WARNING: <time>: {message}\n"


def info(intervals, path="out"):
    return f"info:    <time>: External Triggers: {intervals} for {path}\n"


def thrown(message, kind="invalid_argument"):
    return (f"terminate called after throwing an instance of 'std::{kind}'\n"
            f"  what():  {message}\n")


def no_memory(needed, available):
    return ("terminate called after throwing an instance of 'Not_Enough_Memory'\n  what():  "
            f"std::bad_alloc: the image needs {needed} bytes, of which {available} can be had\n")


def assertion(condition):
    return f"assertion {condition}\n"


def what(outcome):
    """The message of the exception that ended the run."""
    return outcome.err.partition("  what():  ")[2].rstrip("\n")


class Program:
    """The program as a function of its arguments, run in `folder`, or another command."""

    def __init__(self, folder, command=None):
        self.folder = folder
        self.command = command

    def raw(self, *arguments, time_zone="UTC", largest_file=resource.RLIM_INFINITY, user=None):
        """Runs the program, by root as another user; every write to a file beyond `largest_file`
        bytes fails."""
        environment = {**os.environ, "TZ": time_zone, "LC_ALL": "C"}
        environment.pop("POSIXLY_CORRECT", None)
        limit = (largest_file, resource.getrlimit(resource.RLIMIT_FSIZE)[1])
        other = {}
        if user and os.geteuid() == 0:
            self.folder.chmod(0o777)
            other = {"user": user, "group": user, "extra_groups": []}
        done = subprocess.run(
            [*(self.command or ["vexolan"]), *map(str, arguments)],
            executable=None if self.command else VEXOLAN, cwd=self.folder, env=environment,
            capture_output=True, timeout=60, check=False, **other,
            preexec_fn=lambda: resource.setrlimit(resource.RLIMIT_FSIZE, limit))
        return Outcome(done.returncode, done.stdout.decode(), done.stderr.decode())

    def __call__(self, *arguments, **conditions):
        status, *texts = self.raw(*arguments, **conditions)
        texts = [LOG_PREFIX.sub(r"\1<time>: ", text) for text in texts]
        return Outcome(status, *(ASSERTION.sub(r"assertion \1", text) for text in texts))

    def on_terminal(self, *arguments, command=(VEXOLAN,), ended_at=None, columns=100):
        """Runs the program with a terminal as standard error. Returns what came there. When
        `ended_at` has come, a signal ends the program."""
        ours, theirs = pty.openpty()
        fcntl.ioctl(theirs, termios.TIOCSWINSZ, struct.pack("4H", 24, columns, 0, 0))
        with subprocess.Popen([*command, *arguments], cwd=self.folder, stdin=theirs,
                              stderr=theirs, stdout=subprocess.DEVNULL) as process:
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

    def put(self, name, content):
        """Writes a file (parents included) and returns its name."""
        path = self.folder / name
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_bytes(content if isinstance(content, bytes) else content.encode())
        return name

    def record(self, name, rows, trigger_times=None):
        return self.put(f"{name}.orvenevent", recording.recording(rows, trigger_times))

    def exists(self, name="out"):
        return (self.folder / name).exists()

    def bytes(self, name="out"):
        return (self.folder / name).read_bytes()

    def pages(self, name="out"):
        with tifffile.TiffFile(self.folder / name) as tiff:
            return numpy.stack([page.asarray() for page in tiff.pages])

    def image(self, name="out"):
        """The counts of an output file as {(page, row, column): count}, zeros left out."""
        pages = self.pages(name)
        return {tuple(cell): int(pages[tuple(cell)]) for cell in numpy.argwhere(pages).tolist()}
