import os
import pathlib
import resource
import shlex
import sys

import pytest

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "blackbox"))

import program  # noqa: E402

# As root in a container; a job that has failed ends without a second to wait.
os.environ |= {"OMPI_ALLOW_RUN_AS_ROOT": "1", "OMPI_ALLOW_RUN_AS_ROOT_CONFIRM": "1",
               "OMPI_MCA_odls_base_sigkill_timeout": "0"}


def pytest_sessionstart():
    resource.setrlimit(resource.RLIMIT_CORE, (0, 0))  # many runs abort on purpose


@pytest.fixture
def vexolan(tmp_path):
    """The built program in an empty folder."""
    return program.Program(tmp_path)


@pytest.fixture
def on_ranks(tmp_path):
    """Makes the program on so many ranks, in the same folder. What some of them meet is given by
    rank: see faults.c."""
    def make(number, faults=None, built="VEXOLAN_MPI"):
        cases = (f"{rank}) export {variables(**fault)};;" for rank, fault in (faults or {}).items())
        script = f'case $OMPI_COMM_WORLD_RANK in {" ".join(cases)} esac; exec "$@"'
        mpirun = (os.environ["VEXOLAN_MPIRUN"], "--quiet", "--oversubscribe", "-n", str(number))
        return program.Program(tmp_path, (*mpirun, "sh", "-c", script, "sh", os.environ[built]))
    return make


def variables(call="none", first=1, last=10**18, **settings):
    settings = {"call": call, "first": first, "last": last, "calls": "/dev/null", **settings}
    faults = {f"FAULT_{name.upper()}": value for name, value in settings.items()}
    faults["LD_PRELOAD"] = os.environ["VEXOLAN_FAULTS"]
    return " ".join(f"{name}={shlex.quote(str(value))}" for name, value in faults.items())
