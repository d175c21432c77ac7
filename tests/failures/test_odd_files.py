"""Paths that are no plain files, disks that are full, and images that are too large."""

import os
import re
import subprocess

import pytest

from program import aborted, ended, error, info, thrown, warning, what
from recording import Event

NO_SPACE = "could not be written (No space left on device)!"


def memory(name):
    with open("/proc/meminfo", encoding="ascii") as meminfo:
        return 1024 * int(re.search(rf"^{name}: +(\d+) kB", meminfo.read(), re.MULTILINE)[1])


def make_unreadable(path):
    path.write_bytes(b"")
    path.chmod(0)
    if os.access(path, os.R_OK):
        pytest.skip("root reads files without permission")


@pytest.mark.parametrize("make, message", [
    (os.mkfifo, "Read Error!"),
    (os.mkdir, "Read Error!"),
    (lambda path: path.symlink_to("/dev/null"), "Read Error!"),
    (lambda path: path.symlink_to("/dev/zero"), "Not a valid ORVEN file!"),
    (lambda path: path.symlink_to(path), 'file "bad.orvenevent" could not be opened!'),
    (make_unreadable, 'file "bad.orvenevent" could not be opened!'),
], ids=["pipe", "folder", "null", "zero", "loop", "unreadable"])
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
    if subprocess.run(["mount", "-t", "tmpfs", "-o", "size=64k", "none", disk],
                      capture_output=True, check=False).returncode != 0:
        pytest.skip("only root can mount a small disk")
    try:
        failure = vexolan("-x", 1000, "-o", "disk/out")
        assert vexolan("-x", 100, "-o", "disk/out") == ended(out=info(0, "disk/out"))
    finally:
        subprocess.run(["umount", disk], check=True)
    assert failure._replace(err="") == aborted("", out=info(0, "disk/out"))
    assert what(failure) == f'output file "disk/out" {NO_SPACE}'


@pytest.mark.skipif(memory("MemAvailable") < 5 * 2**30, reason="needs an image of 4 GiB")
def test_image_beyond_classic_tiff_is_warned_of_before_input_is_read(vexolan):
    arguments = ["-x", 32768, "--parallel", "false"]
    warned = warning('The output will need 4295229598 bytes, but "tiff_w4" files end at 4 GiB. '
                     'Use "tiff_w8"!')
    missing = thrown('file "missing.orvenevent" could not be opened!')
    unread = [*arguments, "-i", "missing.orvenevent", "-o", "out"]
    assert vexolan(*unread) == aborted(warned + missing)
    assert vexolan(*unread, "--fileFormat", "tiff_w8") == aborted(missing)
    full = vexolan(*arguments, "-o", "/dev/full")
    assert full.err.startswith(warned) and what(full) == f'output file "/dev/full" {NO_SPACE}'


def test_image_larger_than_memory_is_refused_at_once(vexolan):
    in_sum = 2 * (memory("MemTotal") + memory("SwapTotal")) // 2**20
    for pages in in_sum, 2**40:
        refused = vexolan("-t", 1, "-T", pages, "-x", 512, "-i", "missing.orvenevent", "-o", "out")
        assert refused == aborted(thrown("std::bad_alloc", "bad_alloc"))
