"""What vexolan-info tells of recordings."""

import pathlib
import re
import resource

import numpy
import pytest

import recording
from recording import PIXEL, TICK, Event
from surveying import EVENT, HUNDRED, MS, SECOND, events_of, info, report_of, told, write


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
    assert distribution["exact"] == (tolerance == 0)
    edges, counts = distribution["counts"]["edges"], distribution["counts"]["counts"]
    assert numpy.histogram(values, edges)[0].tolist() == counts


def since_trigger(events, triggers, width):
    """Counts of the time since the trigger before in bins of so many ticks, the last of those
    beyond, and the numbers of events before and after all intervals."""
    index = numpy.searchsorted(triggers, events["time"], "right")
    inside = (index > 0) & (index < len(triggers))
    since = events["time"][inside] - triggers[index[inside] - 1]
    bins = numpy.minimum(since // width, 2**14)
    return numpy.append(numpy.bincount(bins, minlength=2**14 + 1),
                        [(index == 0).sum(), (index == len(triggers)).sum()])


@pytest.mark.parametrize("options, least, most", [
    ("", (0, -numpy.inf), (2**64, numpy.inf)),
    ("-m 5 -M 0x7d0 -p -0.1 -P 0.6", (5, -0.1), (2000, 0.6)),
])
def test_it_tells_what_numpy_finds(tmp_path, options, least, most):
    n = 150_000
    periods = 1_000_003, 300_007, 5_000_009
    triggers = [jittered(1, -7_000_000, periods[0], 41, [5, 20, 21]),
                jittered(2, 33_000_000, periods[1], 41, []),
                jittered(3, 0, periods[2], 9, [3])]  # later ones have fewer
    files = [odd_events(*each) for each in zip(range(3), 3 * [n], triggers, periods)]
    for i, (events, series) in enumerate(zip(files, triggers)):
        write(tmp_path / f"{i}.orvenevent", events, series)
    if options:
        files = [each[(each["photons"] >= least[0]) & (each["photons"] <= most[0])
                      & (each["psd"] >= least[1]) & (each["psd"] <= most[1])] for each in files]
    both = numpy.concatenate(files)
    report = told(*options.split(), tmp_path)
    total, summary = report["total"], report["total"]["summary"]

    assert [summary["events"], summary["triggers"], total["files"]] == [both.size, 90, 3]
    assert summary["rejected"] == 3 * n - both.size
    assert total["overlap"]
    assert options.replace("0x7d0", "2000") in report["suggestions"][0]["shell"]
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
    assert width == 64  # holds the period of the first file
    counts = sum(since_trigger(*each, width) for each in zip(files, triggers))
    assert [*since["counts"], since["beyond"], since["before_first"],
            since["after_last"]] == counts.tolist()
    assert since["without"] == sum(counts[-2:])

    sample = total["sample"]
    values = numpy.stack([sample["nPhotons"], numpy.array(sample["psd"], float)], axis=1)
    events = numpy.stack([both["photons"], both["psd"]], axis=1)
    assert len(values) == pytest.approx(both.size / sample["one_in"], rel=0.02)
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
                                  "exact": None, "counts": None}
    assert info(tmp_path).returncode == 0


def rows_of(report, title):
    """The names and counts of a histogram, whose rows align; another may be beside it."""
    block = next(each.splitlines() for each in report.split("\n\n") if title in each)
    first = block[0].index(title)
    second = block[0].find("PSD values")
    columns = slice(first, second if second > first else None)
    rows = [re.match(r" *\S+ +[\d,]+", line[columns])
            for line in block[1:] if line[columns].strip()]
    assert len({row.end() for row in rows}) <= 1
    return [(name, int(count.replace(",", ""))) for name, count in
            (row[0].split() for row in rows)]


@pytest.mark.parametrize("columns, lines", [
    ({"time": 400 * SECOND * HUNDRED},
     ["time      0 s to 39,600 s, 39,600 s long, 0.00253 events/s"]),
    ({"time": 131_072 * SECOND + SECOND // 100 * HUNDRED},
     ["time      131,072 s to 131,073 s, 990 ms long, 101 events/s"]),
    ({"time": 646_400 * 100 * HUNDRED - 10},
     ["time      -15.6 ns to 10 s, 10 s long, 10 events/s"]),
    ({"time": (SECOND - 40_000) * (HUNDRED > 0)},
     ["time      0 s to 1 s, 1 s long, 100 events/s"]),
    ({"time": numpy.where(HUNDRED == 99, SECOND // 10 + 25_600, HUNDRED)},
     ["time      0 s to 100 ms, 100 ms long, 1 kevents/s"]),
    ({"time": numpy.where(HUNDRED == 9, 2, HUNDRED)},
     ["events    100 in 3.26 kB, NOT in order of time: 1 step back, by up to 9.37 ns"]),
    ({"photons": 1 + 150 * HUNDRED},
     ["photons   1 to 14,851, median 7,351, 90 % between 601 and 14,101"]),
    ({"photons": numpy.where(HUNDRED < 50, 150, 200)},
     ["photons   150 to 200, median 150, 90 % between 150 and 200"]),
    ({"photons": numpy.full(100, 2**64 - 1, "u8")},
     ["photons   1.845e+19 to 1.845e+19, median 1.84e+19, 90 % between 1.84e+19 and 1.84e+19",
      f"1.84467e+19 100 {20 * '#'}    0 100 {30 * '#'}"]),
    ({"psd": numpy.where(HUNDRED < 10, -numpy.inf, 0.5)},
     ["PSD       -inf to 0.5, median 0.5, 90 % between -inf and 0.5"]),
    ({"psd": numpy.where(HUNDRED < 10, 1.7e308, -1.7e308)}, []),
    ({"psd": numpy.where(HUNDRED < 1, -10, HUNDRED / 500 - 0.6)},
     ["PSD       -10 to -0.402, median about -0.502, 90 % between about -0.592 and -0.412"]),
    ({"photons": 2**53 + HUNDRED % 4}, []),
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
    assert all(len(line) <= 80 for line in report.splitlines() if not line.startswith("    "))
    unwrapped = re.sub("\n {12}", " ", report)
    for line in lines:
        assert f"  {line}\n" in unwrapped
    assert not any(odd in report for odd in ("nan", "e+0", "1,000 ms", "All 1 file"))
    for title in {"Photons per event", "PSD values"} & set(re.split(" {2,}|\n", report)):
        names = [name for name, _ in rows_of(report, title)]
        assert len(names) == len(set(names))


def thresholds(report):
    """The rows of the PSD histogram: of how many values -p counts how many."""
    rows = rows_of(report, "PSD values")
    return [(float(name), sum(count for _, count in rows[i:])) for i, (name, _) in enumerate(rows)
            if name not in ("below", "above")]


@pytest.mark.parametrize("column, values, rows", [
    ("psd", numpy.where(HUNDRED < 75, 0.9, HUNDRED / 100), {"0.85": 5, "0.90": 80}),
    ("psd", numpy.where(HUNDRED < 50, 1, 1.0099), {"1.000": 50, "1.001": 0, "1.009": 50}),
    ("photons", 980 + HUNDRED % 40, {"980-984": 15, "995-999": 15, "1,000-1,004": 10,
                                          "1,015-1,019": 10}),
    ("photons", 12_345_678 + 10_000 * HUNDRED, {"12,345,678": 11, "12,582,912": 13}),
    # Between two populations each number has a row of its own.
    ("photons", numpy.repeat([1, 2, 8, *range(9, 29)], [40, 10, 30, *20 * [1]]),
     {"1": 40, "2": 10, "3": 0, "7": 0, "8": 30, "9": 1}),
])
def test_rows_have_real_counts(tmp_path, column, values, rows):
    title = {"psd": "PSD values", "photons": "Photons per event"}[column]
    found = dict(rows_of(report_of(tmp_path, **{column: values}), title))
    assert {name: found.get(name) for name in rows} == rows
    assert sum(found.values()) == 100


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
    assert r"\x1b[1m" in info(tmp_path, "\x1b[1m").stdout and "\x1b" not in info("\x1b[1m").stdout
    assert (report["total"]["faulty"], report["total"]["summary"]["events"]) == (2, 3)
    text = info(tmp_path)
    assert text.returncode == 1
    assert text.stdout.startswith("1 of 2 files\n")
    assert text.stdout.endswith(f"\nFaulty files\n  {tmp_path}/b.orvenevent: File size mismatch!\n")


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


def test_hot_pixels_are_those_far_above_what_is_around(tmp_path):
    image = numpy.random.default_rng(8).poisson(5, (256, 256))
    image[:, 200] = 60  # a line is none
    image[90:100, 90:100], image[95, 95] = 0, 10  # nor is noise
    image[33, 17], image[0, 0], image[50:52, 100:102] = 9000, 160, 70
    rows, columns = numpy.repeat(numpy.indices(image.shape).reshape(2, -1), image.ravel(), axis=1)
    write(tmp_path / "a.orvenevent", events_of(rows.size, x=PIXEL * columns, y=PIXEL * rows))
    hot = told(tmp_path)["total"]["hot_pixels"]
    assert [hot["pixels"], hot["over_10_times"], hot["over_100_times"]] == [6, 2, 1]
    assert hot["events"] == 9000 + 160 + 280
    assert [(each["x"], each["y"], each["events"]) for each in hot["hottest"]] == [
        (17, 33, 9000), (0, 0, 160), *((x, y, 70) for y in (50, 51) for x in (100, 101))]
    assert all(5 <= each["around"] <= 15 for each in hot["hottest"])
    text = info(tmp_path).stdout
    assert "  hot       6 pixels have over 2 times as many as around, " in text
    assert "the hottest: x 17, y 33 with 9,000, around it " in text


def test_bars_show_a_course_and_no_false_dips(tmp_path):
    periods = numpy.arange(200)[:, None]
    times = (10 * MS * periods + MS * numpy.arange(5)).ravel()  # half of each period is dark
    times = times[(times < 600 * MS) | (times >= 1000 * MS)]
    write(tmp_path / "a.orvenevent", events_of(times.size, time=times),
          10 * MS * numpy.arange(201))
    text = info(tmp_path).stdout
    course, since = re.findall(r"\|(.+)\|", text)
    assert re.fullmatch("█+.? +.?█+", course)
    assert 0.15 < course.count(" ") / len(course) < 0.25
    assert re.fullmatch("[ ▁▂▃▄▅▆▇█]+ {25,}", since)
    assert re.search(r"\|\n {2}0 s +10 ms\n", text)


def test_bars_are_where_the_events_are(tmp_path):
    times = numpy.sort((100 * MS * numpy.arange(100)[:, None] + MS // 200 * HUNDRED).ravel())
    for first_trigger, shown in (0, "of 500 µs"), (200_000 * MS, "none"):
        write(tmp_path / "a.orvenevent", events_of(times.size, time=times),
              first_trigger + 100 * MS * numpy.arange(101))
        text = info(tmp_path).stdout
        assert "at most 0" not in text
        since = text.split("Events since the trigger: ")[1].split("\n\n")[0]
        if first_trigger:
            assert since == "none\n  10,000 before the first trigger of their file"
        else:
            assert len(set(re.search(r"\|(.+)\|", since)[1])) <= 3
            assert re.search(r"\|[▇█▆]{30,60}.?\|\n  0 s +49\d µs$", since)


def test_odd_files_are_told_of(tmp_path):
    every_ms = MS * numpy.arange(11)
    times = MS // 10 * numpy.arange(100)
    for i in range(20):
        write(tmp_path / f"{i:02}.orvenevent", events_of(100, time=times), every_ms)
    for name, n, late, triggers in [
            ("a", 0, 0, every_ms), ("b", 100, 0, None), ("c", 100, 0, []),
            ("d", 100, 0, 2 * every_ms), ("e", 100, 11 * MS, every_ms),
            ("f", 100, 0, every_ms[::-1]),
            ("g", 100, 0, numpy.delete(every_ms, 4))]:
        write(tmp_path / f"{name}.orvenevent", events_of(n, time=times[:n] + late), triggers)
    backwards = events_of(100, time=times)[::-1]
    write(tmp_path / "h.orvenevent", backwards, every_ms)
    (tmp_path / "i.orvenevent").write_bytes(b"ORVEN")
    report = told(tmp_path, status=1)
    odd = {pathlib.Path(each["path"]).stem: each["odd"] for each in report["inputs"]
           if each.get("odd")}
    assert odd == {
        "a": ["no events"], "b": ["no triggers recorded"], "c": ["no trigger pulses"],
        "d": ["trigger period 2 ms, not 1 ms"], "e": ["no events between triggers"],
        "f": ["triggers not in order of time"],
        "g": ["triggers missing"], "h": ["events not in order of time"]}
    text = info(tmp_path).stdout
    assert text.startswith("28 of 29 files\n") and len(text.splitlines()) < 60
    assert text.count("/i.orvenevent") == 1 + text.count("grep -vxF")
    assert f"\nOdd files\n  {tmp_path}/a.orvenevent: no events\n" in text
    assert info("--files", tmp_path).stdout.count("\n  events ") == 28 + 1


@pytest.mark.parametrize("options, columns, warnings", [
    ("", {"x": -PIXEL}, ["All of the events lie beside the detector."]),
    ("", {"x": numpy.where(HUNDRED < 60, 256, 0) * PIXEL},
     ["60 % of the events lie beside the detector."]),
    ("", {"x": numpy.where(numpy.arange(30_000), 256, 0) * PIXEL},
     ["more than 99.99 % of the events lie beside the detector."]),
    ("", {"x": numpy.where(HUNDRED < 50, 256, 0) * PIXEL}, []),
    ("-m 2", {}, ["No event is within the bounds."]),
    ("", {"time": 200 * HUNDRED},
     ["95 % of the events are from before the first trigger of their file, or after the last."]),
])
def test_warnings_come_where_an_image_would_be_empty(tmp_path, options, columns, warnings):
    n = max(map(numpy.size, [HUNDRED, *columns.values()]))
    write(tmp_path / "a.orvenevent", events_of(n, **columns), [0, 500, 1000])
    assert told(*options.split(), tmp_path)["warnings"] == warnings
    text = info(*options.split(), tmp_path).stdout
    unwrapped = text.replace("\n    or after", " or after")
    assert [line[11:] for line in unwrapped.splitlines() if "WARNING" in line] == warnings
    assert text.splitlines()[0] == f"{tmp_path}/a.orvenevent" + (options and f", with {options}")
    assert ("vexolan -i" in text or "vexolan -I" in text) == (warnings[:1] not in (
        ["All of the events lie beside the detector."], ["No event is within the bounds."]))


@pytest.mark.parametrize("arguments", ["-m 1e3", "-M x", "-p 0,4", "-P", "-p 1ms"])
def test_bounds_that_are_no_numbers_are_errors(tmp_path, arguments):
    write(tmp_path / "a.orvenevent", events_of(1))
    done = info(tmp_path, *arguments.split())
    assert (done.returncode, done.stdout) == (1, "")
    assert "psd_m" in done.stderr or "nPhotons_m" in done.stderr
