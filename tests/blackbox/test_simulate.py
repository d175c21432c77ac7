"""Recordings made by the simulator: what they hold, and what the tool makes of them."""

import hashlib
import os
import pathlib
import subprocess

import numpy
import pytest

import program
import recording

SIMULATE = os.environ.get("VEXOLAN_SIMULATE", str(program.BUILD / "vexolan-simulate"))
EVENT = numpy.dtype([("x", "<i4"), ("y", "<i4"), ("time", "<i8"), ("photons", "<u8"),
                     ("psd", "<f8")])
HASHES = ["ab610699f098ccc1", "f2ab1a269a311e36"]


def simulate(*arguments):
    return subprocess.run([SIMULATE, *map(str, arguments)], capture_output=True, text=True,
                          timeout=60, check=False)


def recorded(folder):
    """The events and the triggers of each file, in the order of the names."""
    for path in sorted(pathlib.Path(folder).iterdir()):
        content, position, blocks = path.read_bytes(), 48, {}
        while position < len(content):
            size = int.from_bytes(content[position + 8:position + 16], "little")
            blocks[content[position:position + 8].rstrip(b"\0")] = content[position + 16:][:size]
            position += 16 + size
        yield numpy.frombuffer(blocks[b"events"], EVENT), numpy.frombuffer(
            blocks.get(b"extTrigs", b""), "<i8")


def test_the_same_options_give_the_same_bytes_on_every_machine(tmp_path):
    hashes = []
    for seed in (1, 1, 2):
        assert simulate("-o", tmp_path / "r", "-n", "1k", "--files", 2, "--triggers",
                        "--seed", seed).returncode == 0
        hashes.append([hashlib.sha256(path.read_bytes()).hexdigest()[:16]
                       for path in sorted((tmp_path / "r").iterdir())])
    assert hashes[0] == hashes[1] == HASHES
    assert not set(hashes[0]) & set(hashes[2])


@pytest.mark.parametrize("scene", ["star", "uniform", "spot"])
def test_files_follow_each_other_in_time(tmp_path, scene):
    assert simulate("-o", tmp_path, "-s", scene, "-n", 30_001, "--files", 3, "--pulses", 7,
                    "--triggers", "--pulse-period", 0.001).returncode == 0
    files = list(recorded(tmp_path))
    events = numpy.concatenate([events for events, _ in files])
    assert len(events) == 30_001
    assert (numpy.diff(events["time"]) >= 0).all()
    assert [len(triggers) for _, triggers in files] == [8, 8, 8]
    assert files[0][1][-1] == files[1][1][0] == 7 * round(0.001 / recording.TICK)
    for of_file, triggers in files:
        assert triggers[0] <= of_file["time"][0] and of_file["time"][-1] < triggers[-1]
    assert events["photons"].min() >= 1
    if scene == "spot":
        for axis in ("x", "y"):
            pixels = events[axis] // recording.PIXEL
            assert (pixels.min(), pixels.max()) == (118, 137)


def test_each_event_is_counted_once_in_every_mode(vexolan, tmp_path):
    simulate("-o", tmp_path / "r", "-n", 50_000, "--files", 2, "--pulses", 20, "--triggers")
    assert vexolan("-I", "r", "-o", "all") == program.ended(program.info(0, "all"))
    assert vexolan("-I", "r", "-E", "reference", "-o", "same").out == program.info(40, "same")
    assert vexolan.bytes("all") == vexolan.bytes("same")
    vexolan("-I", "r", "-E", "reference", "-t", "0.001", "-T", 10, "-o", "bins")
    bins = vexolan.pages("bins").sum(axis=(1, 2))
    vexolan("-I", "r", "-E", "frameSync", "-t", "0.01", "-T", 40, "-o", "frames")
    assert bins.sum() == vexolan.pages("frames").sum() == vexolan.pages("all").sum()
    assert bins.max() > 2 * bins.min()


def test_filters_separate_the_two_populations(vexolan, tmp_path):
    simulate("-o", tmp_path / "r", "-n", 100_000)
    vexolan("-I", "r", "-m", 6, "-p", "0.4", "-x", 64, "-o", "signal")
    vexolan("-I", "r", "-M", 5, "-P", "0.4", "-x", 64, "-o", "background")
    signal, background = vexolan.pages("signal")[0], vexolan.pages("background")[0]
    assert 0.9 < (signal.sum() + background.sum()) / 100_000 < 1
    inner = (slice(20, 44), slice(20, 44))
    assert signal[inner].sum() / signal.sum() > 2 * background[inner].sum() / background.sum()


@pytest.mark.parametrize("arguments", [[], ["-o", "r", "-n", "4q"], ["-o", "r", "--files", "0"],
                                       ["-o", "r", "-s", "moon"], ["-o", "/proc/r"]])
def test_bad_arguments_are_explained(arguments):
    done = simulate(*arguments)
    assert (done.returncode, done.stdout) == (1, "") and done.stderr


def test_a_full_disk_is_reported(tmp_path):
    (tmp_path / "star_001.orvenevent").symlink_to("/dev/full")
    done = simulate("-o", tmp_path)
    assert done.returncode == 1
    assert "star_001.orvenevent" in done.stderr and "No space left" in done.stderr
