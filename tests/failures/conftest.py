import os
import pathlib
import resource
import sys

import pytest

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "blackbox"))

import program  # noqa: E402


def pytest_sessionstart():
    resource.setrlimit(resource.RLIMIT_CORE, (0, 0))  # many runs abort on purpose


@pytest.fixture
def vexolan(tmp_path):
    """The built program in an empty folder."""
    return program.Program(tmp_path)


@pytest.fixture
def faults(monkeypatch, tmp_path):
    """Sets what the program's next runs meet: see faults.c. `calls` receives how many calls the
    last run made."""
    monkeypatch.setenv("LD_PRELOAD", os.environ["VEXOLAN_FAULTS"])
    monkeypatch.setenv("FAULT_CALLS", str(tmp_path / "calls"))

    def inject(call="none", first=1, last=10**18, **settings):
        for name, value in {"call": call, "first": first, "last": last, **settings}.items():
            monkeypatch.setenv(f"FAULT_{name.upper()}", str(value))
    return inject
