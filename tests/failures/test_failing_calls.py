"""Every call of a small run fails in turn. The run ends by a message, or its image is right."""

import errno
import itertools
import re
import signal

import pytest

from program import info
from recording import PIXEL, TICK, Event

REASONS = {"open": errno.EMFILE, "read": errno.EIO, "write": errno.ENOSPC, "seek": errno.EIO,
           "memory": errno.ENOMEM, "thread": errno.EAGAIN}
FOREVER = 10**9
MESSAGE = re.compile(r"  what\(\):  \S|^assertion \S", re.MULTILINE)

TIMES = f"-t {1000 * TICK} -T 4"
RUNS = {
    "2-D": "-x 600",
    "2-D in order": "-f settings.json --parallel false --fileFormat tiff_w8",
    "2-D reference": "-E reference -x 9",
    "3-D": f"{TIMES} -x 300 --fileFormat tiff_w8",
    "3-D reference in order": f"-E reference {TIMES} -x 9 --parallel false",
    "frameSync": f"-E frameSync {TIMES} -f settings.json",
}


@pytest.fixture(params=RUNS.values(), ids=RUNS)
def run(request, vexolan):
    return Run(vexolan, request.param)


class Run:
    """A run over three files, one of them damaged if the run logs that and goes on."""

    def __init__(self, vexolan, arguments):
        self.vexolan = vexolan
        rows = [Event(x=n % 256 * PIXEL, y=n % 200 * PIXEL, time=n) for n in range(3000)]
        names = [vexolan.record(name, rows, [0, 900, 1800, 2700]) for name in "ab"]
        self.recording = vexolan.bytes(names[0])
        self.goes_on = "false" not in arguments and "frameSync" not in arguments
        if self.goes_on:
            names.insert(1, vexolan.put("bad.orvenevent", self.recording[:-1]))
        vexolan.put("settings.json", '{"vexolan": {"size_x": 8, "psd_max": 2.5}, "more": [1, {}]}')
        self.arguments = [*arguments.split(), "-i", ",".join(names), "-o", "out"]
        self.whole = self()
        assert self.whole.status == 0 and len(self.whole.err.splitlines()) == self.goes_on
        self.image, self.pages = vexolan.bytes(), vexolan.pages()

    def __call__(self):
        (self.vexolan.folder / "out").unlink(missing_ok=True)
        self.vexolan.put("a.orvenevent", self.recording)
        return self.vexolan(*self.arguments)

    def expect_whole(self, outcome):
        assert outcome == self.whole and self.vexolan.bytes() == self.image

    def expect_message_or_image(self, outcome):
        if outcome.status != 0:
            assert outcome.status == -signal.SIGABRT and MESSAGE.search(outcome.err), outcome
            return
        errors = re.findall("^ERROR.*$", outcome.err, re.MULTILINE)
        assert all(re.match("ERROR:   <time>: .", line) for line in errors), outcome
        if self.goes_on and len(errors) > 1:  # a file more was left out, and it is said
            assert re.fullmatch(info(r"\d+"), outcome.out), outcome
            assert (self.vexolan.pages() <= self.pages).all()
        else:
            assert (outcome.out, len(errors)) == (self.whole.out, self.goes_on), outcome
            assert self.vexolan.bytes() == self.image

    def each_call(self, faults, call, last=None, **settings):
        """The outcomes with the first call changed, the second, and so on up to the last one."""
        for number in itertools.count(1):
            faults(call, number, last or number, **settings)
            outcome = self()
            yield outcome
            if outcome.status == 0 and int(self.vexolan.bytes("calls")) < number:
                break
        assert number > 1 or call == "thread"


@pytest.mark.parametrize("last", [None, FOREVER], ids=["once", "from_then_on"])
@pytest.mark.parametrize("call", REASONS)
def test_call_that_fails_never_spoils_an_image_unnoticed(run, faults, call, last):
    for outcome in run.each_call(faults, call, last, errno=REASONS[call]):
        run.expect_message_or_image(outcome)


def test_interrupted_and_short_transfers_go_on(run, faults):
    faults("short", 1, FOREVER)
    run.expect_whole(run())
    for call in "read", "write":
        for outcome in run.each_call(faults, call, errno=errno.EINTR):
            run.expect_whole(outcome)


@pytest.mark.parametrize("size", [0, 1000, 200000])
@pytest.mark.parametrize("call", ["read", "seek"])
def test_file_that_shrinks_or_grows_never_spoils_an_image_unnoticed(run, faults, call, size):
    for outcome in run.each_call(faults, call, file="a.orvenevent", size=size):
        run.expect_message_or_image(outcome)
