"""Calls of a small run fail in turn. The run ends by a message, or its image is right.

Of many calls of a kind a sample fails, or all where VEXOLAN_ALL_CALLS is set.
"""

import errno
import json
import os
import re
import signal
import subprocess

import pytest

from program import aborted, assertion, ended, error, info, what
from recording import PIXEL, TICK, Event, block, build, container, events, triggers

FOREVER = 10**18
CALLS = [("open", errno.EMFILE), ("read", errno.EIO), ("write", errno.ENOSPC), ("write", 0),
         ("seek", errno.EIO), ("close", errno.EIO), ("stat", errno.EIO), ("folder", errno.EIO),
         ("memory", errno.ENOMEM), ("thread", errno.EAGAIN)]
NOT_MADE_BY_ALL = "thread", "stat", "folder"
MESSAGE = r"  what\(\):  \S|^assertion IsObject\(\)$"
# The standard library's last word when it has no memory for the entries of a folder.
NO_MEMORY_FOR_FOLDER = "|^terminate called without an active exception$"

TIMES = f"-t {1000 * TICK} -T 4"
NAMES = "-i a.orvenevent,bad.orvenevent,b.orvenevent"
RUNS = {
    "2-D": f"{NAMES} -x 600",
    "2-D reference": "--inputListFile list -E reference -x 9",
    "3-D": f"-I . {TIMES} -x 300 --fileFormat tiff_w8",
    "frameSync": f"--inputListFile list -E frameSync {TIMES} -f settings.json",
}


@pytest.fixture(params=RUNS.values(), ids=RUNS)
def run(request, vexolan):
    return Run(vexolan, request.param)


class Run:
    """A run over three files, one of them damaged if the run logs that and goes on."""

    def __init__(self, vexolan, arguments):
        self.vexolan = vexolan
        rows = [Event(x=n % 256 * PIXEL, y=n % 200 * PIXEL, time=n) for n in range(3000)]
        # More triggers than a task sees at a time, so that it reads some between two events.
        triggers = [0, 900, 1800, *[2000] * 2100, 2700]
        names = [vexolan.record(name, rows, triggers) for name in "ab"]
        self.recording = vexolan.bytes(names[0])
        self.goes_on = "frameSync" not in arguments
        if self.goes_on:
            names.insert(1, vexolan.put("bad.orvenevent", self.recording[:-1]))
        vexolan.put("meminfo", "MemAvailable: 99999999 kB\n")
        vexolan.put("list", "\n".join(names))
        vexolan.put("settings.json", '{"vexolan": {"size_x": 8, "psd_max": 2.5}, "more": [1, {}]}')
        self.n_cores = 1 if "reference" in arguments else 3  # one meets all files
        self.arguments = [*arguments.split(), "-o", "out"]
        self.message = MESSAGE + (NO_MEMORY_FOR_FOLDER if "-I" in arguments else "")
        self.whole = self()
        assert self.whole.status == 0 and len(self.whole.err.splitlines()) == self.goes_on
        self.image, self.pages = vexolan.bytes(), vexolan.pages()
        self.n_intervals = len(triggers) - 1 if "-E" in arguments else 0  # of each file
        assert self.whole.out == info(2 * self.n_intervals)

    def __call__(self):
        (self.vexolan.folder / "out").unlink(missing_ok=True)
        self.vexolan.put("a.orvenevent", self.recording)
        return self.vexolan(*self.arguments)

    def expect_whole(self, outcome):
        assert outcome == self.whole and self.vexolan.bytes() == self.image

    def expect_message_or_image(self, outcome):
        if outcome.status != 0:
            assert outcome.status == -signal.SIGABRT, outcome
            assert re.search(self.message, outcome.err, re.MULTILINE), outcome
            return
        assert "bad_alloc" not in outcome.err  # memory is no property of a file
        errors = re.findall("^ERROR.*$", outcome.err, re.MULTILINE)
        assert all(re.match("ERROR:   <time>: .", line) for line in errors), outcome
        if any(line.endswith(" file: list") for line in errors):
            assert outcome.out == "" and not self.vexolan.exists()
        elif self.goes_on and len(errors) > 1:  # a file more was left out, and it is said
            pages = self.vexolan.pages()  # of two equal files, one or none is there as a whole
            n_files = int(pages.any())
            assert (2 * pages == n_files * self.pages).all()
            assert outcome.out == info(n_files * self.n_intervals), outcome
        else:
            assert (outcome.out, len(errors)) == (self.whole.out, self.goes_on), outcome
            assert self.vexolan.bytes() == self.image

    def each_call(self, faults, call, last=None, **settings):
        """The outcomes with the first call changed, the second, and so on up to the last one."""
        settings |= {"cores": self.n_cores, "meminfo": "meminfo"}
        faults(call, FOREVER, **settings)
        self.expect_whole(self())
        n_calls = int(self.vexolan.bytes("calls"))
        assert n_calls > 0 or call in NOT_MADE_BY_ALL
        for number in sample(n_calls):
            faults(call, number, last or number, **settings)
            yield self()


def sample(n_calls):
    """The first calls, and of the later ones ever fewer."""
    number = 1
    while number <= n_calls:
        yield number
        number += 1 if "VEXOLAN_ALL_CALLS" in os.environ else 1 + number // 32


@pytest.mark.parametrize("last", [None, FOREVER], ids=["once", "from_then_on"])
@pytest.mark.parametrize("call, reason", CALLS)
def test_call_that_fails_never_spoils_an_image_unnoticed(run, faults, call, reason, last):
    for outcome in run.each_call(faults, call, last, errno=reason):
        run.expect_message_or_image(outcome)


def test_interrupted_and_short_transfers_go_on(run, faults):
    faults("short")
    run.expect_whole(run())
    for call in "read", "write":
        for outcome in run.each_call(faults, call, errno=errno.EINTR):
            run.expect_whole(outcome)


@pytest.mark.parametrize("call, size", [("read", 0), ("seek", 1000), ("read", 200000)])
def test_file_that_shrinks_or_grows_never_spoils_an_image_unnoticed(run, faults, call, size):
    for outcome in run.each_call(faults, call, do=f"truncate -s {size} a.orvenevent; :"):
        run.expect_message_or_image(outcome)


def test_only_the_output_must_close_without_an_error(run, faults):
    message = 'output file "out" could not be written (Input/output error)!'
    failures = []
    for outcome in run.each_call(faults, "close", errno=errno.EIO):
        if outcome.status == 0:
            run.expect_whole(outcome)
        else:
            failures.append(what(outcome))
    assert failures == [message]


@pytest.mark.parametrize("number", [2, 3, 5, 8])
def test_write_that_fails_once_among_many_pages_ends_the_run(vexolan, faults, number):
    vexolan.record("a", [Event()])
    faults("write", number, number, errno=errno.EIO)
    outcome = vexolan("-i", "a.orvenevent", "-x", 64, "-t", 1, "-T", 50, "-o", "out")
    assert "could not be written (Input/output error)" in what(outcome)
    assert not vexolan.exists()


@pytest.mark.parametrize("option, end", [
    ("--inputListFile", ended(err=error("could not read file: text"))),
    ("-f", aborted(error('settings file "text" could not be read') + assertion("IsObject()")))])
@pytest.mark.parametrize("number", [1, 2])  # the second read only asks for what follows
def test_text_that_cannot_be_read_to_its_end_is_an_error(vexolan, faults, option, end, number):
    vexolan.put("text", '{"vexolan": {}}')
    number += option == "--inputListFile"  # the first asks whether it is a recording
    faults("read", number, number, errno=errno.EIO)
    assert vexolan(option, "text", "-o", "out") == end
    assert not vexolan.exists()


@pytest.mark.parametrize("reason", [errno.EIO, errno.EACCES])
def test_link_that_cannot_be_examined_is_left_to_opening_it(vexolan, faults, reason):
    vexolan.record("target", [Event()])
    (vexolan.folder / "data").mkdir()
    (vexolan.folder / "data" / "link.orvenevent").symlink_to("../target.orvenevent")
    arguments = ["-I", "data", "-x", 1, "-o", "out"]
    faults("stat", path="link.orvenevent", errno=reason)
    assert vexolan(*arguments) == ended(out=info(0))
    assert vexolan.image() == {(0, 0, 0): 1}
    assert vexolan.bytes("calls") == b"1"
    (vexolan.folder / "target.orvenevent").unlink()
    assert vexolan(*arguments) == ended(
        out=info(0), err=error('file "data/link.orvenevent" could not be opened!'))


@pytest.mark.parametrize("cores", [1, 3])
def test_file_that_fails_late_counts_nowhere_in_a_survey(vexolan, faults, cores):
    n = 200_000
    content = container(build(), triggers(0, 2), block(b"events", events(Event())[16:] * n))
    names = [vexolan.put(f"{name}.orvenevent", content) for name in "abc"]
    faults("read", 20, 20, path="b.orvenevent", errno=errno.EIO, cores=cores)
    done = subprocess.run([os.environ["VEXOLAN_INFO"], "--json", *names], cwd=vexolan.folder,
                          capture_output=True, text=True, timeout=60, check=False)
    assert (done.returncode, done.stderr) == (1, "")
    report = json.loads(done.stdout)
    assert [file.get("error") for file in report["inputs"]] == [None, "Read Error!", None]
    total = report["total"]
    assert (total["summary"]["events"], total["summary"]["triggers"]) == (2 * n, 4)
    assert total["image"]["counts"][0][0] == 2 * n
    for course in "events_over_time", "events_since_trigger":
        assert sum(total[course]["counts"]) == 2 * n


@pytest.mark.parametrize("cores", [0, 1, 300])
def test_any_number_of_cores_counts_all(vexolan, faults, cores):
    name = vexolan.record("a", [Event(time=5)], [0, 10])
    faults(cores=cores)
    assert vexolan("-i", name, "-E", "reference", "-x", 1, "-o", "out") == ended(out=info(1))
    assert vexolan.image() == {(0, 0, 0): 1}
