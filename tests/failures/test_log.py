"""Log lines and reports that are not taken at once, or not at all."""

import errno
import fcntl
import os
import pathlib
import subprocess

import pytest

import program
from program import ended, error, info
from recording import Event


def unopened(name):
    return error(f'file "{name}.orvenevent" could not be opened!')


def test_slow_pipe_that_does_not_block_gets_every_line(vexolan):
    names = [f"missing_{n}" for n in range(20_000)]
    vexolan.put("list", "".join(f"{name}.orvenevent\n" for name in names))
    reading, writing = os.pipe()
    os.set_blocking(writing, False)
    fcntl.fcntl(writing, fcntl.F_SETPIPE_SZ, 4096)
    with subprocess.Popen([program.VEXOLAN, "--inputListFile", "list", "-x", "1", "-o", "out"],
                          cwd=vexolan.folder, stderr=writing, stdout=subprocess.DEVNULL) as process:
        os.close(writing)
        with os.fdopen(reading) as pipe:
            lines = pipe.readlines()
        assert process.wait(timeout=60) == 0
    assert sorted(program.LOG_PREFIX.sub(r"\1<time>: ", line) for line in lines) == sorted(
        map(unopened, names))


@pytest.mark.parametrize("reason, lost", [
    (errno.ENOSPC, True), (0, True), (errno.EINTR, False), (errno.EAGAIN, False)])
def test_line_that_cannot_be_written_is_the_only_one_lost(vexolan, faults, reason, lost):
    faults("log", 2, 2, errno=reason, cores=1)
    names = ["a", *([] if lost else "b"), "c"]
    assert vexolan("-i", "a.orvenevent,b.orvenevent,c.orvenevent", "-x", 1, "-o", "out") == ended(
        out=info(0), err="".join(map(unopened, names)))


def test_output_that_nobody_reads_does_not_end_the_run(vexolan):
    reading, writing = os.pipe()
    os.close(reading)
    for stream in {"stdout": writing}, {"stderr": writing}:
        done = subprocess.run([program.VEXOLAN, "-x", "3", "-i", "missing.orvenevent", "-o", "out"],
                              cwd=vexolan.folder, timeout=60, check=False, **stream)
        assert done.returncode == 0
        assert vexolan.pages().shape == (1, 3, 3)
        (vexolan.folder / "out").unlink()
    done = subprocess.run([pathlib.Path(program.VEXOLAN).with_name("vexolan-info"),
                           vexolan.record("a", [Event()])], cwd=vexolan.folder, timeout=60,
                          check=False, stdout=writing, stderr=subprocess.PIPE)
    assert done.returncode == 1 and b"could not be written" in done.stderr
    os.close(writing)
