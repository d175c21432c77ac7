"""What a run writes beside the image, what it never overwrites, and what it warns of."""

import datetime
import json
import os
import socket
import stat
import struct
import subprocess

import numpy
import pytest

import program
from program import aborted, ended, error, info, thrown, warning
from recording import PIXEL, TICK, Event

MISSING = thrown('file "missing.orvenevent" could not be opened!')
OUTPUTS = {"-o": [], "--report": ["-o", "out"], "--spectra": ["-o", "out", "-t", 1, "-T", 1]}
READ = {  # how a file is read, and which
    "file": (["-i", "a.orvenevent"], "a.orvenevent"),
    "folder": (["-I", "."], "a.orvenevent"),
    "list": (["--inputListFile", "list"], "a.orvenevent"),
    "list itself": (["--inputListFile", "list"], "list"),
    "settings": (["-f", "settings.json"], "settings.json"),
    "no input": ([], "a.orvenevent"),
    "just started": ([], "b.orvenevent"),
}
NAMES = {
    "same": lambda path: path.name,
    "absolute": str,
    "detour": lambda path: f"folder/../folder/..//{path.name}",
    "symbolic link": lambda path: "symbolic",
    "link to link": lambda path: "folder/link",
    "hard link": lambda path: "hard",
}


def state(folder):
    """All that lies in a folder: kinds, modes, links and contents."""
    return {path: (path.lstat().st_mode, path.is_symlink() and os.readlink(path),
                   path.is_file() and path.read_bytes())
            for path in folder.rglob("*")}


@pytest.mark.parametrize("name", NAMES)
@pytest.mark.parametrize("read", READ)
@pytest.mark.parametrize("option", OUTPUTS)
def test_output_that_is_read_or_a_recording_is_refused(vexolan, option, read, name):
    vexolan.record("a", [Event()])
    vexolan.put("b.orvenevent", "")
    vexolan.put("list", "a.orvenevent")
    vexolan.put("settings.json", '{"vexolan": {}}')
    arguments, victim = READ[read]
    if (read, name) == ("just started", "hard link"):
        pytest.skip("nothing tells")
    path = vexolan.folder / victim
    (vexolan.folder / "symbolic").symlink_to(victim)
    (vexolan.folder / "folder").mkdir()
    (vexolan.folder / "folder/link").symlink_to("../symbolic")
    os.link(path, vexolan.folder / "hard")
    before = state(vexolan.folder)
    output = NAMES[name](path)
    reason = "is one of the files that this run reads!" if arguments else "is a recording!"
    assert vexolan(*arguments, *OUTPUTS[option], "-i", "missing.orvenevent", "--parallel", "false",
                   option, output) == aborted(thrown(f'output file "{output}" {reason}'))
    assert state(vexolan.folder) == before


@pytest.mark.parametrize("outputs", [
    ["-o", "x", "--report", "./x"],
    ["-o", "new/x", "--spectra", "new/y/../x"],
    ["-o", "out", "--spectra", "x", "--report", "new/../to_x"],  # a link to what does not exist yet
    ["-o", "hard", "--report", "settings"],
    ["-o", "folder/x", "--report", "to_folder/x"],
])
def test_outputs_that_name_each_other_are_refused(vexolan, outputs):
    vexolan.put("settings", "old")
    os.link(vexolan.folder / "settings", vexolan.folder / "hard")
    (vexolan.folder / "to_x").symlink_to("x")
    (vexolan.folder / "folder").mkdir()
    (vexolan.folder / "to_folder").symlink_to("folder")
    before = state(vexolan.folder)
    assert vexolan(*outputs, "-t", 1, "-T", 1, "-i", "missing.orvenevent", "--parallel", "false"
                   ) == aborted(thrown(f'output file "{outputs[-1]}" is asked for twice!'))
    assert state(vexolan.folder) == before


@pytest.mark.parametrize("old", [None, b"old" * 99], ids=["new", "replaced"])
def test_links_and_modes_are_kept(vexolan, old):
    folder = vexolan.folder / "folder"
    folder.mkdir()
    target = folder / "target"
    if old:
        target.write_bytes(old)
        target.chmod(0o604)
    (vexolan.folder / "second").symlink_to("folder/target")
    (vexolan.folder / "first").symlink_to(vexolan.folder / "second")
    umask = os.umask(0o027)
    try:
        assert vexolan("-x", 3, "-o", "first") == ended(out=info(0, "first"))
    finally:
        os.umask(umask)
    assert os.readlink(vexolan.folder / "second") == "folder/target"
    assert vexolan.pages("folder/target").shape == (1, 3, 3)
    assert stat.S_IMODE(target.stat().st_mode) == (0o604 if old else 0o640)
    assert os.listdir(folder) == ["target"]
    assert sorted(os.listdir(vexolan.folder)) == ["first", "folder", "second"]


IS_ROOT = os.geteuid() == 0
NOBODY = 65534
only_root = pytest.mark.skipif(not IS_ROOT, reason="only root gives files away")


def test_what_may_be_written_is_not_what_lies_in_a_folder_that_may(vexolan):
    for name in "folder/old", "protected", "folder":
        path = vexolan.folder / name
        if name != "folder":
            vexolan.put(name, b"old" * 9999)
        if IS_ROOT:
            os.chown(path, NOBODY, NOBODY)
    (vexolan.folder / "protected").chmod(0o400)
    (vexolan.folder / "folder").chmod(0o500)
    vexolan.record("a", [Event()])
    arguments = ["-i", "a.orvenevent", "-x", 3, "-o", "folder/old", "--strict", "true"]
    assert vexolan(*arguments, user=NOBODY) == ended(out=info(0, "folder/old"))
    assert vexolan.pages("folder/old").shape == (1, 3, 3) and b"old" not in vexolan.bytes("folder/old")
    for path, text in (("protected", "may not be written!"),
                       ("folder/new", "may not be made in its folder!")):
        message = f'output file "{path}" {text}'
        failure = vexolan("-x", 3, "-o", path, user=NOBODY)
        assert failure.status != 0 and failure.err.startswith(warning(message))
        assert vexolan("-o", path, "--strict", "true", user=NOBODY) == aborted(
            thrown(message, "runtime_error"))
    (vexolan.folder / "folder").chmod(0o700)
    assert vexolan.bytes("protected") == b"old" * 9999


def access_list(*entries):
    """What the system stores of an access list: a tag, permissions and a user or group each."""
    return struct.pack("<I", 2) + b"".join(
        struct.pack("<HHI", *entry, *[2**32 - 1][len(entry) - 2:]) for entry in entries)


def access(path):
    status = path.stat()
    lists = [os.getxattr(path, name) for name in os.listxattr(path) if name == ACCESS]
    return stat.S_IMODE(status.st_mode), status.st_uid, status.st_gid, *lists


ACCESS, DEFAULT = "system.posix_acl_access", "system.posix_acl_default"
# The owning group may not do what the mode seems to say: read for the user 1234 only.
ALLOWED = access_list((1, 6), (2, 6, 1234), (4, 0), (16, 6), (32, 0))


@only_root
@pytest.mark.parametrize("folder_mode, old, user, new", [
    (0o755, (0o640, 1000, 2000), None, (0o640, 1000, 2000)),
    (0o755, (0o660, 1000, 2000, ALLOWED), None, (0o660, 1000, 2000, ALLOWED)),
    (0o1777, (0o666, 1000, 2000), NOBODY, (0o666, 1000, 2000)),  # written where it is
    (0o777, (0o656, 1000, 2000), NOBODY, (0o644, NOBODY, NOBODY)),
    (0o777, (0o664, 1000, 2000, access_list((1, 6), (2, 6, NOBODY), (4, 0), (16, 6), (32, 4))),
     NOBODY, (0o600, NOBODY, NOBODY)),
])
def test_nobody_gets_more_access_to_a_file_that_is_replaced(vexolan, folder_mode, old, user, new):
    vexolan.put("folder/out", b"old" * 9999)
    folder = vexolan.folder / "folder"
    folder.chmod(folder_mode)
    os.setxattr(folder, DEFAULT, access_list((1, 7), (2, 7, 1234), (4, 7), (16, 7), (32, 0)))
    mode, *owners = old[:3]
    os.chown(folder / "out", *owners)
    (folder / "out").chmod(mode)
    if old[3:]:
        os.setxattr(folder / "out", ACCESS, old[3])
    assert access(folder / "out") == old
    assert vexolan("-x", 3, "-o", "folder/out", user=user) == ended(out=info(0, "folder/out"))
    assert vexolan.pages("folder/out").shape == (1, 3, 3)
    assert access(folder / "out") == new


@only_root
def test_links_of_others_in_a_shared_folder_are_not_followed(vexolan):
    vexolan.put("victim", "old")
    (vexolan.folder / "shared").mkdir()
    (vexolan.folder / "shared").chmod(0o1777)
    for target in "victim", "new":
        path = f"shared/{target}"
        (vexolan.folder / path).symlink_to(f"../{target}")
        os.lchown(vexolan.folder / path, NOBODY, NOBODY)
        failure = vexolan("-x", 3, "-o", path)
        assert failure.status != 0 and failure.err.startswith(warning(
            f'output file "{path}" is a link that others have placed in a folder that all share!'))
    assert vexolan.bytes("victim") == b"old" and not vexolan.exists("new")
    assert vexolan("-x", 3, "-o", path, user=NOBODY) == ended(out=info(0, path))
    assert vexolan.pages("new").shape == (1, 3, 3)


@only_root
@pytest.mark.parametrize("before, after, written, message", [
    ("mount --bind other out", "umount out", "other", None),
    ("chattr +a .", "chattr -a .", "out", None),
    ("chattr +a out", "chattr -a out", None, 'output file "out" may not be written!'),
])
def test_file_that_cannot_be_replaced_is_written_where_it_is_if_it_may(vexolan, before, after,
                                                                       written, message):
    for name in "out", "other":
        vexolan.put(name, b"old" * 999)
    if subprocess.run(before.split(), cwd=vexolan.folder, check=False).returncode != 0:
        pytest.skip("not on this disk")
    try:
        outcome = vexolan("-x", 3, "-o", "out")
    finally:
        subprocess.run(after.split(), cwd=vexolan.folder, check=True)
    assert (outcome.status == 0) == bool(written)
    assert outcome.err.startswith(warning(message) if message else "")
    for name in "out", "other":
        assert (vexolan.bytes(name) == b"old" * 999) == (name != written)


@pytest.mark.parametrize("output", ["/dev/null", "/dev/full", "pipe"])
def test_devices_and_pipes_are_written_where_they_are(vexolan, output):
    os.mkfifo(vexolan.folder / "pipe")
    before = os.stat(vexolan.folder / output).st_mode
    outcome = vexolan("-t", TICK, "-T", 3, "-x", 1, "-o", "out", "--spectra", output)
    assert os.stat(vexolan.folder / output).st_mode == before
    reason = {"/dev/full": "No space left on device", "pipe": "No such device or address"}
    assert outcome == (ended(out=info(0)) if output == "/dev/null" else aborted(
        thrown(f'output file "{output}" could not be written ({reason[output]})!',
               "runtime_error"), out=info(0)))


def test_pipe_takes_all_however_slow_its_reader(vexolan):
    piped = (f"{program.VEXOLAN} --verbose 1 -t 1 -T 9999 -x 1 -o out --spectra /dev/stdout"
             " | (sleep 0.2; wc -l)")
    assert subprocess.check_output(piped, shell=True, cwd=vexolan.folder, timeout=60) == b"9999\n"


def test_image_is_not_written_to_what_has_no_places(vexolan):
    os.mkfifo(vexolan.folder / "pipe")
    with socket.socket(socket.AF_UNIX) as server:
        server.bind(str(vexolan.folder / "socket"))
    for path in "pipe", "socket", "/dev/stdout", "/dev/ptmx":
        assert vexolan("-o", path, "-i", "missing.orvenevent", "--parallel", "false") == aborted(
            thrown(f'output file "{path}" is a pipe, a socket or a terminal: an image needs a file!'))
    assert vexolan("-o", "out", "--report", "socket", "--strict", "true") == aborted(
        thrown('output file "socket" is a socket!', "runtime_error"))


def test_working_directory_that_has_been_deleted_is_warned_of(vexolan):
    there = vexolan.folder / "there"
    there.mkdir()
    script = f"rmdir ../there; exec {program.VEXOLAN} --strict true -o out --report new/r"
    done = subprocess.run(["bash", "-c", script], cwd=there, capture_output=True, text=True, timeout=60,
                          check=False)
    assert program.Outcome(done.returncode, done.stdout, done.stderr) == aborted(
        thrown('output file "out" lies in a folder that has been deleted!', "runtime_error"))


MODES = {
    "2-D": [],
    "2-D reference": ["-E", "reference"],
    "3-D": ["-t", 7.3 * TICK, "-T", 4],
    "3-D reference": ["-t", 7.3 * TICK, "-T", 4, "-E", "reference"],
    "frameSync": ["-t", 7.3 * TICK, "-T", 4, "-E", "frameSync"],
}
NO_TRIGGERS = ("External trigger data requested from data set recorded without external trigger "
               "enabled!")


@pytest.mark.parametrize("parallel", ["true", "false"])
@pytest.mark.parametrize("mode", MODES)
def test_report_accounts_for_every_file_and_event(vexolan, mode, parallel):
    rows = [Event(n % 270 * PIXEL, n * 7 % 270 * PIXEL, n % 50, n % 4, n % 5 / 4)
            for n in range(3000)]
    with_triggers, logged = "-E" in MODES[mode], parallel == "true" and mode != "frameSync"
    good = {"b": ([*rows, Event(x=-PIXEL)], [5, 25, 40, 60]), "none": ([], []), "a": (rows, [0, 9])}
    inputs = []
    for name, (events, triggers) in good.items():
        path = vexolan.record(name, events, triggers)
        inputs.append({"path": path, "bytes": len(vexolan.bytes(path)), "events": len(events),
                       "triggers": len(triggers)})
    if logged:
        short = vexolan.put("short.orvenevent", vexolan.bytes("a.orvenevent")[:-1])
        inputs[1:1] = [{"path": "lost.orvenevent",
                        "error": 'file "lost.orvenevent" could not be opened!'},
                       {"path": vexolan.put("empty.orvenevent", ""), "error": "Read Error!"},
                       {"path": short, "error": None}]
    if logged or not with_triggers:
        path = vexolan.record("plain", rows[:7])
        good |= {} if with_triggers else {"plain": (rows[:7], None)}
        inputs.append({"path": path} | ({"error": NO_TRIGGERS} if with_triggers else {
            "bytes": len(vexolan.bytes(path)), "events": 7, "triggers": None}))
    files = ["-i", ",".join(file["path"] for file in inputs), "--parallel", parallel]
    arguments = [*files, "-x", 7, "-y", 5, "-m", 1, "-p", 0.25, "-P", 0.8, *MODES[mode],
                 "-o", "out", "--report", "new/report", "--fileFormat", "tiff_w8"]
    before = datetime.datetime.utcnow().replace(microsecond=0)
    outcome = vexolan(*arguments, time_zone="Asia/Kolkata")
    assert outcome.status == 0
    text = json.loads(vexolan.bytes("new/report"))
    run = text["run"]
    assert before <= datetime.datetime.strptime(run["started"], "%Y-%m-%dT%H:%M:%SZ") \
        <= datetime.datetime.utcnow()
    assert 0 <= run["seconds"] < 60
    assert run["arguments"] == ["vexolan", *map(str, arguments)]

    errors = [file["error"] for file in run["inputs"] if "error" in file]
    assert sorted(outcome.err.splitlines(True)) == sorted(map(error, errors))
    for given, found in zip(inputs, run["inputs"]):
        assert found == given | ({"error": found["error"]} if "error" in given else {})
        assert given.get("error") in (None, found.get("error"))
    assert len(run["inputs"]) == len(inputs)

    pages = vexolan.pages()
    all_events = [event for events, _ in good.values() for event in events]
    rejected = sum(not (event.photons >= 1 and 0.25 <= event.psd <= 0.8) for event in all_events)
    events = run["events"]
    assert events["recorded"] == len(all_events) and events["rejected"] == rejected
    assert events["outside"] == len(all_events) - rejected - pages.sum() > 0
    assert events["counted"] == pages.sum() > 0
    assert outcome.out == info(run["intervals"])
    assert run["intervals"] == (4 if with_triggers else 0)
    assert run["image"] == {"path": "out", "format": "tiff_w8", "bytes": len(vexolan.bytes()),
                            "pages": pages.shape[0], "rows": pages.shape[1],
                            "columns": pages.shape[2]}

    image = vexolan.bytes()
    replayed = vexolan(*files, "-f", "new/report", "-o", "out", "--fileFormat", "tiff_w8")
    assert (replayed.status, vexolan.bytes()) == (0, image)


@pytest.mark.parametrize("digits", [
    "0.30000000000000004", "-4.35", "123456.78901234567", "0.36995516654807925", "2.5e-308",
    "1.7e308", "5", "9007199254740993.0", "18446744073709551615.5", "1E23",
    pytest.param(f"0.{'0' * 400}1", id="tiny")])
def test_settings_file_and_report_hold_the_nearest_number(vexolan, digits):
    psd = float(digits)
    rows = [Event(x=column * PIXEL, psd=value) for column, value in enumerate(
        [numpy.nextafter(psd, -numpy.inf), psd, numpy.nextafter(psd, numpy.inf)])]
    arguments = ["-i", vexolan.record("a", rows), "-o", "out", "-x", 256]
    vexolan.put("s", f'{{"vexolan": {{"psd_min": {digits}, "psd_max": {digits}}}}}')
    for settings, report in (("s", "r"), ("r", "s")):
        assert vexolan(*arguments, "-f", settings, "--report", report) == ended(info(0))
        assert vexolan.image() == {(0, 0, 1): 1}


@pytest.mark.parametrize("option", ["-p", "-P"])
@pytest.mark.parametrize("value", ["inf", "-inf", "nan"])
def test_setting_that_no_settings_file_can_hold_is_not_reported(vexolan, option, value):
    arguments = ["-x", 2, option, value, "-o", "out"]
    failure = vexolan(*arguments, "--report", "r", "-i", "missing.orvenevent",
                      "--parallel", "false")
    assert failure == aborted(thrown(f"a report cannot hold the setting {value}!"))
    assert not os.listdir(vexolan.folder)
    assert vexolan(*arguments) == ended(out=info(0))


@pytest.mark.parametrize("name, shown", [
    (b"\xff", "?"), (b"a\xc3", "a?"), (b"\xed\xa0\x80b", "???b"),
    (b"\xc3\xa9\xf0\x9f\x93\xb7", None),
    (b"\"\\\n\x01'", None), (b"\xf0\x9f\x93", "???")])
def test_report_is_valid_json_whatever_the_names(vexolan, name, shown):
    path = os.fsdecode(name + b".orvenevent")
    assert vexolan("--verbose", -2, "-i", path, "-o", os.fsdecode(name), "--report", "r",
                   "-x", 1) == ended()
    run = json.loads(vexolan.bytes("r").decode("utf-8"))["run"]
    shown = shown or os.fsdecode(name)
    assert run["inputs"] == [{"path": f"{shown}.orvenevent",
                              "error": f'file "{shown}.orvenevent" could not be opened!'}]
    assert run["image"]["path"] == shown and f"{shown}.orvenevent" in run["arguments"]


@pytest.mark.parametrize("arguments, starts", [
    ([], ["0.0000000000000", "0.0000000093750", "0.0000000187500", "0.0000000281250"]),
    (["-E", "reference"],
     ["0.0000000000000", "0.0000000093750", "0.0000000187500", "0.0000000281250"]),
    (["-t", 0.75 + 6 * TICK],
     ["0.0000000000000", "0.7500000093750", "1.5000000187500", "2.2500000281250"]),
    (["-t", 2**60 * TICK], ["0.0000000000000", "1801439850.9481984000000",
                            "3602879701.8963968000000", "5404319552.8445952000000"]),
])
def test_spectra_are_exact(vexolan, arguments, starts):
    bin_ticks = 6 if arguments[:1] != ["-t"] else round(arguments[1] / TICK)
    rows = [Event(time=10 + page * bin_ticks + offset) for page, n in enumerate([3, 0, 2, 1])
            for offset in range(n)]
    rows += [Event(time=10 + 5, x=-2**31)]
    if "reference" not in arguments:
        rows = [row._replace(time=row.time - 10) for row in rows]
    name = vexolan.record("a", rows, [10, 2**62])
    assert vexolan("-i", name, "-x", 2, "-t", 6 * TICK, "-T", 4, *arguments, "-o", "out",
                   "--spectra", "new/s").status == 0
    counts = vexolan.pages().sum(axis=(1, 2))
    assert list(counts) == [3, 0, 2, 1]
    assert vexolan.bytes("new/s").decode() == "".join(
        f"{start}\t{count}\n" for start, count in zip(starts, counts))


@pytest.mark.parametrize("arguments", [[], ["-T", 2], ["-t", 1, "-T", 2, "-E", "frameSync"]])
def test_spectra_need_time_bins(vexolan, arguments):
    assert vexolan(*arguments, "-o", "out", "--spectra", "s", "-i", "missing.orvenevent",
                   "--parallel", "false") == aborted(thrown(
                       "spectra need pages that are time bins!"))
    assert not os.listdir(vexolan.folder)


@pytest.mark.parametrize("arguments, message", [
    (["-o", "folder"], 'output file "folder" is a folder!'),
    (["-o", "file/\x1b\x7f"],
     r'output file "file/\x1b\x7f" lies below something that is no folder!'),
    (["-o", "out", "--report", "folder/"], 'output file "folder/" is a folder!'),
    (["-o", "out", "-t", 1, "-T", 0], "The image will have no pages!"),
    (["-o", "out", "-t", 1, "-T", 2, "--spectra", "file/s"],
     'output file "file/s" lies below something that is no folder!'),
    (["-o", "out", "-x", 999],
     'output file "out" needs 3998156 bytes, but the size limit of files is 2200000!'),
])
def test_warning_comes_before_input_is_read_and_ends_a_strict_run(vexolan, arguments, message):
    (vexolan.folder / "folder").mkdir()
    vexolan.put("file", "text")
    arguments = [*arguments, "-i", "missing.orvenevent", "--parallel", "false"]
    assert vexolan(*arguments, largest_file=2200000) == aborted(warning(message) + MISSING)
    assert vexolan(*arguments, "--strict", "true", largest_file=2200000) == aborted(thrown(message, "runtime_error"))
    assert vexolan(*arguments, "--strict", "true", "--strict", "false").status != 0
    assert not vexolan.exists()


def test_ignored_input_ends_a_strict_run(vexolan):
    message = 'Input file must be a .orvenevent file! Ignoring "notes.txt"'
    assert vexolan("-i", "notes.txt", "-o", "out", "--strict", "true") == aborted(
        warning(message) + thrown(message, "runtime_error"))
    assert not vexolan.exists()


def test_first_file_in_the_list_that_fails_ends_a_strict_run(vexolan):
    names = [vexolan.record("a", [Event()] * 100_000), vexolan.put("\x1b.orvenevent", "ORVEN"),
             "c\n.orvenevent"]
    for order, message in ((names, r'file "\x1b.orvenevent": Read Error!'),
                           (names[::-1], r'file "c\x0a.orvenevent" could not be opened!')):
        for _ in range(10):
            assert vexolan("--strict", "true", "-i", ",".join(order), "-o", "out", "-x", 1,
                           "--report", "r") == aborted(thrown(message))
    assert not vexolan.exists("out") and not vexolan.exists("r")
    assert vexolan("--strict", "true", "-i", ",".join(names[:1] * 3), "-o", "out", "-x", 1
                   ) == ended(out=info(0))
    assert vexolan.image() == {(0, 0, 0): 300_000}
