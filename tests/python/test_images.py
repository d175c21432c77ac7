"""What is counted, and where: the same as by the program."""

import json
import os
import pickle
import subprocess
import threading

import numpy
import pytest
import tifffile

import vexolan

BOUNDS = {"photons": (2, 9), "psd": (0.25, None)}
BOUND_OPTIONS = "-m 2 -M 9 -p 0.25"
REGION = {"region": (20.5, -3, 200, 250.25)}
PAGES = {"shape": (40, 30)}
PAGE_OPTIONS = "-x 30 -y 40 --upright true"


@pytest.mark.parametrize("kind, settings, options", [
    ("image", {}, ""),
    ("image", {"shape": (300, 200), "photons": (None, 9), "psd": (None, 0.5)},
     "-x 200 -y 300 -M 9 -P 0.5"),
    ("image", {"since": "trigger", **BOUNDS, **REGION},
     f"-E reference {BOUND_OPTIONS} --region 20.5,-3,200,250.25"),
    ("pages", {"bin": 0.0005, "n": 40, **PAGES}, f"-t 0.0005 -T 40 {PAGE_OPTIONS}"),
    ("pages", {"bin": 1e-5, "n": 50, "since": "trigger", **PAGES, **BOUNDS},
     f"-E reference -t 1e-5 -T 50 {PAGE_OPTIONS} {BOUND_OPTIONS}"),
    ("pages", {"bin": 1e-5, "n": 7, "start": -1e-4, "upright": False, "shape": (9, 8)},
     "-t 1e-5 -T 7 --timeStart=-1e-4 -x 8 -y 9"),
    ("frames", {"bin": 1e-4, "n": 60, **PAGES}, f"-E frameSync -t 1e-4 -T 60 {PAGE_OPTIONS}"),
    ("frames", {"bin": 1e-4, "n": 200, "start": 2e-5, **PAGES, **REGION},
     f"-E frameSync -t 1e-4 -T 200 --timeStart 2e-5 {PAGE_OPTIONS} --region 20.5,-3,200,250.25"),
])
@pytest.mark.parametrize("format", ["tiff_w4", "tiff_w8"])
def test_images_are_those_of_the_program(run, recording, kind, settings, options, format):
    image = getattr(recording, kind)(**settings)
    image.save("made/module.tif", format=format)
    files = ",".join(recording.files)
    spectra = ["--spectra", "spectra.tsv"] if kind == "pages" else []
    assert run("-i", files, *options.split(), "--fileFormat", format, "-o", "program.tif",
               "--report", "report.json", *spectra).status == 0
    assert run.bytes("made/module.tif") == run.bytes("program.tif")
    assert image.counts.dtype == numpy.uint32
    assert numpy.shares_memory(numpy.asarray(image), image.counts)
    assert not image.counts.flags.owndata  # else it would be a copy
    assert (image.counts == tifffile.imread("program.tif")).all()
    assert image.account._asdict() == json.loads(run.bytes("report.json"))["run"]["events"]
    if kind == "pages":
        starts, counts = numpy.loadtxt("spectra.tsv", unpack=True)
        assert numpy.allclose(image.edges[:-1], starts, rtol=1e-15, atol=0)
        assert len(image.edges) == settings["n"] + 1
        assert (image.counts.sum(axis=(1, 2)) == counts).all()
    else:
        assert image.edges is None


def test_records_are_read_and_written_as_they_are(run, recording, monkeypatch):
    monkeypatch.setattr("vexolan._files._piece_length", 999)
    events = vexolan.read_events(recording.files[0])
    triggers = vexolan.read_triggers(recording.files[0])
    assert events.dtype.names == ("x", "y", "time", "photons", "psd")
    assert isinstance(events, numpy.memmap) and not (events.flags.writeable or events.flags.owndata)
    assert triggers.dtype == numpy.int64
    wider = events.astype([(name, "f8" if name == "psd" else "i8") for name in events.dtype.names])
    for i, each in enumerate((events, wider, numpy.repeat(events, 2)[::2])):
        vexolan.write_recording(f"{i}.orvenevent", each, triggers.tolist())
        assert run.bytes(f"{i}.orvenevent") == run.bytes(recording.files[0])
    vexolan.write_recording(b"\xff.orvenevent", events)
    assert vexolan.open(b"\xff.orvenevent").files == ["\udcff.orvenevent"]
    vexolan.write_recording("none.orvenevent", events[:0])
    assert len(vexolan.read_events("none.orvenevent")) == 0
    assert vexolan.read_triggers("none.orvenevent") is None
    assert vexolan.open("none.orvenevent").n_triggers is None
    assert (recording.n_events, recording.n_triggers) == (15000, 3 * 34)


def test_a_survey_is_that_of_vexolan_info(run, recording):
    for named, opened in [("recording", recording),
                          (recording.files[0], vexolan.open(recording.files[:1]))]:
        surveyed = subprocess.run([os.environ["VEXOLAN_INFO"], "--json", "-m", "2", named],
                                  capture_output=True, check=True).stdout
        assert opened.survey(photons=(2, None)) == json.loads(surveyed)


def test_threads_and_processes_count_at_the_same_time(recording):
    expected = recording.frames(1e-4, 60, shape=(40, 30)).counts

    def count():
        return (recording.frames(1e-4, 60, shape=(40, 30)).counts == expected).all()

    right = []
    threads = [threading.Thread(target=lambda: right.extend(count() for _ in range(20)))
               for _ in range(4)]
    for thread in threads:
        thread.start()
    for _ in range(10):
        child = os.fork()
        if child == 0:
            os._exit(0 if count() else 1)
        assert os.waitpid(child, 0)[1] == 0
    for thread in threads:
        thread.join()
    assert right == [numpy.True_] * 80
    other = pickle.loads(pickle.dumps(recording))  # for processes that are no forks
    assert other.survey() == recording.survey()
    assert (other.frames(1e-4, 60, shape=(40, 30)).counts == expected).all()


def resident_bytes():
    with open("/proc/self/statm", encoding="ascii") as file:
        return int(file.read().split()[1]) * os.sysconf("SC_PAGE_SIZE")


def test_memory_is_freed_with_the_array(recording):
    part = recording.image(shape=(1000, 1000)).counts[500]
    kept = part.copy()
    before = resident_bytes()
    for _ in range(100):
        recording.image(shape=(1000, 1000))
        vexolan.open(recording.files)
    assert resident_bytes() < before + 20 * 4_000_000
    assert len(os.listdir("/proc/self/fd")) < 100
    assert kept.any() and (part == kept).all()
