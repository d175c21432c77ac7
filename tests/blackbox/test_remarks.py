"""What a run says to a person at a terminal, and nowhere else but in its report."""

import json
import os
import re
import subprocess

import pytest

import program
from program import aborted, ended, info
from recording import PIXEL, Event

NO_FILES = "no files to read"
FRAMES = ["-E", "frameSync", "-t", "1e-6", "-T", "3"]
REFERENCE = ["-E", "reference", "-t", "1e-6", "-T", "3"]
BINS = ["-t", "1e-6", "-T", "3"]


@pytest.fixture
def recorded(vexolan):
    """Recordings by what is odd about them."""
    inside = [Event(x=9 * PIXEL, time=time, psd=0.5) for time in range(100, 1100, 10)]
    vexolan.record("a", inside)
    vexolan.record("later", [event._replace(time=event.time + 700) for event in inside])
    vexolan.record("pulsed", inside, [0, 500, 1000])
    vexolan.record("one_pulse", inside, [0])
    vexolan.record("late_pulses", inside, [9000, 9900])
    vexolan.record("beside", [Event(x=300 * PIXEL)] * 3)
    vexolan.record("mostly_beside", [Event(x=300 * PIXEL)] * 30 + inside[:20])
    vexolan.record("early", inside + [Event(x=-1), Event(x=-9 * PIXEL)] * 2)
    vexolan.record("early_bins", [Event(time=-1)] * 2 + inside)
    vexolan.record("hardly_early", inside * 3 + [Event(x=-1)] * 2)
    vexolan.record("late", [Event(time=9999)])
    vexolan.record("empty", [])
    vexolan.record("long", [Event(time=time) for time in range(20_000)], [0, 100, 200])
    vexolan.record("many", inside * 700)
    vexolan.put("damaged.orvenevent", b"")
    vexolan.put("outer/inner/a.orvenevent", vexolan.bytes("a.orvenevent"))
    vexolan.put("key.json", '{"vexolan": {"size_z": 3, "time_limits": 3, "fileFormat": 1}}')
    vexolan.put("report.json", '{"vexolan": {"size_x": 512}, "run": {"seconds": 1}}')
    return vexolan


def remarks(recorded, *arguments):
    """What is shown on a terminal, of remarks the texts as they are in the report."""
    shown = recorded.on_terminal(*arguments, "-o", "out", "--report", "told")
    told = json.loads(recorded.bytes("told"))["run"]["remarks"]
    texts = re.findall(r"^(?:Beware|Note): (.*(?:\n  .*)*)$", shown, re.MULTILINE)
    assert [" ".join(text.split()) for text in texts] == told
    return told


DOUBTS = {
    "no input": ([], [NO_FILES]),
    "none readable": (["-i", "damaged.orvenevent"], ["no file could be read"]),
    "empty file": (["-i", "empty.orvenevent"], ["the files hold no events"]),
    "subfolder": (["-I", "outer"], ['but a subfolder has: -I "outer/inner"']),
    "unit": (["-i", "a.orvenevent", "-t", "1ms", "-T", "3"], ['-t "1ms" was taken as "1"']),
    "comma": (["-i", "a.orvenevent", "-p", "0,4"], ['-p "0,4" was taken as "0"']),
    "exponent": (["-i", "a.orvenevent", "-x", "1e3"], ['-x "1e3" was taken as "1"']),
    "bins": (["-i", "a.orvenevent", "-t", "1", "-T", "1e3"], ['-T "1e3" was taken as "1"']),
    "photons": (["-i", "a.orvenevent", "-m", "9", "-M", "5"], ["and at most 5"]),
    "psd": (["-i", "a.orvenevent", "-p", "2", "-P", "1"], ["no event has such"]),
    "key": (["-f", "key.json", "-i", "a.orvenevent"],
            ['mean "size_x"', 'mean "time_limit"', '"fileFormat" that vexolan does not know']),
    "filter": (["-i", "a.orvenevent", "-m", "9"], ["no event has a photon count"]),
    "beside": (["-i", "beside.orvenevent"], ["all events that pass the filter lie outside"]),
    "one pulse": (["-i", "one_pulse.orvenevent", *REFERENCE], ["no file has two triggers"]),
    "behind bins": (["-i", "pulsed.orvenevent", *REFERENCE, "--timeStart", "1"], ["or its time bins"]),
    "before pulses": (["-i", "late_pulses.orvenevent", *FRAMES], ["before the first trigger"]),
}


@pytest.mark.parametrize("arguments, expected", DOUBTS.values(), ids=DOUBTS)
def test_doubts_are_shown_on_terminals_and_end_strict_runs(recorded, arguments, expected):
    told = remarks(recorded, *arguments)
    assert len(told) == len(expected) and all(map(str.__contains__, told, expected)), told
    failed = "damaged.orvenevent" in arguments
    assert recorded(*arguments, "-o", "silent").err.count("\n") == failed
    assert recorded.raw(*arguments, "-o", "strict", "--strict", "true").status != 0
    assert not recorded.exists("strict")


ADVICE = {
    "mostly outside": (["-i", "mostly_beside.orvenevent"], "60 % of the events that pass"),
    "bins end early": (["-i", "a.orvenevent", "-t", "3e-7", "-T", "1"],
                       "before its first time bin or behind its last one"),
    "behind intervals": (["-i", "long.orvenevent", "-E", "reference"], "all trigger intervals"),
    "unused triggers": (["-i", "pulsed.orvenevent", *BINS], "-E reference counts"),
    "before pulses": (["-i", "late_pulses.orvenevent", "-E", "reference"], "before the first"),
    "files over each other": (["-i", "a.orvenevent,a.orvenevent", *BINS], "files overlap"),
    "early": (["-i", "early.orvenevent"], "about 2 % of the counted events"),
    "early bins": (["-i", "early_bins.orvenevent", *BINS], "about 2 % of the counted events"),
}


@pytest.mark.parametrize("arguments, expected", ADVICE.values(), ids=ADVICE)
def test_advice_is_shown_on_terminals_and_ends_no_run(recorded, arguments, expected):
    told = remarks(recorded, *arguments)
    assert len(told) == 1 and expected in told[0], told
    outcome = recorded(*arguments, "-o", "out", "--strict", "true")
    assert (outcome.status, outcome.err) == (0, "")


@pytest.mark.parametrize("arguments", [
    ["-i", "a.orvenevent"], ["-i", "a.orvenevent,a.orvenevent"], ["-i", "pulsed.orvenevent"],
    ["-i", "a.orvenevent,later.orvenevent", *BINS, "-T", "9"], ["-i", "a.orvenevent", *BINS],
    ["-i", "pulsed.orvenevent", *REFERENCE], ["-i", "pulsed.orvenevent,pulsed.orvenevent", *FRAMES],
    ["-i", "a.orvenevent,late.orvenevent,damaged.orvenevent"], ["-i", "hardly_early.orvenevent"],
    ["-I", "outer/inner"], ["-i", "a.orvenevent", "-f", "report.json"],
    ["-i", "early.orvenevent", "--region", "0,0,200,200"],
    ["-i", "early.orvenevent,many.orvenevent"],
    ["-i", "a.orvenevent", "-t", "1ms", "-t", "1", "-T", "1"],
    ["-i", "pulsed.orvenevent", "-E", "ignore", *BINS],
    ["-i", "a.orvenevent", "--timeStart", "1.6e-6", *BINS],
    ["-i", "mostly_beside.orvenevent", "--region", "0,0,20,20"]])
def test_ordinary_runs_are_not_remarked_on(recorded, arguments):
    assert remarks(recorded, *arguments) == []


def test_frames_of_a_folder_that_is_not_listed_in_order(recorded):
    for name in "zyxwvutsrqponmlkjihgfedcba":
        recorded.put(f"folder/{name}.orvenevent", recorded.bytes("pulsed.orvenevent"))
    if sorted(listed := os.listdir(recorded.folder / "folder")) == listed:
        pytest.skip("this file system lists names in order")
    frames = ["-I", "folder", *FRAMES, "-T", "99"]
    told = remarks(recorded, *frames)
    assert len(told) == 1 and "in the order of their names" in told[0]
    assert remarks(recorded, "-I", "folder", *REFERENCE) == []
    assert told[0] in recorded(*frames, "-o", "strict", "--strict", "true").err


def test_closing_account(recorded):
    shown = recorded.on_terminal(
        "-i", "pulsed.orvenevent,damaged.orvenevent", "-m", "1", "-o", "out", "-x", "64",
        "--upright", "true", *REFERENCE, columns=60)
    lines = [line for line in shown.splitlines() if not line.startswith("ERROR")]
    assert [line.split(maxsplit=1) for line in lines][:8] == [
        ["recorded", "100 events in 1 file"], ["rejected", "0"], ["outside", "10 (10.0 %)"],
        ["counted", "90 (90.0 %)"], ["left", "out  file \"damaged.orvenevent\": Read Error!"],
        ["image", "64 x 64 pixels of 4 x 4 detector pixels"], ["3", "pages of 1 µs"],
        ["largest", "count of a pixel: 90"]], shown
    assert re.fullmatch(r"written   50\.\d kB to out", lines[8])
    assert re.fullmatch(r"took      [\d.]+ (ms|s), [\d.]+ [kM]?events/s", lines[9])
    assert max(map(len, lines)) < 60
    narrow = recorded.on_terminal("-i", "a.orvenevent", "-o", "some where/Zähler" * 3, columns=30)
    assert max(map(len, narrow.splitlines())) < 30 and "�" not in narrow
    assert " ".join(narrow.split()).count("0.5 x 0.5 detector pixels") == 1


def test_closing_account_of_much_that_is_not_counted(recorded):
    damaged = recorded.put("damaged/behind/a/very/long/path/with/é/in/it.orvenevent", b"")
    files = ["long.orvenevent", damaged, *21 * ["damaged.orvenevent"]]
    shown = recorded.on_terminal("-i", ",".join(files), "-E", "reference", "-o", "out", columns=50)
    rows = " ".join(shown[shown.index("recorded"):].split())
    assert rows.startswith("recorded 20,000 events in 1 file") and "counted 200 (1.0 %)" in rows
    unread = re.search(r"not read ([\d,]+) \([\d.]+ %\), as none of them can count", rows)
    outside = re.search(r"outside ([\d,]+)", rows)
    assert sum(int(n[1].replace(",", "")) for n in (unread, outside)) == 20_000 - 200
    assert rows.count("left out file") == 20 and "left out and 2 files more" in rows
    assert max(map(len, shown[shown.index("recorded"):].splitlines())) < 50
    assert re.search("^recorded", recorded.on_terminal("-i", damaged, "-o", "out", columns=9),
                     re.MULTILINE)


@pytest.mark.parametrize("arguments, hint", [
    ([], "vexolan-info FOLDER"), (["a.orvenevent"], "with commas between"),
    (["-i", "a.orvenevent"], "-o FILE names"), (["-I", "nowhere", "-o", "out"], "-I takes a folder"),
    (["-i", "a.orvenevent", "-t", "1", "-o", "out"], "give both"),
    (["-i", "a.orvenevent", "-T", "3", "-o", "out"], "give both"),
    (["-f", "nothing.json", "-o", "out"], "looked up from the current folder"),
    (["-i", "a.orvenevent", "-o", "out", "--fileFormat", "png"], None)])
def test_hints_come_behind_the_error_on_terminals_only(recorded, arguments, hint):
    shown = recorded.on_terminal(*arguments)
    error = recorded.raw(*arguments).err
    assert "terminate called" in error or "Assertion" in error
    without_stamps = [re.sub(r"\d\d:\d\d:\d\d", "", text) for text in (shown, error)]
    assert without_stamps[0].startswith(without_stamps[1]) or not hint
    behind = without_stamps[0][len(without_stamps[1]):]
    assert hint in behind if hint else behind == "" or "recorded" in shown


def test_recording_in_place_of_a_list_is_refused(recorded):
    outcome = recorded("--inputListFile", "a.orvenevent", "-o", "out")
    assert outcome.status == aborted("").status and "is an event file, not a list" in outcome.err


def test_list_from_a_pipe_is_read_once(recorded):
    os.mkfifo(recorded.folder / "list")
    with subprocess.Popen(["sh", "-c", "echo a.orvenevent > list"], cwd=recorded.folder) as writer:
        assert recorded("--inputListFile", "list", "-o", "out") == ended(info(0))
        assert writer.wait(timeout=60) == 0
    assert recorded.pages().sum() == 100


def test_jobs_in_the_background_tell_nothing(recorded):
    shell = ["setsid", "--ctty", "bash", "-mc", 'stty tostop; "$@" & wait', "bash"]
    shown = recorded.on_terminal("-i", "beside.orvenevent", "-o", "out",
                                 command=[*shell, program.VEXOLAN])
    assert re.fullmatch(r"\[1\]\+  Done .*\n", shown), shown
    assert recorded.exists()
