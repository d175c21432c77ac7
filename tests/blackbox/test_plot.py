"""Pictures of recordings: that they are made, are told apart, and hold all events."""

import importlib.util
import os
import pathlib
import subprocess

import numpy
import pytest

import program
import recording
from test_simulate import simulate

PLOT = os.environ.get("VEXOLAN_PLOT", str(program.BUILD / "vexolan-plot"))
SOURCE = pathlib.Path(__file__).parents[2] / "tools/plot/vexolan_plot.py"
KINDS = {"a.png": b"\x89PNG", "deep/er/a.pdf": b"%PDF", "a.SVG": b"<?xml"}


def plot(folder, *arguments, **environment):
    """Status and messages; nothing is ever printed elsewhere."""
    done = subprocess.run([PLOT, *map(str, arguments)], cwd=folder, capture_output=True, text=True,
                          env={**os.environ, **environment}, timeout=60, check=False)
    assert done.stdout == ""
    return done.returncode, done.stderr


def spread(n=100):
    return [recording.Event(x=i % 256 * recording.PIXEL, time=1000 * i, photons=1 + i % 5,
                            psd=i / n) for i in range(n)]


def test_the_ending_says_which_kind_of_picture_is_made(tmp_path):
    assert simulate("-o", tmp_path / "r", "-n", "1k", "--triggers").returncode == 0
    for name, start in KINDS.items():
        assert plot(tmp_path, "-o", name, "r", MPLBACKEND="TkAgg", DISPLAY="") == (0, "")
        assert (tmp_path / name).read_bytes().startswith(start)
        assert len(list((tmp_path / name).parent.glob("vexolan-*"))) == 0


def test_a_picture_depends_on_the_recording_and_on_nothing_else(vexolan):
    vexolan.record("a", spread())
    vexolan.record("other/a", spread(101))
    vexolan.put("matplotlibrc", "axes.facecolor: red\n")
    pictures = []
    for number, name in enumerate(["a", "a", "other/a"]):
        assert plot(vexolan.folder, "-o", f"{number}.png", f"{name}.orvenevent") == (0, "")
        pictures.append(vexolan.bytes(f"{number}.png"))
        (vexolan.folder / "matplotlibrc").unlink(missing_ok=True)
    assert pictures[0] == pictures[1] != pictures[2]


@pytest.mark.parametrize("rows, triggers", [
    ([], None),
    ([], []),
    ([recording.Event(x=-1, time=-5)], [0]),
    (spread(), [0, 30_000, 60_000]),
    (spread() + [recording.Event(time=2**62, photons=2**40, psd=1e300)], None),
    (spread() + [recording.Event(psd=float("inf")), recording.Event(psd=float("nan"))], None),
    ([recording.Event(psd=float("inf"))], None),
    ([event._replace(psd=float("nan")) for event in spread()], None),
    (spread() + [recording.Event(x=5 * recording.PIXEL)] * 5000, [0, 1]),
], ids=["empty", "no pulses", "one event", "pulses", "outlier", "infinite", "only infinite",
        "NaN", "hot pixel"])
def test_odd_recordings_are_drawn(vexolan, rows, triggers):
    vexolan.record("a", rows, triggers)
    assert plot(vexolan.folder, "-o", "a.png", "a.orvenevent") == (0, "")
    assert vexolan.exists("a.png")


def test_damaged_files_are_named_and_left_out(vexolan):
    vexolan.record("r/a", spread())
    vexolan.put("r/b.orvenevent", recording.recording(spread())[:-1])
    status, messages = plot(vexolan.folder, "-o", "a.png", "r")
    assert status == 1 and "r/b.orvenevent: " in messages and "r/a" not in messages
    assert vexolan.exists("a.png")
    status, messages = plot(vexolan.folder, "-o", "b.png", "r/b.orvenevent", "nothing")
    assert status == 1 and "nothing: " in messages and "no recording to draw" in messages
    assert not vexolan.exists("b.png")


@pytest.mark.parametrize("arguments, part", [
    ("", "required"),
    ("-o a.png", "required"),
    ("-o a.tif r.orvenevent", '"a.tif" must end in .png, .pdf, .svg'),
    ("-o r.orvenevent r.orvenevent", "must end in"),
    ("-o link.png r.orvenevent", '"link.png" is a recording'),
    ("-o other.png r.orvenevent", '"other.png" is a recording'),
    ("-o odd.png odd.png", '"odd.png" is a recording'),
    ("-o folder.png r.orvenevent", '"folder.png" is no file'),
    ("-o r.orvenevent/a.png r.orvenevent", "r.orvenevent: "),
    ("-o a.png folder.png", "vexolan-info: there are no .orvenevent files"),
])
def test_refused_outputs_are_explained_and_left_as_they_are(vexolan, arguments, part):
    vexolan.record("r", spread())
    vexolan.put("other.png", recording.recording([]))
    vexolan.put("odd.png", "damaged from its first byte")
    (vexolan.folder / "link.png").symlink_to("r.orvenevent")
    (vexolan.folder / "folder.png").mkdir()
    files = [path for path in vexolan.folder.iterdir() if path.is_file()]
    before = [path.read_bytes() for path in files]
    status, messages = plot(vexolan.folder, *arguments.split())
    assert status == 1 and part in messages and messages.count("\n") == 1
    assert before == [path.read_bytes() for path in files]


def test_an_older_picture_is_replaced_and_keeps_its_mode(vexolan):
    vexolan.record("r", spread())
    vexolan.put("a.png", "old")
    (vexolan.folder / "a.png").chmod(0o640)
    assert plot(vexolan.folder, "-o", "a.png", "r.orvenevent") == (0, "")
    assert vexolan.bytes("a.png").startswith(KINDS["a.png"])
    assert (vexolan.folder / "a.png").stat().st_mode & 0o777 == 0o640


@pytest.mark.parametrize("failure, message", [
    ("ModuleNotFoundError", "matplotlib is missing: install python3-matplotlib"),
    ("ImportError('it is broken')", "matplotlib cannot be used: it is broken"),
    ("MemoryError", "there is not enough memory"),
])
def test_a_library_that_cannot_be_used_is_named(vexolan, failure, message):
    vexolan.put("without/matplotlib.py", f"raise {failure}")
    assert plot(vexolan.folder, "-o", "a.png", "r", PYTHONPATH="without") == (
        1, f"vexolan-plot: {message}\n")


def test_a_picture_that_cannot_be_written_leaves_the_older_one(vexolan):
    vexolan.record("r", spread())
    vexolan.put("a.png", "old")
    done = subprocess.run(["bash", "-c", 'ulimit -f 1; exec "$0" -o a.png r.orvenevent', PLOT],
                          cwd=vexolan.folder, capture_output=True, text=True, timeout=60,
                          check=False)
    assert (done.returncode, done.stderr) == (1, "vexolan-plot: a.png: File too large\n")
    assert vexolan.bytes("a.png") == b"old"
    assert len(list(vexolan.folder.iterdir())) == 2


@pytest.fixture(scope="module")
def module():
    found = importlib.util.spec_from_file_location("vexolan_plot", SOURCE)
    plot_module = importlib.util.module_from_spec(found)
    found.loader.exec_module(plot_module)
    plot_module.prepare_matplotlib()
    return plot_module


def test_titles_are_one_line_without_control_characters(module):
    assert module.title_of(["a\n\x1b[31m\udcff é"]) == "a??[31m? é"


def test_a_hot_pixel_does_not_turn_the_others_black(module):
    counts = numpy.full((100, 100), 10)
    assert module.white_level(counts) == (10, False)
    counts[3, 4] = 1_000_000
    assert module.white_level(counts) == (10, True)
    assert module.white_level(numpy.zeros((2, 2), int)) == (1, False)


def facts(n_events, triggers):
    """What vexolan-info could say of events from 0.25 to 4.75 ms."""
    photons = {"edges": [0, 1, 1.5, 2, 2.5, 4, 6],
               "counts": [n_events - 4000, 1000, 0, 1000, 1000, 1000]}
    psd = {"edges": [-1, 0, 1e-9, 1, 1 + 1e-9], "counts": [1000, 1000, n_events - 3000, 1000]}
    return {
        "files": 1, "faulty": 0,
        "summary": {
            "events": n_events, "triggers": 9 if triggers else None,
            "time": {"first_s": 25e-5, "last_s": 475e-5, "span_s": 450e-5},
            "trigger_period": {"median_s": 95e-4} if triggers else None,
            "nPhotons": {"smallest": 0, "largest": 6, "counts": photons},
            "psd": {"smallest": -1, "largest": 1 + 1e-9, "nan": 0, "counts": psd},
        },
        "image": {"columns": 8, "rows": 8, "outside": 0,
                  "counts": [[n_events] + [0] * 7] + [[0] * 8] * 7},
        "events_over_time": {"start_s": 0, "bin_s": 1e-3, "counts": [n_events // 5] * 5},
        "events_since_trigger": {"bin_s": 1e-3, "counts": [n_events // 10] * 10 + [0], "beyond": 0,
                                 "without": 0} if triggers else None,
    }


@pytest.mark.parametrize("triggers", [False, True])
def test_all_events_are_in_the_area_of_each_panel(module, triggers):
    n_events = 100_000
    figure = module.draw("name", facts(n_events, triggers))
    image, *others = (axes for axes in figure.axes if axes.get_title("left"))
    assert image.images[0].get_array().sum() == n_events
    panels = {axes.get_title("left"): axes for axes in others}
    assert set(panels) == {"Over time", "Photons", "PSD"} | ({"Since the trigger"} if triggers
                                                             else set())
    for name, axes in panels.items():
        bars = axes.patches[0].get_data()
        area = (bars.values * numpy.diff(bars.edges)).sum()
        label = axes.get_ylabel()
        power = 1e6 if "(10⁶)" in label else 1e3 if "(10³)" in label else 1
        unit = 1e-3 if label.startswith("events per second") else 1
        assert area * power * unit == pytest.approx(n_events), (name, label)
    assert panels["Over time"].get_xlabel() == "time (ms)"
    assert list(panels["Over time"].patches[0].get_data().edges[[0, -1]]) == [0.25, 4.75]
    if triggers:
        assert panels["Since the trigger"].get_ylabel() == "events per 1 ms (10³)"
    assert panels["Photons"].patches[0].get_data().edges.tolist() == [-.5, .5, 1.5, 2.5, 3.5, 6.5]
