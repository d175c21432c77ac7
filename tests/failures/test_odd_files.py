"""Files, disks and images of a kind or size that no run should meet, and some that runs must stand."""

import fcntl
import os
import re
import resource
import signal
import struct
import subprocess
import sys

import pytest

import program
from program import aborted, ended, error, info, no_memory, thrown, warning, what
from recording import Event, block, build, container, events

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
    (lambda path: path.symlink_to("/dev/zero"),
     "Block size is indicated as 0 but only -16 bytes are left in the file!"),
    (lambda path: path.symlink_to(path), UNOPENED),
    (make_unreadable, UNOPENED),
], ids=["pipe", "null", "zero", "loop", "unreadable"])
def test_input_that_is_no_readable_file_is_an_error_of_that_file(vexolan, make, message):
    make(vexolan.folder / "bad.orvenevent")
    arguments = ["-x", 1, "-o", "out", "-i", f"bad.orvenevent,{vexolan.record('a', [Event()])}"]
    assert vexolan(*arguments, "--parallel", "false") == aborted(thrown(message))
    assert vexolan(*arguments) == ended(out=info(0), err=error(message))
    assert vexolan.image() == {(0, 0, 0): 1}


@pytest.mark.parametrize("path", ["file/out", "loop"])
def test_output_that_is_no_writable_file_is_an_error(vexolan, path):
    vexolan.put("file", "text")
    (vexolan.folder / "loop").symlink_to("loop")
    failure = vexolan("-x", 3, "-o", path)
    assert failure._replace(err="") == aborted("", out=info(0, path))
    assert path.partition("/out")[0] in what(failure)


def test_disk_that_fills_up_is_an_error(vexolan):
    disk = vexolan.folder / "disk"
    disk.mkdir()
    mount = ["mount", "-t", "tmpfs", "-o", "size=64k", "none", disk]
    if subprocess.run(mount, capture_output=True, timeout=60, check=False).returncode != 0:
        pytest.skip("only root can mount a small disk")
    (vexolan.folder / "link").symlink_to("disk/out")
    try:
        new = os.statvfs(disk).f_bfree, vexolan("-x", 1000, "-o", "link")
        assert vexolan("-x", 100, "-o", "disk/out") == ended(out=info(0, "disk/out"))
        old = os.statvfs(disk).f_bfree, vexolan("-x", 1000, "-o", "link")
    finally:
        subprocess.run(["umount", disk], check=True, timeout=60)
    assert vexolan("-x", 1000, "-o", "out").status == 0
    for n_free, failure in new, old:
        assert failure._replace(err="") == aborted("", out=info(0, "link"))
        assert failure.err.startswith(warning(
            f'output file "link" needs {len(vexolan.bytes())} bytes, but its disk has '
            f'{n_free * resource.getpagesize()}!'))
        assert what(failure) == 'output file "link" could not be written (No space left on device)!'


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


@pytest.mark.parametrize("meminfo, fits", [
    ("MemAvailable: 1024 kB\n", True),
    ("MemTotal: 9999999 kB\nMemFree: 9999999 kB\nMemAvailable: 1023 kB\n", False),
    ("MemAvailable: 1000 kB\nHugePages_Total: 9\nSwapFree: 24 kB\n", True),
    ("MemAvailable: 1000 kB\nSwapTotal: 99 kB\nSwapFree: 23 kB\n", False),
    ("MemTotal: 1 kB\nSwapFree: 1 kB\n", True),  # the machine does not tell
])
def test_image_that_memory_cannot_hold_is_refused_before_input_is_read(
        vexolan, faults, meminfo, fits):
    faults(meminfo=vexolan.put("meminfo", meminfo))
    failure = vexolan("-x", 512, "--parallel", "false", "-i", "missing.orvenevent", "-o", "out")
    end = thrown('file "missing.orvenevent" could not be opened!')
    if not fits:
        available = 1024 * sum(map(int, re.findall(r"(?:MemA|SwapF)\D+(\d+)", meminfo)))
        end = no_memory(1048576, available)
    assert failure == aborted(end)


@pytest.mark.parametrize("parallel", ["true", "false"])
def test_file_that_another_program_holds_a_lease_on_is_waited_for(vexolan, parallel):
    name = vexolan.record("a", [Event()])
    with open(vexolan.folder / name, "r+b") as file:
        def give_back(*_):
            fcntl.fcntl(file, fcntl.F_SETLEASE, fcntl.F_UNLCK)
        before = signal.signal(signal.SIGIO, give_back)
        fcntl.fcntl(file, fcntl.F_SETLEASE, fcntl.F_WRLCK)
        outcome = vexolan("-i", name, "-x", 1, "-o", "out", "--parallel", parallel)
        signal.signal(signal.SIGIO, before)
    assert outcome == ended(out=info(0))
    assert vexolan.image() == {(0, 0, 0): 1}


def test_files_that_are_done_or_failed_are_closed(vexolan):
    names = [vexolan.record("good", [Event()]), vexolan.put("bad.orvenevent", "ORVEN"),
             "pipe.orvenevent", "missing.orvenevent"]
    os.mkfifo(vexolan.folder / "pipe.orvenevent")
    most, limit = resource.getrlimit(resource.RLIMIT_NOFILE)
    resource.setrlimit(resource.RLIMIT_NOFILE, (100, limit))
    outcome = vexolan("-i", ",".join(names * 100), "-x", 1, "-o", "out")
    resource.setrlimit(resource.RLIMIT_NOFILE, (most, limit))
    assert sorted(outcome.err.splitlines(True)) == sorted(
        100 * [error("Read Error!"), error("Read Error!"),
               error('file "missing.orvenevent" could not be opened!')])
    assert vexolan.image() == {(0, 0, 0): 100}


def measure_memory(monkeypatch, folder):
    """Lets runs write their peak memory in KiB into the file "peak"."""
    script = folder / "measured"
    script.write_text(f"""#!{sys.executable}
import os, sys
child = os.spawnv(os.P_NOWAIT, {program.VEXOLAN!r}, sys.argv)
_, status, usage = os.wait4(child, 0)
open("peak", "w").write(str(usage.ru_maxrss))
sys.exit(status)
""")
    script.chmod(0o700)
    monkeypatch.setattr(program, "VEXOLAN", str(script))


@pytest.mark.parametrize("first", [0, 7], ids=["ascending", "unsorted"])
def test_memory_does_not_grow_with_the_number_of_triggers(vexolan, monkeypatch, first):
    n = 200_000_000  # all 0 but the first and the last: a file of a few KiB on disk
    rows = events(*(Event(time=time) for time in (-5, 50, 99, 100)))
    start = container(build(), rows, block(b"extTrigs", size=8 * n), size=32 + len(rows) + 16 + 8 * n)
    with open(vexolan.folder / "a.orvenevent", "wb") as file:
        file.write(start + struct.pack("<q", first))
        file.seek(len(start) + 8 * (n - 1))
        file.write(struct.pack("<q", 100))
    measure_memory(monkeypatch, vexolan.folder)
    outcome = vexolan("-i", "a.orvenevent", "-E", "reference", "-x", 1, "-o", "out")
    assert outcome == ended(out=info(n - 1))
    assert vexolan.image() == {(0, 0, 0): 3}
    assert int(vexolan.bytes("peak")) < 64 * 1024
