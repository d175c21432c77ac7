"""The command lines that vexolan-info suggests fit the recording, and run as printed."""

import os
import pathlib
import re
import subprocess

import numpy
import pytest
import tifffile

import program
import recording
from recording import PIXEL, Event
from surveying import EVENT, HUNDRED, MS, SECOND, events_of, info, report_of, told, write

RANDOM = numpy.random.default_rng(7)
INTERVALS = "reference, frameSync: "
UNTRIGGERED = INTERVALS + "no triggers were recorded."


@pytest.mark.parametrize("triggers, times, options, notes", [
    ([0, 64_000, 128_000], 1000 * HUNDRED,
     ["", "-E ignore -t 2e-06 -T 78", "-E reference -t 1e-06 -T 100",
      "-E frameSync -t 0.0001 -T 2"], []),
    ([0, 64_001], 1000 * HUNDRED,
     ["", "-E ignore -t 2e-06 -T 78", "-E reference -t 2e-06 -T 51",
      "-E frameSync -t 0.0001001 -T 1"], []),
    ([0, 2**63 - 1], HUNDRED[::-1],
     ["", "-E ignore -t 1.56e-09 -T 100", "-E reference -t 10000 -T 88",
      "-E frameSync -t 7206000000 -T 1"],
     [INTERVALS + "an event that comes late counts in the interval that the events before it have "
      "reached."]),
    ([5, 3, 6], HUNDRED - 100, ["", "-E ignore -t 1.56e-09 -T 100 --timeStart -1.56e-07"],
     [INTERVALS + "the triggers are not in order of time."]),
    (range(0, 4_200_000, 1000), HUNDRED,
     ["", "-E ignore -t 1.56e-09 -T 100", "-E reference -t 1.56e-09 -T 100",
      "-E frameSync -t 1.563e-06 -T 4096"], []),
    (None, 1000 * HUNDRED - 50_000, ["", "-t 2e-06 -T 79 --timeStart -8e-05"], [UNTRIGGERED]),
    (None, 2**60 + SECOND * HUNDRED, ["", "-t 1 -T 100 --timeStart 1801439850"], [UNTRIGGERED]),
    (None, numpy.where(HUNDRED, -2**63, 0), [""],
     ["ignore: the events are too far from time zero for time bins that begin with them.",
      UNTRIGGERED]),
    ([], HUNDRED, ["", "-E ignore -t 1.56e-09 -T 100"], [INTERVALS + "no file has two triggers."]),
    ([5, 5, 5], SECOND + HUNDRED, ["", "-E ignore -t 1.56e-09 -T 100 --timeStart 1"],
     [INTERVALS + "the triggers have no period."]),
    ([5, 5, 5], SECOND, [""], [INTERVALS + "the triggers have no period."]),
])
def test_suggestions_fit_the_times(tmp_path, triggers, times, options, notes):
    report_of(tmp_path, triggers, time=times, x=2 * PIXEL * HUNDRED)
    report = told("a.orvenevent", folder=tmp_path)
    commands = [each["shell"].split(" -i a.orvenevent", 1)[1] for each in report["suggestions"]]
    assert [command.split(" -o ")[0].replace(" -x 256 --upright true", "").strip()
            for command in commands] == options
    assert report["notes"] == notes
    assert (report["total"]["events_since_trigger"] is None) == (len(options) < 4)
    for said, unit, named in re.findall(r" of ([\d.,]+)\s+(\S+), [^)]+\)\n.* -t (\S+) ",
                                        info("a.orvenevent", folder=tmp_path).stdout):
        factor = {"s": 1, "ms": 1e-3, "µs": 1e-6, "ns": 1e-9}[unit]
        assert float(said.replace(",", "")) * factor == pytest.approx(float(named), rel=1e-9)


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
    shells = [each["shell"] for each in told(tmp_path)["suggestions"]
              if "--region" in each["shell"]]
    assert [shell.split()[4] for shell in shells] == [region] * (region is not None)


def some_events(n, start=0):
    return [Event(i % 256 * PIXEL, i % 100 * PIXEL, start + i * MS // 8, i % 9, 0.5)
            for i in range(n)]


ELEVEN = [i * MS for i in range(11)]
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
@pytest.mark.parametrize("beside", ["", "faulty", "subfolder", "named"])
def test_suggestions_run_as_printed(tmp_path, names, triggers, modes, beside):
    for i, name in enumerate(names):
        path = tmp_path / f"{name}.orvenevent"
        path.parent.mkdir(exist_ok=True)
        path.write_bytes(recording.recording(
            some_events(80, 20 * MS * i),
            None if triggers is None else [20 * MS * i + time for time in triggers]))
    inputs = [names[0].split("/")[0]] if "/" in names[0] else [f"{names[0]}.orvenevent"]
    if beside == "subfolder":
        path.with_name("z.orvenevent").mkdir()
        path.with_name(".orvenevent").write_bytes(b"not taken")
    if beside == "faulty":
        path.with_name("z.orvenevent").write_bytes(b"ORVEN")
        inputs += ["z.orvenevent"] if "/" not in names[0] else []
    if beside == "named":
        inputs = [f"{name}.orvenevent" for name in names]
    report = told(*inputs, status=int(beside == "faulty"), folder=tmp_path)
    assert [each["mode"] for each in report["suggestions"]] == modes
    assert (report["notes"] == []) == (modes == ALL_MODES)
    text = info(*inputs, folder=tmp_path).stdout
    for suggestion in report["suggestions"]:
        assert f"    {suggestion['shell']}\n" in text
        assert len(suggestion["shell"]) < 400
        pages = make_image(suggestion, tmp_path)
        assert pages.shape == (suggestion["pages"], suggestion["rows"], suggestion["columns"])
        assert pages.sum() == 80 * len(names)


def test_names_of_many_files_come_once_and_a_whole_folder_is_one(tmp_path):
    names = [f"r/{number * 7919 % 997:03}.orvenevent" for number in range(60)]
    for i in range(120):
        name = names[i] if i < 60 else f"r/other_{i}{i % 7}.orvenevent"
        (tmp_path / "r").mkdir(exist_ok=True)
        (tmp_path / name).write_bytes(recording.recording([Event(time=i), Event(time=i + 1)]))
    report = told(*names, folder=tmp_path)
    assert report["list_file"].startswith("printf") and all(n in report["list_file"] for n in names)
    subprocess.run(["sh", "-c", report["list_file"]], cwd=tmp_path, check=True)
    for suggestion in report["suggestions"]:
        assert len(suggestion["shell"]) < 200
        assert make_image(suggestion, tmp_path).sum() == 120
    assert info(*names, folder=tmp_path).stdout.count(names[0]) == 1
    whole = told(*sorted(path.relative_to(tmp_path) for path in (tmp_path / "r").iterdir()
                         if path.suffix == ".orvenevent"), folder=tmp_path)
    assert whole["list_file"] is None
    assert whole["suggestions"][0]["shell"].startswith("vexolan -I r -o ")
    here = told(".", folder=tmp_path / "r")["suggestions"][0]["shell"]
    assert here == "vexolan -I . -o r-image.tif"


@pytest.mark.parametrize("triggers, times, modes", [
    ([10**6, 2 * 10**6], HUNDRED, ["ignore"] * 2),
    ([0, 50], 100 + HUNDRED, ["ignore"] * 2),
    ([-2**63, 2**63 - 1], HUNDRED, ["ignore"] * 2),
    ([0, 2**63 - 1], 2**63 - 2 - HUNDRED[::-1], ["ignore"]),
    ([0, 2**61], 2**60 + HUNDRED, ["ignore", "ignore", "reference", "frameSync"]),
])
def test_no_empty_image_is_suggested(tmp_path, triggers, times, modes):
    report_of(tmp_path, triggers, time=times, x=2 * PIXEL * HUNDRED)
    report = told("a.orvenevent", folder=tmp_path)
    assert [each["mode"] for each in report["suggestions"]] == modes
    assert all(make_image(each, tmp_path).any() for each in report["suggestions"])
    assert (len(report["notes"]) > 0) == (len(modes) < 4)


def test_no_course_is_suggested_of_files_that_begin_alike(tmp_path):
    for name in "ab":
        (tmp_path / f"{name}.orvenevent").write_bytes(recording.recording(some_events(80), ELEVEN))
    report = told(tmp_path)
    assert [each["mode"] for each in report["suggestions"]] == ["ignore", "ignore", *ALL_MODES[3:]]
    assert report["notes"] == [
        "ignore: times of files overlap, so a course is that of one file: name one alone."]


def test_no_trigger_mode_is_suggested_where_one_file_has_no_triggers(tmp_path):
    for name, start, triggers in ("a", 0, ELEVEN), ("b", 20 * MS, None):
        (tmp_path / f"{name}.orvenevent").write_bytes(
            recording.recording(some_events(80, start), triggers))
    report = told(tmp_path)
    assert [each["mode"] for each in report["suggestions"]] == ALL_MODES[:3]
    assert report["notes"] == [INTERVALS + "1 of 2 files were recorded without triggers."]


@pytest.mark.parametrize("mode, triggers, times, options, lost", [
    # All but five events are in the first hundredth of a period.
    ("reference", 100 * MS * numpy.arange(11),
     [MS // 5 + MS // 50 * RANDOM.integers(0, 36, 20_000)
      + 100 * MS * RANDOM.integers(0, 10, 20_000), 50 * MS + 100 * MS * numpy.arange(5)],
     "-t 1e-05 -T 72 -x 256 --upright true --timeStart 0.00019", 5),
    ("reference", 10 * MS * numpy.arange(11), [MS // 10 * numpy.arange(-50, 1020)],
     "-t 0.0001 -T 100 -x 256 --upright true", 50 + 20),  # before and after all
    ("frameSync", 10 * MS * numpy.delete(numpy.arange(21), [5, 6]),
     [MS // 2 * numpy.arange(1, 400, 2)], "-t 0.01 -T 18", 20),
    ("frameSync", numpy.cumsum(numpy.tile([10 * MS, 10 * MS, 12 * MS], 9)),
     [MS // 10 * numpy.arange(2900)], "-t 0.012 -T 26", 100 + 20),
    ("ignore", None, [[0, 1], 500 * SECOND + SECOND // 10_000 * numpy.arange(10_000),
                      1000 * SECOND + numpy.arange(2)], "-t 0.02 -T 5", 4),
    ("ignore", None, [SECOND // 1000 * numpy.arange(1000), 999 * SECOND + numpy.arange(3)],
     "-t 10 -T 100", 0),  # too many to be left out
])
def test_bins_are_where_the_events_are_and_losses_are_told(tmp_path, mode, triggers, times, options,
                                                           lost):
    times = numpy.sort(numpy.concatenate(times))
    write(tmp_path / "a.orvenevent", events_of(times.size, time=times), triggers)
    suggestion = [each for each in told(tmp_path)["suggestions"]
                  if each["mode"] == mode and each["time_bin_s"]][-1]
    assert options in suggestion["shell"]
    assert suggestion["lost_events"] == lost
    assert make_image(suggestion, tmp_path).sum() == times.size - lost
    assert ("without about" in info(tmp_path).stdout) == (lost > 0)


def test_losses_are_unknown_where_events_come_late(tmp_path):
    for late, lost in (MS // 10, 0), (MS // 10 + 1, None):
        write(tmp_path / "a.orvenevent", events_of(3, time=[5 * MS, 6 * MS, 6 * MS - late]),
              10 * MS * numpy.arange(2))
        suggestions = told(tmp_path)["suggestions"]
        assert [each["lost_events"] for each in suggestions[-2:]] == [lost, lost]


@pytest.mark.parametrize("column, populations, least, most", [
    ("photons", [RANDOM.geometric(0.5, 20_000), RANDOM.poisson(14, 80_000)], 4, 7),
    ("photons", [RANDOM.poisson(900, 20_000), RANDOM.poisson(1200, 3000)], 1000, 1130),
    ("photons", [[1] * 1000, [101] * 1000], 49, 53),
    ("photons", [RANDOM.poisson(14, 80_000)], None, None),
    ("photons", [[1, 2, 3], [40, 41]], None, None),
    ("psd", [RANDOM.normal(0.2, 0.05, 10_000), RANDOM.normal(0.6, 0.1, 90_000)], 0.3, 0.4),
    ("psd", [RANDOM.normal(-3, 1, 10_000), RANDOM.normal(3, 1, 10_000)], -1, 1),
    ("psd", [RANDOM.normal(centre, 0.05, 10_000) for centre in (0.2, 0.5, 0.8)], None, None),
    ("psd", [RANDOM.normal(0.2, 0.05, 100_000), RANDOM.normal(0.8, 0.05, 500)], None, None),
    ("psd", [RANDOM.integers(0, 11, 100_000) / 10], None, None),
])
def test_bounds_are_suggested_between_two_populations(tmp_path, column, populations, least, most):
    values = numpy.concatenate(populations)
    write(tmp_path / "a.orvenevent", events_of(values.size, **{column: values}))
    report = told(tmp_path)
    valley = report["valleys"]["nPhotons" if column == "photons" else column]
    option = {"photons": " -m ", "psd": " -p "}[column]
    bounds = [each["shell"].split(option)[1].split()[0] for each in report["suggestions"]
              if option in each["shell"]]
    if least is None:
        assert (valley, bounds) == (None, [])
        return
    assert [float(bound) for bound in bounds] == [valley["bound"]]
    assert least <= valley["bound"] <= most and len(bounds[0]) <= 5
    assert valley["events_above"] == pytest.approx((values >= valley["bound"]).sum(), rel=0.01)
