"""Recordings made by the simulator."""

import hashlib
import os
import struct
import subprocess

import numpy
import pytest

import program
import recording

SIMULATE = os.environ.get("VEXOLAN_SIMULATE", str(program.BUILD / "vexolan-simulate"))
EVENT = numpy.dtype([("x", "<i4"), ("y", "<i4"), ("time", "<i8"), ("photons", "<u8"),
                     ("psd", "<f8")])


def simulate(*arguments, limit="unlimited"):
    return subprocess.run(["bash", "-c", f'ulimit -f {limit}; exec "$0" "$@"', SIMULATE,
                           *map(str, arguments)], capture_output=True, text=True, timeout=60,
                          check=False)


def recorded(folder):
    """The events and the triggers of each file, in the order of the names."""
    for path in sorted(folder.iterdir()):
        rest, blocks = path.read_bytes()[48:], {}
        while rest:
            name, size = struct.unpack_from("<8sQ", rest)
            blocks[name], rest = rest[16:16 + size], rest[16 + size:]
        yield numpy.frombuffer(blocks[b"events\0\0"], EVENT), numpy.frombuffer(
            blocks.get(b"extTrigs", b""), "<i8")


@pytest.mark.parametrize("arguments, digest", [
    ("--triggers", "7b37f00fd1df35a9"),
    ("--seed 2", "a648b0be7adcc2d6"),
    ("-s uniform", "132ea1be4c92f68b"),
    ("-s spot --turn 45", "3bf9e58f15cc76ac"),
])
def test_the_same_options_give_the_same_bytes_on_every_machine(tmp_path, arguments, digest):
    assert simulate("-o", tmp_path, "-n", "1k", "--files", 2, *arguments.split()).returncode == 0
    content = b"".join(path.read_bytes() for path in sorted(tmp_path.iterdir()))
    assert hashlib.sha256(content).hexdigest()[:16] == digest


def test_files_follow_each_other_in_time(tmp_path):
    assert simulate("-o", tmp_path, "-n", 30_001, "--files", 3, "--pulses", 7, "--triggers",
                    "--pulse-period", 0.001).returncode == 0
    files = list(recorded(tmp_path))
    events = numpy.concatenate([events for events, _ in files])
    assert len(events) == 30_001
    assert (numpy.diff(events["time"]) >= 0).all()
    assert [len(triggers) for _, triggers in files] == [8, 8, 8]
    assert files[0][1][-1] == files[1][1][0] == 7 * round(0.001 / recording.TICK)
    for of_file, triggers in files:
        assert triggers[0] <= of_file["time"][0] and of_file["time"][-1] < triggers[-1]


def test_the_star_turns_from_pulse_to_pulse(tmp_path):
    assert simulate("-o", tmp_path, "-n", "400k", "--pulses", 4, "--turn", 90).returncode == 0
    (events, _), = recorded(tmp_path)
    signal = events[events["photons"] > 6]
    dots = [(204, 52), (204, 204), (52, 204), (52, 52)]  # the dark dot goes round from upper right
    for pulse in range(4):
        now = signal[signal["time"] // round(0.01 / recording.TICK) == pulse]
        x, y = (now[axis] / recording.PIXEL for axis in ("x", "y"))
        counts = [(numpy.hypot(x - dot_x, y - dot_y) < 6).sum() for dot_x, dot_y in dots]
        assert numpy.argmin(counts) == pulse


@pytest.mark.parametrize("arguments, names, n_events", [
    ("-n 1M", ["star_001"], 1_000_000),
    ("-n 2.5e5", ["star_001"], 250_000),
    ("-n 1k --files 1000 --pulses 1 -s spot", [f"spot_{n:04}" for n in range(1, 1001)], 1000),
])
def test_all_events_are_in_an_image_of_the_folder(vexolan, arguments, names, n_events):
    assert simulate("-o", vexolan.folder / "r", *arguments.split()).returncode == 0
    assert sorted(path.stem for path in (vexolan.folder / "r").iterdir()) == names
    assert vexolan("-I", "r", "-o", "out") == program.ended(program.info(0))
    assert vexolan.pages().sum() == n_events


def test_version_is_told():
    done = simulate("--version")
    assert (done.returncode, done.stdout, done.stderr) == (0, "1.0.0\n", "")


@pytest.mark.parametrize("arguments, part", [
    ("", "/proc/r"),
    ("extra", "extra"),
    ("-s moon", "--scene"),
    *((f"-n {number}", f"--events: {number} is not a whole number") for number in (
        "4q", "0.0001k", "-1", "1e16", "inf", "nan", "M")),
    ("-n 1001G", "1000G"),
    ("-n 1000G --pulses 1", "4294967295 events per pulse"),
    ("--files 0", "1000000 files"),
    ("--pulses 0", "at least one pulse"),
    ("--pulses 4294967296", "at most 4294967295"),
    ("--pulses 1000000 --files 4295", "at most 4294967295"),
    ("--pulse-period nan", "period"),
    ("--turn nan", "turn"),
])
def test_bad_arguments_are_explained(arguments, part):
    done = simulate("-o", "/proc/r", *arguments.split())  # where nobody can write, last of all
    assert (done.returncode, done.stdout) == (1, "") and part in done.stderr


def test_files_of_another_recording_are_not_mixed_in(tmp_path):
    assert simulate("-o", tmp_path, "-n", 9, "--files", 3).returncode == 0
    (tmp_path / "notes.txt").touch()
    assert simulate("-o", tmp_path, "-n", 8, "--files", 3).returncode == 0
    before = {file: file.read_bytes() for file in tmp_path.iterdir()}
    done = simulate("-o", tmp_path, "-n", 7, "--files", 2)
    assert done.returncode == 1
    assert "star_003.orvenevent" in done.stderr and "another folder" in done.stderr
    assert before == {file: file.read_bytes() for file in tmp_path.iterdir()}


@pytest.mark.parametrize("disk, limit, reason", [
    ("/dev/full", "unlimited", "No space left"), (None, 1, "File too large")])
def test_a_full_disk_and_a_file_size_limit_are_reported(tmp_path, disk, limit, reason):
    if disk:
        (tmp_path / "star_001.orvenevent").symlink_to(disk)
    done = simulate("-o", tmp_path, "-n", "1k", limit=limit)  # only the last write fails
    assert done.returncode == 1
    assert "star_001.orvenevent" in done.stderr and reason in done.stderr
