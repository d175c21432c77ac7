"""What vexolan-info tells of recordings, and that its suggestions run as printed."""

import json
import os
import pathlib
import re
import resource
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


def odd_events(seed, n, triggers, period):
    """Events of all kinds, of which a few come late and some just at a trigger."""
    random = numpy.random.default_rng(seed)
    events = numpy.zeros(n, EVENT)
    events["x"], events["y"] = random.integers(-2 * PIXEL, 258 * PIXEL, (2, n))
    events["time"] = numpy.sort(numpy.append(
        triggers, triggers[0] + random.integers(0, 40 * period, n - len(triggers))))
    late = random.integers(1, n, n // 1000)
    events["time"][late] -= random.integers(0, 3 * period, late.size)
    events["time"][[0, -2]] = triggers[0] + [45 * period, -4 * period]  # far apart
    events["photons"] = random.geometric(0.1, n) + 1000 * (random.random(n) < 0.01)
    events["psd"] = numpy.where(random.random(n) < 0.01, numpy.nan, random.normal(0.1, 0.3, n))
    return events


def jittered(seed, start, period, n, missing):
    """Triggers of which the missing ones can still be told in spite of the jitter."""
    jitter = numpy.random.default_rng(seed).integers(-period // 10, period // 10, n + 1)
    return numpy.delete(start + period * numpy.arange(n + 1) + jitter, missing)


def ticks(times, *keys):
    return [times[f"{key}_s"] and round(times[f"{key}_s"] / TICK) for key in keys]


def expect_time(time, events):
    times = events["time"]
    before = numpy.maximum.accumulate(times)
    span = times.max() - times.min()
    assert ticks(time, "first", "last", "span") == [times.min(), times.max(), span]
    assert time["rate_per_s"] == pytest.approx(len(times) / (span * TICK))
    assert time["steps_back"] == (numpy.diff(times) < 0).sum() > 0
    assert not time["ascending"]
    assert ticks(time, "largest_step_back") == [(before - times).max()]


def expect_period(spread, triggers, missing):
    periods = numpy.sort(numpy.concatenate([numpy.diff(each) for each in triggers]))
    assert ticks(spread, "smallest", "median", "largest") == [
        periods[0], periods[len(periods) // 2], periods[-1]]
    assert spread["missing"] == missing


def expect_distribution(distribution, values, tolerance):
    """Quantiles are values that occur; counts are those of each bin."""
    assert distribution["smallest"] == values.min()
    assert distribution["largest"] == values.max()
    for part, value in distribution["quantiles"].items():
        exact = numpy.quantile(values, float(part), method="inverted_cdf")
        assert value in values and value == pytest.approx(exact, rel=tolerance)
    edges, counts = distribution["counts"]["edges"], distribution["counts"]["counts"]
    assert numpy.histogram(values, edges)[0].tolist() == counts


def since_trigger(events, triggers, width):
    """Counts of the time since the trigger before in bins of so many ticks, the last of those
    beyond, and the numbers of events before and after all intervals."""
    index = numpy.searchsorted(triggers, events["time"], "right")
    inside = (index > 0) & (index < len(triggers))
    since = events["time"][inside] - triggers[index[inside] - 1]
    bins = numpy.minimum(since // width, 1024)
    return numpy.append(numpy.bincount(bins, minlength=1025),
                        [(index == 0).sum(), (index == len(triggers)).sum()])


def test_it_tells_what_numpy_finds(tmp_path):
    n = 150_000
    periods = 1_000_003, 300_007, 5_000_009
    triggers = [jittered(1, -7_000_000, periods[0], 41, [5, 20, 21]),
                jittered(2, 33_000_000, periods[1], 41, []),
                jittered(3, 0, periods[2], 9, [3])]  # later ones have fewer
    files = [odd_events(*each) for each in zip(range(3), 3 * [n], triggers, periods)]
    for i, (events, series) in enumerate(zip(files, triggers)):
        write(tmp_path / f"{i}.orvenevent", events, series)
    both = numpy.concatenate(files)
    report = told(tmp_path)
    total, summary = report["total"], report["total"]["summary"]

    assert [summary["events"], summary["triggers"], total["files"]] == [3 * n, 90, 3]
    for each, events, series, missing in zip(report["inputs"], files, triggers, [3, 0, 1]):
        expect_time(each["summary"]["time"], events)
        expect_period(each["summary"]["trigger_period"], [series], missing)
    assert summary["time"]["rate_per_s"] is None  # times overlap
    expect_period(summary["trigger_period"], triggers, 4)
    for axis in "xy":
        extremes = [both[axis].min() / PIXEL, both[axis].max() / PIXEL]
        assert summary["position"][axis] == extremes
    expect_distribution(summary["nPhotons"], both["photons"], 0)
    expect_distribution(summary["psd"], both["psd"][~numpy.isnan(both["psd"])], 1 / 128)
    assert summary["psd"]["nan"] == numpy.isnan(both["psd"]).sum()

    pixels = [numpy.trunc(both[axis] / PIXEL).astype(int) for axis in "yx"]
    inside = (pixels[0] >= 0) & (pixels[0] < 256) & (pixels[1] >= 0) & (pixels[1] < 256)
    image = numpy.zeros((256, 256), int)
    numpy.add.at(image, tuple(axis[inside] for axis in pixels), 1)
    assert total["image"]["counts"] == image.tolist()
    assert total["image"]["outside"] == (~inside).sum()

    course = total["events_over_time"]
    start, width = ticks(course, "start", "bin")
    bins = numpy.bincount((both["time"] - start) // width, minlength=len(course["counts"]))
    assert course["counts"] == bins.tolist()
    since = total["events_since_trigger"]
    width, = ticks(since, "bin")
    assert width == 1024  # holds the period of the first file
    counts = sum(since_trigger(*each, width) for each in zip(files, triggers))
    assert [*since["counts"], since["beyond"], since["before_first"],
            since["after_last"]] == counts.tolist()

    sample = total["sample"]
    values = numpy.stack([sample["nPhotons"], numpy.array(sample["psd"], float)], axis=1)
    events = numpy.stack([both["photons"], both["psd"]], axis=1)
    assert len(values) == pytest.approx(3 * n / sample["one_in"], rel=0.01)
    assert set(map(repr, values.tolist())) <= set(map(repr, events.tolist()))


@pytest.mark.parametrize("rows, triggers", [([], None), ([], []),
                                            ([Event(photons=1000, psd=numpy.nan)], [5]),
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
        assert summary["psd"] == {"smallest": None, "largest": None, "nan": 1, "quantiles": None,
                                  "counts": None}
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
     ["photons   1 to 14,851, median 7,351, nine of ten from 601 to 14,101"]),
    ({"photons": numpy.where(HUNDRED < 50, 150, 200)},
     ["photons   150 to 200, median 150, nine of ten from 150 to 200"]),
    ({"photons": numpy.full(100, 2**64 - 1, "u8")},
     ["photons   1.845e+19 to 1.845e+19, median 1.84e+19, nine of ten from 1.84e+19 to 1.84e+19",
      f"{'1.8e+19':>10}{100:16} {50 * '#'}"]),
    ({"psd": numpy.where(HUNDRED < 10, -numpy.inf, 0.5)},
     ["PSD       -inf to 0.5, median 0.5, nine of ten from -inf to 0.5"]),
    ({"psd": numpy.where(HUNDRED < 10, 1.7e308, -1.7e308)}, []),
    ({"psd": numpy.where(HUNDRED < 1, -10, HUNDRED / 500 - 0.6)},
     ["PSD       -10 to -0.402, median -0.502, nine of ten from -0.592 to -0.412"]),
    ({"psd": numpy.where(HUNDRED < 75, 0.9, HUNDRED / 100)},
     [f"{'0.88':>10}{2:16} #", f"{'0.9':>10}{77:16} {50 * '#'}"]),
    ({"psd": numpy.where(HUNDRED < 50, 1, 1.0099)},
     [f"{'1':>10}{50:16} {50 * '#'}", f"{'1.0005':>10}{0:16} ", f"{'1.001':>10}{0:16} "]),
    ({"photons": 2**53 + HUNDRED % 4}, []),
    ({"photons": 980 + HUNDRED % 40},
     [f"{row:10}{6:16} {50 * '#'}" for row in range(980, 1000, 2)] +
     [f"{row:10,}{4:16} {33 * '#'}" for row in range(1000, 1020, 2)]),
    ({"x": PIXEL * (HUNDRED + 3) // 2, "y": PIXEL * (HUNDRED % 10 + 40) // 4},
     ["position  x 1.50 to 51.00, y 10.00 to 12.25 detector pixels"]),
    ({"triggers": [0, 640, 1280, 2560]},
     ["triggers  4 pulses, every 1 µs (1 µs to 2 µs), 1 missing, in order of time"]),
    ({"triggers": [0, 2**63 - 1, -2**63, 5]},
     ["triggers  4 pulses, every 14,411,518,808 s (-14,411,518,808 s to 14,411,518,808 s), "
      "NOT in order of time: 1 step back, by up to 28,823,037,615 s"]),
])
def test_odd_values_are_told_readably(tmp_path, columns, lines):
    report = report_of(tmp_path, **columns)
    for line in lines:
        assert f"  {line}\n" in report
    assert not any(odd in report for odd in ("nan", "e+0", "All 1 file"))
    for section in report.split("\n\n"):
        names = re.findall(r"^ +(\S+) +[\d,]+ #*$", section, re.MULTILINE)
        assert len(names) == len(set(names))


def thresholds(report):
    """The rows of the PSD histogram: of how many values -p counts how many."""
    rows = [row.split() for row in report.split("PSD values\n")[1].split("\n\n")[0].splitlines()]
    counts = [int(row[1].replace(",", "")) for row in rows]
    return [(float(name), sum(counts[i:])) for i, (name, *_) in enumerate(rows)
            if name not in ("below", "above")]


@pytest.mark.parametrize("low, width", [(-0.5, 0.05), (0, 1e-6), (0.7, 1e-3), (0.5, 0.2)])
def test_rows_start_where_thresholds_would(tmp_path, low, width):
    values = numpy.random.default_rng(5).normal(low, width, 200_000)
    values[:50_000] = low + width
    values[0] = -10
    events = numpy.zeros(values.size, EVENT)
    events["psd"] = values
    write(tmp_path / "a.orvenevent", events)
    for threshold, count in thresholds(info(tmp_path).stdout):
        assert (values >= threshold).sum() == count
    expect_distribution(told(tmp_path)["total"]["summary"]["psd"], values, 1 / 128)


INTERVALS = "reference, frameSync: "
UNTRIGGERED = INTERVALS + "no triggers were recorded."


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
    ([5, 3, 6], HUNDRED - 100, ["", "-t 2e-09 -T 100 --timeStart -1.56e-07"],
     [INTERVALS + "the triggers are not in order of time."]),
    (range(0, 4_200_000, 1000), HUNDRED,
     ["", "-t 2e-09 -T 100", "-E reference -t 2e-08 -T 77", "-E frameSync -t 1.562e-06 -T 4096"],
     []),
    (None, 1000 * HUNDRED - 50_000, ["", "-t 2e-06 -T 79 --timeStart -8e-05"], [UNTRIGGERED]),
    (None, 2**60 + SECOND * HUNDRED, ["", "-t 1 -T 100 --timeStart 1801439850"], [UNTRIGGERED]),
    (None, numpy.where(HUNDRED, -2**63, 0), [""],
     ["ignore: the events are too far from time zero for time bins that begin with them.",
      UNTRIGGERED]),
    ([], HUNDRED, ["", "-t 2e-09 -T 100"], [INTERVALS + "no file has two triggers."]),
    ([5, 5, 5], SECOND + HUNDRED, ["", "-t 2e-09 -T 100 --timeStart 1"],
     [INTERVALS + "the triggers have no period."]),
    ([5, 5, 5], SECOND, [""], [INTERVALS + "the triggers have no period."]),
])
def test_suggestions_fit_the_times(tmp_path, triggers, times, options, notes):
    report = report_of(tmp_path, triggers, time=times, x=2 * PIXEL * HUNDRED)
    suggested = report.split("Suggestions\n")[1].splitlines()
    commands = [line.split(" -i a.orvenevent", 1)[1] for line in suggested if " vexolan " in line]
    assert [command.split(" -o ")[0].replace(" -x 256 --upright true", "").strip()
            for command in commands] == options
    assert suggested[3 * len(options):] == [f"  {note}" for note in notes]
    since = told("a.orvenevent", folder=tmp_path)["total"]["events_since_trigger"]
    assert (since is None) == (len(options) < 4)


@pytest.mark.parametrize("first, end, n_outside, region", [
    ((100, 30), (110, 50), 0, "95,30,115,50"),
    ((2, 240), (42, 256), 0, "2,216,42,256"),
    ((7, 7), (8, 8), 0, "7,7,8,8"),
    ((7, 7), (8, 8), 10, None),
    ((0, 0), (181, 9), 0, "0,0,181,181"),
    ((0, 0), (182, 9), 0, None),
])
def test_a_region_is_suggested_where_few_events_lie_elsewhere(tmp_path, first, end, n_outside,
                                                              region):
    columns, rows = (numpy.arange(*ends) for ends in zip(first, end))
    events = numpy.zeros(10_000, EVENT)
    events["x"], events["y"] = (PIXEL * numpy.resize(numpy.repeat(pixels, each), events.size)
                                for pixels, each in ((columns, 1), (rows, columns.size)))
    events[["x", "y"]][-4:] = [(0, 0), (0, 255 * PIXEL), (255 * PIXEL, 0), (300 * PIXEL, 0)]
    events["x"][:n_outside] = 300 * PIXEL
    write(tmp_path / "a.orvenevent", events)
    shells = [each["shell"] for each in told(tmp_path)["suggestions"] if "--region" in each["shell"]]
    assert [shell.split()[4] for shell in shells] == [region] * (region is not None)


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


def test_a_few_descriptors_are_enough(tmp_path):
    content = recording.recording([Event()] * 20_000, [0, 5])  # more than one task is done with
    for i in range(20):
        (tmp_path / f"{i}.orvenevent").write_bytes(content)
    limit = (4, resource.getrlimit(resource.RLIMIT_NOFILE)[1])
    done = info(tmp_path, preexec_fn=lambda: resource.setrlimit(resource.RLIMIT_NOFILE, limit))
    assert (done.returncode, done.stderr) == (0, "")


def test_a_report_that_cannot_be_written_is_an_error(tmp_path):
    (tmp_path / "a.orvenevent").write_bytes(recording.recording([]))
    with open("/dev/full", "w") as full:
        done = info(tmp_path, stdout=full)
    assert (done.returncode, done.stderr) == (1, "vexolan-info: the report could not be written\n")


@pytest.mark.parametrize("start, rate", [(8, None), (9, 20 / (18 * TICK))])
def test_files_that_overlap_have_no_rate_together(tmp_path, start, rate):
    for name, first in ("a", 0), ("b", start):
        rows = [Event(time=first + i) for i in range(10)]
        (tmp_path / f"{name}.orvenevent").write_bytes(recording.recording(rows))
    total = told(tmp_path)["total"]["summary"]["time"]["rate_per_s"]
    assert total == (rate and pytest.approx(rate))
    assert ("s long\n" in info(tmp_path).stdout) == (rate is None)


def test_a_folder_without_recordings_is_an_error(tmp_path):
    done = info(tmp_path)
    assert (done.returncode, done.stdout) == (1, "")
    assert done.stderr == (f"vexolan-info: there are no .orvenevent files in the folder "
                           f"{tmp_path}\n")


def some_events(n, period):
    return [Event(i % 256 * PIXEL, i % 100 * PIXEL, i * period // 8, i % 9, 0.5) for i in range(n)]


PERIOD = 640_000  # 1 ms
ELEVEN = [i * PERIOD for i in range(11)]
ALL_MODES = ["ignore", "ignore", "ignore", "reference", "frameSync"]


def make_image(suggestion, folder):
    """The pages that a suggested command line makes."""
    tools = {**os.environ, "PATH": f"{pathlib.Path(program.VEXOLAN).parent}:{os.environ['PATH']}"}
    done = subprocess.run(["sh"], input=suggestion["shell"], cwd=folder, env=tools,
                          capture_output=True, text=True, timeout=60, check=False)
    assert (done.returncode, done.stderr) == (0, "")
    output, = folder.glob("*.tif")
    assert output.stat().st_size == suggestion["file_bytes"]
    with tifffile.TiffFile(output) as tiff:
        pages = numpy.stack([page.asarray() for page in tiff.pages])
    output.unlink()
    return pages


@pytest.mark.parametrize("names, triggers, modes", [
    (["run/a", "run/b"], ELEVEN, ALL_MODES),
    (["run of 'today'/a", "run of 'today'/b"], ELEVEN, ALL_MODES),
    ([" one"], ELEVEN, ALL_MODES),
    (["run.2/a", "run.2/b"], ELEVEN, ALL_MODES),
    (["one, two"], ELEVEN, ALL_MODES),
    (["run/a", "run/.hidden"], ELEVEN, ALL_MODES),
    (["run/a", "run/b"], [], ALL_MODES[:3]),
    ([f"run/{i:0200}" for i in range(700)], None, ALL_MODES[:3]),  # too long for a word
])
@pytest.mark.parametrize("beside", ["", "faulty", "subfolder"])
def test_suggestions_run_as_printed(tmp_path, names, triggers, modes, beside):
    for name in names:
        path = tmp_path / f"{name}.orvenevent"
        path.parent.mkdir(exist_ok=True)
        path.write_bytes(recording.recording(some_events(80, PERIOD), triggers))
    inputs = [names[0].split("/")[0]] if "/" in names[0] else [f"{names[0]}.orvenevent"]
    if beside == "subfolder":
        path.with_name("z.orvenevent").mkdir()
        path.with_name(".orvenevent").write_bytes(b"not taken")
    if beside == "faulty":
        path.with_name("z.orvenevent").write_bytes(b"ORVEN")
        inputs += ["z.orvenevent"] if "/" not in names[0] else []
    report = told(*inputs, status=int(beside == "faulty"), folder=tmp_path)
    assert [each["mode"] for each in report["suggestions"]] == modes
    assert (report["notes"] == []) == (modes == ALL_MODES)
    text = info(*inputs, folder=tmp_path).stdout
    for suggestion in report["suggestions"]:
        assert f"    {suggestion['shell']}\n" in text
        pages = make_image(suggestion, tmp_path)
        assert pages.shape == (suggestion["pages"], suggestion["rows"], suggestion["columns"])
        assert pages.sum() == 80 * len(names)


def test_no_trigger_mode_is_suggested_where_one_file_has_no_triggers(tmp_path):
    for name, triggers in ("a", ELEVEN), ("b", None):
        (tmp_path / f"{name}.orvenevent").write_bytes(
            recording.recording(some_events(80, PERIOD), triggers))
    report = told(tmp_path)
    assert [each["mode"] for each in report["suggestions"]] == ALL_MODES[:3]
    assert report["notes"] == [INTERVALS + "1 of 2 files were recorded without triggers."]
