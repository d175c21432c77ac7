"""Recordings made of numpy arrays, and what vexolan-info tells of them."""

import json
import os
import subprocess

import numpy

import program
import recording
from recording import TICK

INFO = os.environ.get("VEXOLAN_INFO", str(program.BUILD / "vexolan-info"))
EVENT = numpy.dtype([("x", "<i4"), ("y", "<i4"), ("time", "<i8"), ("photons", "<u8"),
                     ("psd", "<f8")])


def info(*arguments, folder=None, **conditions):
    return subprocess.run([INFO, *map(str, arguments)], cwd=folder, text=True, timeout=60,
                          check=False, **{"stdout": subprocess.PIPE, "stderr": subprocess.PIPE,
                                          **conditions})


def told(*arguments, status=0, folder=None):
    done = info("--json", *arguments, folder=folder)
    assert (done.returncode, done.stderr) == (status, "")
    return json.loads(done.stdout)


def write(path, events, triggers=None):
    blocks = [recording.build()]
    if triggers is not None:
        blocks.append(recording.triggers(*triggers))
    path.write_bytes(recording.container(*blocks, recording.block(b"events", events.tobytes())))


HUNDRED = numpy.arange(100)
SECOND = round(1 / TICK)
MS = SECOND // 1000


def events_of(n, **columns):
    """So many events that are alike but in these columns."""
    events = numpy.zeros(n, EVENT)
    events["photons"] = 1
    for column, values in columns.items():
        events[column] = values
    return events


def report_of(tmp_path, triggers=None, **columns):
    """The text about a file with a hundred events."""
    write(tmp_path / "a.orvenevent", events_of(100, **columns), triggers)
    return info("a.orvenevent", folder=tmp_path).stdout
