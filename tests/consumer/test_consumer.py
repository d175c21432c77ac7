"""Others find the installed event library and read recordings with it."""

import os
import pathlib
import subprocess
import sys

import pytest

HERE = pathlib.Path(__file__).resolve().parent
sys.path.insert(0, str(HERE.parent / "blackbox"))

import recording  # noqa: E402

CXX = os.environ["CXX"]


def run(*command, **environment):
    done = subprocess.run([str(part) for part in command], env={**os.environ, **environment},
                          capture_output=True, text=True, timeout=120, check=False)
    assert done.returncode == 0, done.stdout + done.stderr
    return done.stdout


def by_cmake(installed, folder):
    run("cmake", "-G", "Ninja", "-S", HERE, "-B", folder, f"-DCMAKE_PREFIX_PATH={installed}")
    run("cmake", "--build", folder)


def by_pkg_config(installed, folder):
    flags = run("pkg-config", "--cflags", "--libs", "orven >= 1.0",
                PKG_CONFIG_PATH=str(installed / "share/pkgconfig"))
    run(CXX, "-std=c++20", HERE / "count_events.cpp", "-o", folder / "count_events",
        *flags.split())


@pytest.mark.parametrize("build", [by_cmake, by_pkg_config])
def test_installed_library_reads_a_recording(tmp_path, build):
    run("cmake", "--install", os.environ["VEXOLAN_BUILD"], "--component", "development",
        "--prefix", tmp_path / "installed")
    (tmp_path / "installed").rename(tmp_path / "moved")  # nothing in it depends on its place
    build(tmp_path / "moved", tmp_path)
    file = tmp_path / "a.orvenevent"
    file.write_bytes(recording.recording([recording.Event()] * 3))
    assert run(tmp_path / "count_events", file) == "3\n"
