import os
import resource

import pytest

import program


def pytest_sessionstart():
    if not os.access(program.VEXOLAN, os.X_OK):
        pytest.exit(f"no program at {program.VEXOLAN}: build it or set VEXOLAN", returncode=2)
    # Many tests end in an abort on purpose, and none of them should leave a core file.
    resource.setrlimit(resource.RLIMIT_CORE, (0, 0))


@pytest.fixture
def vexolan(tmp_path):
    """The built program in an empty folder."""
    return program.Program(tmp_path)
