"""Pictures of recordings: that they are made, are told apart, and show what is in them."""

import os
import pathlib
import re
import subprocess
import sys

import numpy
import pytest

import program
import recording
from recording import PIXEL, TICK
from surveying import EVENT, MS, told, write
from test_simulate import simulate

PLOT = os.environ.get("VEXOLAN_PLOT", str(program.BUILD / "vexolan-plot"))
KINDS = {"a.png": b"\x89PNG", "deep/er/a.pdf": b"%PDF", "a.SVG": b"<?xml"}


def plot(folder, *arguments, printed="", **environment):
    """Status and messages."""
    done = subprocess.run([PLOT, *map(str, arguments)], cwd=folder, capture_output=True, text=True,
                          env={**os.environ, **environment}, timeout=60, check=False)
    assert done.stdout == printed
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
    assert b">time since the trigger (ms)</text>" in (tmp_path / "a.SVG").read_bytes()


@pytest.mark.parametrize("inputs, picture", [
    (["r/a.orvenevent", "r/b.orvenevent"], "r/a-plot.png"), (["./r/"], "./r-plot.png"),
    (["."], "{here}-plot.png")])
def test_without_a_name_the_picture_comes_beside_the_recording(vexolan, inputs, picture):
    for name in "r/a", "r/b", "a":
        vexolan.record(name, spread())
    picture = picture.format(here=vexolan.folder.name)
    assert plot(vexolan.folder, *inputs, printed=f"{picture}\n") == (0, "")
    assert vexolan.bytes(picture).startswith(KINDS["a.png"])


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
    ("", "name files or folders"),
    ("-o a.png", "name files or folders"),
    ("r.orvenevent -o", "option -o requires argument"),
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


@pytest.mark.parametrize("text", [
    "0,0,9", "0,0,9,9,", "0,0,9,9 ", "0,0,1_0,9", "0,0,٩,9", "9,0,0,9", "0,9,9,9", "0,0,nan,9",
    "0,0,9,inf", "0,0,9,32769", "-32769,0,9,9", "0,0,1e-6,9", "0,-1e-6,9,0", "0,0,9, 1",
    "-32768,-32768,32768,32768", "0,0,8e-6,9"])
def test_vexolan_takes_and_refuses_the_same_regions(vexolan, text):
    vexolan.record("r", spread())
    counted = vexolan("-i", "r.orvenevent", "-x", 1, "--region", text, "-o", "out")
    message = program.what(counted)
    assert plot(vexolan.folder, "-o", "a.png", "--region", text, "r.orvenevent") == (
        (1, f"vexolan-plot: {message}\n") if message else (counted.status, ""))


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
    sys.path.insert(0, str(pathlib.Path(__file__).parents[2] / "tools/plot"))
    from vexolan_plot import figure
    figure.prepare()
    return figure


def test_titles_are_one_line_without_control_characters(module):
    assert sys.modules["vexolan_plot.files"].title_of(["a\n\x1b[31m\udcff é"]) == "a??[31m? é"


def test_a_hot_pixel_does_not_turn_the_others_black(module):
    counts = numpy.full((100, 100), 10)
    assert module.panels.white_level(counts) == (10, False)
    counts[3, 4] = 1_000_000
    assert module.panels.white_level(counts) == (10, True)
    assert module.panels.white_level(numpy.zeros((2, 2), int)) == (1, False)


def test_gaps_do_not_make_bars_wider(module):
    bins = module.panels.Histogram([0, 1, 2, 10, 11], [5, 5, 0, 5])
    bars, below, above = bins.bars(0, 11, 50)
    assert bars.counts.tolist() == [5, 5, *[0] * 8, 5] and below == above == 0


def drawn(module, recording_path, status=0):
    """The figure, the fact line above it, and its panels by title."""
    figure = module.draw("name", told(recording_path, status=status), [], (-1, 2, 9, 3.5))
    assert module.render(figure, ".png").startswith(KINDS["a.png"])
    panels = {axes.get_title("left"): axes for axes in figure.axes}
    return figure.texts[1].get_text(), panels


def bars_of(axes, unit_of_x=1):
    """The edges, and the events between them by what is written at the axes."""
    bars = axes.patches[0].get_data()
    power = re.fullmatch(r"events per .+?(?: \(10(.)\))?", axes.get_ylabel())[1]
    power = 10 ** "⁰¹²³⁴⁵⁶⁷⁸⁹".index(power) if power else 1
    widths = numpy.diff(bars.edges)
    return bars.edges * unit_of_x, bars.values * power * widths / widths[0]


def named_width(axes):
    number, divisor, unit = re.match(r"events per ([\d.]+)(?:/(\d+))?(?: (\w+))?",
                                     axes.get_ylabel()).groups()
    return float(number) / float(divisor or 1) * UNITS.get(unit, 1)


UNITS = {"s": 1, "ms": 1e-3, "µs": 1e-6, "ns": 1e-9}


def x_unit(axes):
    return UNITS.get((re.search(r"\((\w+)\)$", axes.get_xlabel()) or [None] * 2)[1], 1)


@pytest.mark.parametrize("triggers", [None, 255_900 * numpy.arange(101)])
def test_panels_show_what_numpy_counts(module, tmp_path, triggers):
    random, n = numpy.random.default_rng(2), 50_000
    events = numpy.zeros(n, EVENT)
    events["x"], events["y"] = random.integers(0, [[20 * PIXEL], [10 * PIXEL]], (2, n))
    events["time"] = numpy.sort(random.integers(0, 25_590_000, n))
    events["photons"] = random.geometric(0.3, n)
    events["psd"] = random.normal(0.5, 0.1, n)
    write(tmp_path / "a.orvenevent", events, triggers)
    (tmp_path / "b.orvenevent").write_bytes(b"damaged")
    facts, panels = drawn(module, tmp_path, status=1)
    assert facts == "  ·  ".join(["50,000 events in 1 file", "1 damaged file left out",
                                  "40 ms from first to last"] + ["101 triggers"] *
                                 (triggers is not None))
    image, = panels["Image"].images
    counts = numpy.zeros((256, 256))
    numpy.add.at(counts, (events["y"] // PIXEL, events["x"] // PIXEL), 1)
    assert (image.get_array() == counts).all()
    assert image.origin == "upper" and image.get_extent() == (0, 256, 256, 0)
    assert panels["Image"].get_xlim() + panels["Image"].get_ylim() == (0, 256, 256, 0)
    assert {tuple(corner) for corner in panels["Image"].lines[0].get_xydata()} == {
        (-1, 2), (9, 2), (9, 3.5), (-1, 3.5)}
    for name, values, divided in (
            ("Over time", events["time"] * TICK, 4),  # events of bins that an edge divides
            ("Since the trigger", events["time"] % 255_900 * TICK, 0),
            ("Photons", events["photons"], 0), ("PSD", events["psd"], 0)):
        if name in panels:
            axes = panels[name]
            edges, counts = bars_of(axes, x_unit(axes))
            assert len(counts) > 10
            assert named_width(axes) == pytest.approx(edges[1] - edges[0], rel=0.005)
            near = numpy.append(edges[:-1] - TICK / 2, edges[-1] + TICK)
            assert counts == pytest.approx(numpy.histogram(values, near)[0], abs=divided + 1e-6)
            notes = axes.get_xlabel().split("\n")[1:]
            if cut := n - counts.sum().round():
                assert notes == [f"{cut:.0f} above {edges[-1] - 0.5:.0f} photons"]
    assert ("Since the trigger" in panels) == (triggers is not None)
    if triggers is not None:  # the last bar ends with the period
        axes = panels["Since the trigger"]
        assert bars_of(axes, x_unit(axes))[0][-1] == pytest.approx(255_900 * TICK)
    photons, psd = (panels["Photons and PSD"].collections[0].get_coordinates()[..., i]
                    for i in (0, 1))
    expected, *_ = numpy.histogram2d(events["psd"], events["photons"], [psd[:, 0], photons[0]])
    counts = panels["Photons and PSD"].collections[0].get_array().filled(0)
    assert expected.any() and (counts.reshape(expected.shape) == expected).all()


@pytest.mark.parametrize("n_periods", [30, 300, 7001])
def test_a_steady_beam_has_no_dips(module, tmp_path, n_periods):
    period = 1_000_003
    events = numpy.zeros(n_periods * 100, EVENT)
    flash = numpy.append(numpy.arange(80), numpy.arange(20) * period // 20)  # most at once
    events["time"] = numpy.arange(n_periods).repeat(100) * period + numpy.tile(
        numpy.sort(flash), n_periods)
    write(tmp_path / "a.orvenevent", events, period * numpy.arange(n_periods + 1))
    bars = drawn(module, tmp_path)[1]["Over time"].patches[0].get_data()
    assert len(bars.values) > 10
    assert bars.values == pytest.approx(numpy.median(bars.values), rel=0.03)


@pytest.mark.parametrize("each", [1, 2, 50])
@pytest.mark.parametrize("triggers", [None, 10 * MS * numpy.arange(101)])
@pytest.mark.parametrize("n_pulses, flash", [(100, MS // 1000), (37, 12 * MS // 1000)])
def test_no_bar_is_scaled_by_time_without_data(module, tmp_path, n_pulses, flash, triggers, each):
    times = 10 * MS * numpy.arange(n_pulses)[:, None] + flash * numpy.arange(50)
    events = numpy.zeros(times.size * each, EVENT)
    events["time"] = times.ravel().repeat(each)
    write(tmp_path / "a.orvenevent", events, triggers)
    bars = drawn(module, tmp_path)[1]["Over time"].patches[0].get_data()
    assert len(bars.values) > 10 and bars.values[-1] <= bars.values[:-1].max()
    assert triggers is None or (bars.values == numpy.median(bars.values)).mean() > 0.9


@pytest.mark.parametrize("triggers", [None, [0, 1000, 2000, 3000], range(0, 3300, 300)])
def test_few_events_are_whole_numbers(module, tmp_path, triggers):
    random = numpy.random.default_rng(4)
    events = numpy.zeros(150, EVENT)
    events["time"] = numpy.sort(random.integers(0, 2990, 150))
    events["photons"] = 1 + numpy.arange(150) % 7
    write(tmp_path / "a.orvenevent", events, triggers)
    panels = drawn(module, tmp_path)[1]
    for name in {"Over time", "Since the trigger", "Photons"} & set(panels):
        values = panels[name].patches[0].get_data().values
        assert (values == values.round()).all() and values.sum() > 0


def test_single_events_are_at_their_values(module, vexolan):
    photons = [1, 2**40 + 12345, 2**64 - 1]
    vexolan.record("a", [recording.Event(time=64_000 * i + 7 * (i == 1), photons=n, psd=0.1 * i)
                         for i, n in enumerate(photons)], [0, 64_000, 128_000, 192_000])
    _, panels = drawn(module, vexolan.folder)
    assert panels["Photons"].lines[0].get_xdata() == pytest.approx(photons, rel=1e-15)
    assert panels["PSD"].lines[0].get_xdata() == pytest.approx([0, 0.1, 0.2], rel=1e-15)
    assert panels["Since the trigger"].lines[0].get_xdata()[0] == 0
    assert panels["Photons"].get_xlabel() == "photons per event (1e19)"
    assert not panels["Photons"].xaxis.get_offset_text().get_visible()
    image = panels["Image"]
    assert image.get_facecolor() == image.collections[0].get_cmap()(0)


def test_bounds_are_those_of_vexolan(vexolan):
    vexolan.record("a", spread(300))
    bounds = ["-m", "2", "-M", "0x4", "-p", "-1e-3", "--psd_max=.5"]
    for name, arguments in ("all", []), ("some", bounds), ("same", bounds):
        assert plot(vexolan.folder, "-o", f"{name}.svg", *arguments, "a.orvenevent") == (0, "")
    assert vexolan("-i", "a.orvenevent", *bounds, "-o", "out").status == 0
    title = f">{vexolan.pages().sum()} events with -m 2 -M 0x4 -p -1e-3 -P .5 in 1 file"
    assert title.encode() in vexolan.bytes("some.svg") == vexolan.bytes("same.svg")
    assert b">300 events in 1 file" in vexolan.bytes("all.svg")


def with_psd(*values):
    return [recording.Event(psd=value) for value in values]


OUTLIER = recording.Event(time=2**62, photons=2**40, psd=1e300)
INFINITE, NAN = with_psd(float("inf"), float("nan"))
HOT = recording.Event(x=5 * PIXEL)
ALIKE = ["all at 0 s", "all with 1"]


@pytest.mark.parametrize("rows, triggers, shown", [
    ([], None, ["no events", "no events", "no events"]),
    ([], [], ["no events", "no events", "no events"]),
    ([recording.Event(x=-1, time=-5)], [0], ["all at -7.8125e-09 s", "all with 1", "all with 0"]),
    (spread(3000) + [OUTLIER], None, [3001, "3000, 1 above 5 photons", "3000, 1 above 1"]),
    (spread() + [INFINITE, NAN], None, [102, 102, "100, 1 infinite, 1 NaN"]),
    (spread(50), [0, 10_000], [50, 50, 50]),
    ([recording.Event(time=time - 2**62) for time in (0, 20)], None,
     ["all at -7.2057594e+09 s", "all with 1", "all with 0"]),
    ([INFINITE], None, [*ALIKE, "no finite numbers"]),
    ([NAN] * 100, None, [*ALIKE, "no numbers (NaN only)"]),
    (with_psd(1.7e308, 1.7000001e308), None, [*ALIKE, "cannot be drawn"]),
    (with_psd(-1.7e308, 1.7e308), None, [*ALIKE, "cannot be drawn"]),
    (with_psd(0, 5e-324, 1e-310), None, [*ALIKE, "cannot be drawn"]),
    (spread() + [HOT] * 5000, [0, 1], [5100, 5100, 5100]),
], ids=["empty", "no pulses", "one event", "outlier", "infinite", "few", "far from zero",
        "only infinite", "NaN", "huge", "far apart", "tiny", "hot pixel"])
def test_odd_recordings_are_drawn(module, vexolan, rows, triggers, shown):
    vexolan.record("a", rows, triggers)
    _, panels = drawn(module, vexolan.folder)
    image = (panels["Image"].images or panels["Image"].collections)[0].get_array()
    assert image.sum() == len(rows)
    for name, expected in zip(("Over time", "Photons", "PSD"), shown):
        axes = panels[name]
        _, *notes = axes.get_xlabel().split("\n")
        if axes.patches:
            text = ", ".join([f"{bars_of(axes)[1].sum():.0f}", *notes])
        elif axes.lines:
            text = f"{axes.lines[0].get_ydata().sum():.0f}"
        else:
            text = axes.texts[0].get_text()
        assert text == str(expected)


@pytest.mark.parametrize("n_hot, scale", [(300, "linear"), (5000, "log")])
def test_a_bar_that_holds_nearly_all_does_not_hide_the_others(module, vexolan, n_hot, scale):
    vexolan.record("a", spread() + [HOT] * n_hot)
    assert drawn(module, vexolan.folder)[1]["Over time"].get_yscale() == scale


def test_what_no_panel_shows_is_said(module, vexolan):
    rows = [recording.Event(time=time, x=x) for time, x in ((-3, 0), (-2, -PIXEL), (5, 0), (9, 0))]
    vexolan.record("a", rows, [0, 6, 9])
    vexolan.record("b", rows, [0, 6, 9])
    _, panels = drawn(module, vexolan.folder)
    assert [panels[name].get_xlabel().split("\n")[1:] for name in (
        "Image", "Over time", "Since the trigger")] == [
        ["2 outside of the detector"], ["files from the same time are added up"],
        ["4 before the first trigger", "2 after the last trigger"]]
