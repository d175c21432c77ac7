"""Whatever happens while an image is written, its path holds the old file or the whole new one."""

import errno
import itertools
import os
import pathlib
import re
import shutil
import signal
import subprocess

import pytest

import program
from program import aborted, ended, info, thrown, what
from recording import PIXEL, Event

SIDE = 300  # more than one write for its image


class Run:
    """Writes an image, and then a report, over old files or none."""

    def __init__(self, vexolan, old):
        self.vexolan, self.old = vexolan, old
        self.put_back()
        self.arguments = ["-i", vexolan.record("../a", [Event(x=PIXEL)]), "-x", SIDE, "-o", "out",
                          "--report", "report"]
        assert vexolan(*self.arguments) == ended(out=info(0))
        self.new = vexolan.bytes()

    def put_back(self):
        shutil.rmtree(self.vexolan.folder)
        self.vexolan.folder.mkdir()
        if self.old:
            self.vexolan.put("out", self.old)

    def __call__(self):
        self.put_back()
        return self.vexolan(*self.arguments)

    def at_each(self, faults, call, **settings):
        """The outcomes with something done at the first such call, the second, and so on."""
        calls = self.vexolan.folder.parent / "calls"
        for number in itertools.count(1):
            calls.unlink(missing_ok=True)
            faults(call, number, number, **settings)
            outcome = self()
            yield outcome
            if calls.exists() and int(calls.read_text()) < number:
                assert outcome.status == 0 and number > 2
                return

    def expect_old_or_new(self):
        assert (self.vexolan.bytes() if self.vexolan.exists() else None) in (self.old, self.new)

    def rests(self):
        return set(os.listdir(self.vexolan.folder)) - {"out", "report"}


@pytest.fixture(params=[None, b"old" * 99_999], ids=["new", "replaced"])
def run(request, tmp_path):
    (tmp_path / "outputs").mkdir()
    return Run(program.Program(tmp_path / "outputs"), request.param)


@pytest.fixture(params=[{}, {"named": 1}], ids=["nameless", "named"])
def files(request):
    return request.param


@pytest.mark.parametrize("call", ["write", "place"])
@pytest.mark.parametrize("ending", ["KILL", "TERM"])
def test_signal_at_any_moment_leaves_the_old_or_the_new_image(run, faults, files, ending, call):
    number = signal.Signals[f"SIG{ending}"]
    for outcome in run.at_each(faults, call, signal=int(number), **files):
        assert outcome.status in (-number, 0)
        run.expect_old_or_new()
        rests = run.rests()
        if ending == "KILL":
            assert len(rests) <= 1 and all(rest.startswith("vexolan-unfinished-") for rest in rests)
        else:
            assert not rests


@pytest.mark.parametrize("call", ["write", "place", "close"])
def test_call_that_fails_leaves_the_old_image(run, faults, files, call):
    for outcome in run.at_each(faults, call, errno=errno.ENOSPC, **files):
        run.expect_old_or_new()
        assert not run.rests()
        if outcome.status == 0:
            assert run.vexolan.bytes() == run.new and run.vexolan.exists("report")
        else:
            assert "(No space left on device)!" in what(outcome)
            if '"out"' in what(outcome):
                assert run.vexolan.exists() == bool(run.old)
                assert not run.old or run.vexolan.bytes() == run.old


@pytest.mark.parametrize("come", ["cp ../a.orvenevent new; mv new out",
                                  "cat ../a.orvenevent > out",
                                  f"{program.VEXOLAN} -x 400 -o out"])
def test_what_comes_while_the_image_is_written_is_not_replaced(run, faults, files, come):
    run.put_back()
    subprocess.run(come, shell=True, cwd=run.vexolan.folder, check=True, capture_output=True)
    other = run.vexolan.bytes()
    faults("write", 1, 1, do=f"{come}; :", **files)
    kept = re.fullmatch(r'output file "out" could not be written \(something else has come to its '
                        r'place meanwhile; it is complete, as "(.+)"\)!', what(run()))[1]
    assert run.vexolan.bytes(kept) == run.new and run.vexolan.bytes() == other
    assert run.rests() == {kept}


def test_recording_that_comes_while_events_are_counted_is_not_replaced(run, faults):
    faults("read", 1, 1, path="a.orvenevent", do="cp ../a.orvenevent out; :")
    assert run() == aborted(thrown('output file "out" is a recording!'), out=info(0))
    assert run.vexolan.bytes() == run.vexolan.bytes("../a.orvenevent")


def test_ignored_signals_stay_ignored(run, faults):
    faults("write", 1, 1, signal=int(signal.SIGHUP))
    run.put_back()
    done = subprocess.run([program.VEXOLAN, *map(str, run.arguments)], cwd=run.vexolan.folder,
                          capture_output=True, timeout=60, check=False,
                          preexec_fn=lambda: signal.signal(signal.SIGHUP, signal.SIG_IGN))
    assert done.returncode == 0 and run.vexolan.bytes() == run.new


HARMLESS = {"CHLD", "CONT", "STOP", "TSTP", "TTIN", "TTOU", "URG", "WINCH"}
IGNORED = {signal.SIGPIPE, signal.SIGXFSZ}
SIMULATE = pathlib.Path(program.VEXOLAN).with_name("vexolan-simulate")


@pytest.mark.parametrize("command", [(program.VEXOLAN, "-x", "9"), (SIMULATE, "-n", "1k")])
def test_signals_of_all_kinds_leave_nothing_behind(vexolan, faults, command):
    for number in signal.valid_signals() - {signal.Signals["SIG" + name] for name in HARMLESS}:
        faults("write", 1, 1, signal=int(number), named=1)
        done = subprocess.run([*command, "-o", "new/out"], cwd=vexolan.folder, capture_output=True,
                              timeout=60, check=False)
        assert done.returncode == (0 if number in IGNORED else -number)
        left = [path.name for path in vexolan.folder.rglob("*unfinished*")]
        assert len(left) == (number == signal.SIGKILL)
        shutil.rmtree(vexolan.folder / "new")
