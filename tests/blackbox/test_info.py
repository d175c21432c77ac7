"""What vexolan-info tells of recordings, and that its suggestions run as printed."""

import json
import os
import pathlib
import subprocess

import numpy
import pytest
import tifffile

import program
import recording
from recording import PIXEL, TICK, Event

INFO = os.environ.get("VEXOLAN_INFO", str(program.BUILD / "vexolan-info"))
EVENT = numpy.dtype([("x", "<i4"), ("y", "<i4"), ("time", "<i8"), ("photons", "<u8"),
                     ("psd", "<f8")])


def info(*arguments, folder=None):
    return subprocess.run([INFO, *map(str, arguments)], cwd=folder, capture_output=True, text=True,
                          timeout=60, check=False)


def told(*arguments, status=0, folder=None):
    done = info("--json", *arguments, folder=folder)
    assert (done.returncode, done.stderr) == (status, "")
    return json.loads(done.stdout)


def write(path, events, triggers=None):
    blocks = [recording.build()]
    if triggers is not None:
        blocks.append(recording.triggers(*triggers))
    path.write_bytes(recording.container(*blocks, recording.block(b"events", events.tobytes())))


def odd_events(seed, n, start, period):
    """Events of all kinds, of which a few come late."""
    random = numpy.random.default_rng(seed)
    events = numpy.zeros(n, EVENT)
    events["x"], events["y"] = random.integers(-2 * PIXEL, 258 * PIXEL, (2, n))
    events["time"] = start + numpy.sort(random.integers(0, 40 * period, n))
    late = random.integers(1, n, n // 1000)
    events["time"][late] -= random.integers(0, 3 * period, late.size)
    events["time"][[0, -2]] = start + 45 * period, start - 4 * period  # far apart
    events["photons"] = random.geometric(0.1, n) + 1000 * (random.random(n) < 0.01)
    events["psd"] = numpy.where(random.random(n) < 0.01, numpy.nan, random.normal(0.5, 0.3, n))
    return events


def expect_time(time, events):
    ticks = events["time"]
    before = numpy.maximum.accumulate(ticks)
    assert time["first_s"] == pytest.approx(ticks.min() * TICK, rel=1e-12)
    assert time["last_s"] == pytest.approx(ticks.max() * TICK, rel=1e-12)
    assert time["steps_back"] == (numpy.diff(ticks) < 0).sum() > 0
    assert not time["ascending"]
    assert time["largest_step_back_s"] == pytest.approx((before - ticks).max() * TICK, rel=1e-12)


def expect_distribution(distribution, values, tolerance):
    assert distribution["smallest"] == values.min()
    assert distribution["largest"] == values.max()
    for part, value in distribution["quantiles"].items():
        if float(part) > 0.1:  # below, PSD values are near zero or negative: in one bin
            assert value == pytest.approx(numpy.quantile(values, float(part)), rel=tolerance)


def binned(ticks, start_s, bin_s, n):
    bins = (ticks - round(start_s / TICK)) // round(bin_s / TICK)
    return numpy.bincount(bins, minlength=n).tolist()


def since_trigger(events, triggers):
    """The ticks since the trigger before; of events outside of all intervals, only the number."""
    index = numpy.searchsorted(triggers, events["time"], "right")
    inside = (index > 0) & (index < len(triggers))
    return events["time"][inside] - triggers[index[inside] - 1], (~inside).sum()


def test_it_tells_what_numpy_finds(tmp_path):
    period, n = 1_000_003, 150_000
    triggers = [start + period * numpy.arange(41) for start in (-7 * period, 33 * period)]
    triggers[0] = numpy.delete(triggers[0], [5, 20, 21])
    files = [odd_events(seed, n, series[0], period) for seed, series in enumerate(triggers)]
    for i, (events, series) in enumerate(zip(files, triggers)):
        write(tmp_path / f"{i}.orvenevent", events, series)
    both = numpy.concatenate(files)
    report = told(tmp_path)
    total, summary = report["total"], report["total"]["summary"]

    assert [summary["events"], summary["triggers"], total["files"]] == [2 * n, 79, 2]
    for each, events in zip(report["inputs"], files):
        expect_time(each["summary"]["time"], events)
    assert [each["summary"]["trigger_period"]["missing"] for each in report["inputs"]] == [3, 0]
    spread = summary["trigger_period"]
    assert [round(spread[f"{key}_s"] / TICK) for key in ("median", "smallest", "largest")] == [
        period, period, 3 * period]
    for axis in "xy":
        extremes = [both[axis].min() / PIXEL, both[axis].max() / PIXEL]
        assert summary["position"][axis] == extremes
    expect_distribution(summary["nPhotons"], both["photons"], 0.02)
    expect_distribution(summary["psd"], both["psd"][~numpy.isnan(both["psd"])], 0.03)
    assert summary["psd"]["nan"] == numpy.isnan(both["psd"]).sum()
    for key, lost in ("nPhotons", 0), ("psd", summary["psd"]["nan"]):
        assert sum(summary[key]["counts"]["counts"]) == 2 * n - lost

    pixels = [numpy.trunc(both[axis] / PIXEL).astype(int) for axis in "yx"]
    inside = (pixels[0] >= 0) & (pixels[0] < 256) & (pixels[1] >= 0) & (pixels[1] < 256)
    image = numpy.zeros((256, 256), int)
    numpy.add.at(image, tuple(axis[inside] for axis in pixels), 1)
    assert total["image"]["counts"] == image.tolist()
    assert total["image"]["outside"] == (~inside).sum()

    course = total["events_over_time"]
    assert course["counts"] == binned(both["time"], course["start_s"], course["bin_s"],
                                      len(course["counts"]))
    since = total["events_since_trigger"]
    parts = [since_trigger(*each) for each in zip(files, triggers)]
    counts = binned(numpy.concatenate([ticks for ticks, _ in parts]), 0, since["bin_s"], 1024)
    assert since["counts"] == counts[:1024]
    assert since["beyond"] == sum(counts[1024:])
    assert since["without"] == sum(outside for _, outside in parts)


@pytest.mark.parametrize("rows, triggers", [([], None), ([], []), ([Event(photons=1000)], [5]),
                                            ([Event(time=2**63 - 1), Event(time=-2**63)], None)])
def test_little_is_told_of_little(tmp_path, rows, triggers):
    (tmp_path / "a.orvenevent").write_bytes(recording.recording(rows, triggers))
    report = told(tmp_path)
    summary = report["total"]["summary"]
    assert summary["events"] == len(rows)
    assert summary["triggers"] == (None if triggers is None else len(triggers))
    assert summary["trigger_period"] is None
    assert (summary["time"] is None) == (not rows)
    if len(rows) == 1:
        assert set(summary["nPhotons"]["quantiles"].values()) == {1000}
    assert info(tmp_path).returncode == 0


def report_of(tmp_path, triggers=None, **columns):
    """The text about a file with 100 events that are alike but in these columns."""
    events = numpy.zeros(100, EVENT)
    events["photons"] = 1
    for column, values in columns.items():
        events[column] = values
    write(tmp_path / "a.orvenevent", events, triggers)
    return info("a.orvenevent", folder=tmp_path).stdout


HUNDRED = numpy.arange(100)
SECOND = round(1 / TICK)


@pytest.mark.parametrize("columns, lines", [
    ({"time": 400 * SECOND * HUNDRED},
     ["time      0 s to 39,600 s, 39,600 s long, 0.00253 events/s"]),
    ({"time": 131_072 * SECOND + SECOND // 100 * HUNDRED},
     ["time      131,072 s to 131,073 s, 990 ms long, 101 events/s"]),
    ({"time": numpy.where(HUNDRED == 99, SECOND // 10 + 25_600, HUNDRED)},
     ["time      0 s to 100 ms, 100 ms long, 1 kevents/s"]),
    ({"time": numpy.where(HUNDRED == 9, 2, HUNDRED)},
     ["events    100 in 3.26 kB, NOT in order of time: 1 step back, by up to 9.375 ns"]),
    ({"photons": 1 + 150 * HUNDRED},
     ["photons   1 to 14,851, median 7,360, nine of ten from 608 to 14,208"]),
    ({"photons": numpy.full(100, 2**64 - 1, "u8")},
     ["photons   1.845e+19 to 1.845e+19, median 1.84e+19, nine of ten from 1.84e+19 to 1.84e+19",
      f"{'1.8e+19':>10}{100:16} {50 * '#'}"]),
    ({"psd": numpy.where(HUNDRED < 10, -numpy.inf, 0.5)},
     ["PSD       -inf to 0.5, median 0.5, nine of ten from -inf to 0.5"]),
    ({"psd": numpy.where(HUNDRED < 10, 1.7e308, -1.7e308)}, []),
    # Of so many photons, counts are kept of 8 numbers together, and rows are finer.
    ({"photons": 980 + HUNDRED % 40},
     [f"{row:10}{6:16} {50 * '#'}" for row in range(980, 1000, 2)] +
     [f"{row:10,}{4:16} {33 * '#'}" for row in range(1000, 1020, 2)]),
])
def test_odd_values_are_told_readably(tmp_path, columns, lines):
    report = report_of(tmp_path, **columns)
    for line in lines:
        assert f"  {line}\n" in report
    assert not any(odd in report for odd in ("nan", "e+0", "All 1 file"))


COURSE, INTERVALS = "ignore: ", "reference, frameSync: "


@pytest.mark.parametrize("triggers, times, options, notes", [
    ([0, 64_000, 128_000], 1000 * HUNDRED,
     ["", "-t 2e-06 -T 78", "-E reference -t 1e-06 -T 100", "-E frameSync -t 0.0001 -T 2"], []),
    ([0, 64_001], 1000 * HUNDRED,
     ["", "-t 2e-06 -T 78", "-E reference -t 2e-06 -T 51", "-E frameSync -t 0.000100002 -T 1"], []),
    ([0, 2**63 - 1], HUNDRED[::-1],
     ["", "-t 2e-09 -T 100", "-E reference -t 100000000 -T 73",
      "-E frameSync -t 7205759403.792793 -T 1"],
     [INTERVALS + "an event that comes late counts in the interval that the events before it have "
      "reached."]),
    ([5, 3, 6], HUNDRED - 100, [""],
     [COURSE + "time bins begin at zero; events long before that are in none.",
      INTERVALS + "the triggers are not in order of time."]),
    (None, 1000 * HUNDRED - 50_000, ["", "-t 1e-06 -T 77"],
     [COURSE + "time bins begin at zero; events long before that are in none.",
      INTERVALS + "no triggers were recorded."]),
    ([], HUNDRED, ["", "-t 2e-09 -T 100"], [INTERVALS + "no file has two triggers."]),
    ([5, 5, 5], SECOND + HUNDRED, [""],
     [COURSE + "time bins begin at zero; the events come so late that the course of the "
      "measurement would need 640000100 pages.", INTERVALS + "the triggers have no period."]),
])
def test_suggestions_fit_the_times(tmp_path, triggers, times, options, notes):
    suggested = report_of(tmp_path, triggers, time=times).split("Suggestions\n")[1].splitlines()
    commands = [line.split(" -i a.orvenevent", 1)[1] for line in suggested if " vexolan " in line]
    assert [command.split(" -o ")[0].removesuffix(" -x 256").strip()
            for command in commands] == options
    assert suggested[3 * len(options):] == [f"  {note}" for note in notes]
    since = told("a.orvenevent", folder=tmp_path)["total"]["events_since_trigger"]
    assert (since is None) == (len(options) < 4)


def test_a_pattern_of_very_many_pulses_has_the_period_of_most(tmp_path):
    for name, steps in (("a", numpy.tile([2, 1, 1, 1], 600_000)), ("b", [3] * 900_000),
                        ("c", numpy.tile([1, 2, 1, 1], 2**18 + 1))):
        write(tmp_path / f"{name}.orvenevent", numpy.zeros(1, EVENT), numpy.cumsum(steps))
    report = told(tmp_path)
    spreads = [each["summary"]["trigger_period"] for each in (*report["inputs"], report["total"])]
    assert [round(spread["median_s"] / TICK) for spread in spreads] == [1, 3, 1, 1]
    assert [spread["missing"] for spread in spreads] == [
        599_999, 0, 2**18 + 1, 599_999 + 2**18 + 1]


def test_faulty_files_are_told_of_and_count_nowhere(tmp_path):
    sound = recording.recording([Event(x=PIXEL)] * 3)
    (tmp_path / "a.orvenevent").write_bytes(sound)
    (tmp_path / "b.orvenevent").write_bytes(sound + b"more")
    (tmp_path / "folder.orvenevent").mkdir()
    report = told(tmp_path, tmp_path / "missing", status=1)
    errors = [each.get("error") for each in report["inputs"]]
    assert errors == [None, "File size mismatch!",
                      f'file "{tmp_path}/missing" could not be opened!']
    assert (report["total"]["faulty"], report["total"]["summary"]["events"]) == (2, 3)
    text = info(tmp_path)
    assert text.returncode == 1 and "FAULTY    File size mismatch!" in text.stdout


def test_a_folder_without_recordings_is_an_error(tmp_path):
    done = info(tmp_path)
    assert (done.returncode, done.stdout) == (1, "")
    assert done.stderr == (f"vexolan-info: there are no .orvenevent files in the folder "
                           f"{tmp_path}\n")


def some_events(n, period):
    return [Event(i % 256 * PIXEL, i % 100 * PIXEL, i * period // 8, i % 9, 0.5) for i in range(n)]


PERIOD = 640_000  # 1 ms


@pytest.mark.parametrize("names, triggers, modes", [
    (["run/a", "run/b"], 11, ["ignore", "ignore", "reference", "frameSync"]),
    (["run of 'today'/a", "run of 'today'/b"], 11,
     ["ignore", "ignore", "reference", "frameSync"]),
    ([" one"], 11, ["ignore", "ignore", "reference", "frameSync"]),
    (["run.2/a", "run.2/b"], 11, ["ignore", "ignore", "reference", "frameSync"]),
    (["one, two"], 11, ["ignore", "ignore", "reference", "frameSync"]),
    (["run/a", "run/b"], 0, ["ignore", "ignore"]),
    (["run/a", "run/b"], None, ["ignore", "ignore"]),
])
@pytest.mark.parametrize("faulty", [False, True])
def test_suggestions_run_as_printed(tmp_path, names, triggers, modes, faulty):
    series = None if triggers is None else [i * PERIOD for i in range(triggers)]
    for name in names:
        path = tmp_path / f"{name}.orvenevent"
        path.parent.mkdir(exist_ok=True)
        path.write_bytes(recording.recording(some_events(80, PERIOD), series))
    inputs = [names[0].split("/")[0]] if "/" in names[0] else [f"{names[0]}.orvenevent"]
    if faulty:
        (tmp_path / pathlib.Path(names[0]).parent / "z.orvenevent").write_bytes(b"ORVEN")
        inputs += ["z.orvenevent"] if "/" not in names[0] else []
    report = told(*inputs, status=int(faulty), folder=tmp_path)
    suggestions = report["suggestions"]
    assert [each["mode"] for each in suggestions] == modes
    assert (report["notes"] == []) == (len(modes) == 4)
    text = info(*inputs, folder=tmp_path).stdout
    tools = {**os.environ, "PATH": f"{pathlib.Path(program.VEXOLAN).parent}:{os.environ['PATH']}"}
    for suggestion in suggestions:
        assert f"    {suggestion['shell']}\n" in text
        done = subprocess.run(["sh", "-c", suggestion["shell"]], cwd=tmp_path, env=tools,
                              capture_output=True, text=True, timeout=60, check=False)
        assert (done.returncode, done.stderr) == (0, "")
        output, = tmp_path.glob(f"{names[0].split('/')[0]}-*.tif")
        with tifffile.TiffFile(output) as tiff:
            pages = numpy.stack([page.asarray() for page in tiff.pages])
        assert pages.shape == (suggestion["pages"], suggestion["rows"], suggestion["columns"])
        assert output.stat().st_size == suggestion["file_bytes"]
        assert pages.sum() == 80 * len(names)
        output.unlink()
