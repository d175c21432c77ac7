import pathlib
import sys

import numpy
import pytest

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "blackbox"))

import program  # noqa: E402
import vexolan  # noqa: E402


@pytest.fixture
def run(tmp_path, monkeypatch):
    """The built program in an empty folder, which is the current one."""
    monkeypatch.chdir(tmp_path)
    return program.Program(tmp_path)


def some_events(number, seed=1):
    """Events of all kinds, some beside the detector, some before time zero."""
    random = numpy.random.default_rng(seed)
    events = numpy.empty(number, vexolan.event_dtype)
    events["x"] = random.integers(-2**20, 2**24 + 2**20, number)
    events["y"] = random.integers(-2**20, 2**24 + 2**20, number)
    events["time"] = numpy.sort(random.integers(-10**5, 10**7, number))
    events["photons"] = random.integers(0, 12, number)
    events["psd"] = random.random(number)
    events["psd"][::100] = numpy.nan
    return events


@pytest.fixture
def recording(run):
    """Three files with triggers, in the folder "recording"."""
    (run.folder / "recording").mkdir()
    for i in range(3):
        triggers = numpy.arange(0, 10**7, 300_000 + i)
        vexolan.write_recording(f"recording/{i}.orvenevent", some_events(5000, i), triggers)
    return vexolan.open("recording", strict=True)
