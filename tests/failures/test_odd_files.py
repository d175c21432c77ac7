"""Paths that are no plain files, disks that are full, and images that are too large."""

import os
import re
import subprocess

import pytest

from program import aborted, ended, error, info, thrown, warning, what
from recording import Event

UNOPENED = 'file "bad.orvenevent" could not be opened!'


def memory(*names):
    """The sum of these lines of the system's account, in bytes."""
    with open("/proc/meminfo", encoding="ascii") as meminfo:
        lines = dict(re.findall(r"^(\w+): +(\d+) kB", meminfo.read(), re.MULTILINE))
    return 1024 * sum(int(lines[name]) for name in names)


def make_unreadable(path):
    path.touch(mode=0)
    if os.access(path, os.R_OK):
        pytest.skip("root reads files without permission")


@pytest.mark.parametrize("make, message", [
    (os.mkfifo, "Read Error!"),
    (lambda path: path.symlink_to("/dev/null"), "Read Error!"),
    (lambda path: path.symlink_to("/dev/zero"), "Not a valid ORVEN file!"),
    (lambda path: path.symlink_to(path), UNOPENED),
    (make_unreadable, UNOPENED),
], ids=["pipe", "null", "zero", "loop", "unreadable"])
def test_input_that_is_no_readable_file_is_an_error_of_that_file(vexolan, make, message):
    make(vexolan.folder / "bad.orvenevent")
    arguments = ["-x", 1, "-o", "out", "-i", f"bad.orvenevent,{vexolan.record('a', [Event()])}"]
    assert vexolan(*arguments, "--parallel", "false") == aborted(thrown(message))
    assert vexolan(*arguments) == ended(out=info(0), err=error(message))
    assert vexolan.image() == {(0, 0, 0): 1}


@pytest.mark.parametrize("path", ["file/out", "pipe", "loop"])
def test_output_that_is_no_writable_file_is_an_error(vexolan, path):
    vexolan.put("file", "text")
    os.mkfifo(vexolan.folder / "pipe")
    (vexolan.folder / "loop").symlink_to("loop")
    failure = vexolan("-x", 3, "-o", path)
    assert failure._replace(err="") == aborted("", out=info(0, path))
    assert path.partition("/out")[0] in what(failure)


def test_disk_that_fills_up_is_an_error(vexolan):
    disk = vexolan.folder / "disk"
    disk.mkdir()
    mount = ["mount", "-t", "tmpfs", "-o", "size=64k", "none", disk]
    if subprocess.run(mount, capture_output=True, check=False).returncode != 0:
        pytest.skip("only root can mount a small disk")
    try:
        failure = vexolan("-x", 1000, "-o", "disk/out")
        assert vexolan("-x", 100, "-o", "disk/out") == ended(out=info(0, "disk/out"))
    finally:
        subprocess.run(["umount", disk], check=True)
    assert failure._replace(err="") == aborted("", out=info(0, "disk/out"))
    assert what(failure) == 'output file "disk/out" could not be written (No space left on device)!'


@pytest.mark.skipif(memory("MemAvailable") < 5 * 2**30, reason="needs an image of 4 GiB")
def test_image_beyond_classic_tiff_is_warned_of_and_fails(vexolan):
    arguments = ["-x", 32768, "--parallel", "false", "-i", "missing.orvenevent", "-o", "out"]
    warned = warning('The output will need 4295229598 bytes, but "tiff_w4" files end at 4 GiB. '
                     'Use "tiff_w8"!')
    missing = thrown('file "missing.orvenevent" could not be opened!')
    assert vexolan(*arguments) == aborted(warned + missing)
    assert vexolan(*arguments, "--fileFormat", "tiff_w8") == aborted(missing)
    failure = vexolan("-x", 32768, "-o", "/dev/null")
    assert failure.err.startswith(warned)
    assert what(failure) == 'output file "/dev/null" could not be written!'
    assert vexolan("-x", 32768, "-o", "/dev/null", "--fileFormat", "tiff_w8").status == 0


@pytest.mark.parametrize("pages", [2 * memory("MemTotal", "SwapTotal") // 2**20, 2**40])
def test_image_larger_than_memory_is_refused_before_input_is_read(vexolan, pages):
    refused = vexolan("-t", 1, "-T", pages, "-x", 512, "-i", "missing.orvenevent", "-o", "out")
    assert refused == aborted(thrown("std::bad_alloc", "bad_alloc"))
