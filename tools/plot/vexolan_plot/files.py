"""The files of recordings, what vexolan-info says of them, and the file of the picture."""

import json
import os
import pathlib
import secrets
import shutil
import signal
import subprocess
import sys

EXTENSION = ".orvenevent"
EVENT_FILE_START = b"ORVEN\0\0\0"


class Failure(Exception):
    """What ends the program, as the user is told it."""


def ask_info(inputs, bounds):
    """What vexolan-info says of the inputs, as an object. `bounds` are its options."""
    beside = pathlib.Path(sys.argv[0]).resolve().with_name("vexolan-info")
    program = str(beside) if beside.exists() else shutil.which("vexolan-info")
    if program is None:
        raise Failure("vexolan-info is missing: it belongs beside this program, or into PATH")
    answer = subprocess.run([program, "--json", *bounds, "--", *inputs], stdout=subprocess.PIPE,
                            check=False)
    try:
        return json.loads(answer.stdout)
    except ValueError:
        if answer.returncode == 1:
            sys.exit(1)  # it has said why
        raise Failure(f"{program} gave no answer (status {answer.returncode})") from None


def printable(text):
    """The text with a question mark for all that has no picture, as it may be in names of files."""
    return "".join(c if c.isprintable() else "?" for c in text)


def default_picture(recording):
    """The path of the picture if nobody names one: beside the recording, and named after it."""
    folder, name = os.path.split(recording.rstrip("/"))
    if name in ("", ".", ".."):
        folder, name = "", os.path.basename(os.path.realpath(recording)) or "recording"
    return os.path.join(folder, name.removesuffix(EXTENSION) + "-plot.png")


def title_of(inputs):
    """The name of what is drawn, with few enough characters for one line."""
    longest = 70
    name = printable(pathlib.Path(inputs[0]).resolve().name)
    if len(name) > longest:
        name = name[: longest // 2] + "…" + name[-longest // 2 :]
    return name if len(inputs) == 1 else f"{name} and {len(inputs) - 1} more"


def check_output(path, inputs):
    """Throws: Failure if the picture cannot be put there, or would destroy a recording."""
    folder = pathlib.Path(os.path.realpath(path)).parent
    folder.mkdir(parents=True, exist_ok=True)
    if not os.access(folder, os.W_OK | os.X_OK):
        raise Failure(f'no file can be made in "{folder}"')
    if not os.path.exists(path):
        return
    if not os.path.isfile(path):
        raise Failure(f'"{path}" is no file that could be replaced')
    with open(path, "rb") as file:
        is_recording = file.read(len(EVENT_FILE_START)) == EVENT_FILE_START
    if is_recording or any(os.path.samefile(path, file) for file in existing_files(inputs)):
        raise Failure(f'"{path}" is a recording: it is not overwritten')


def existing_files(inputs):
    for path in map(pathlib.Path, inputs):
        files = path.iterdir() if path.is_dir() else [path]
        yield from (file for file in files if file.is_file())


def write(path, content):
    """The path holds the old file or the whole new one."""
    target = pathlib.Path(os.path.realpath(path))
    unfinished = target.with_name(f"vexolan-unfinished-{secrets.token_hex(8)}")
    signal.pthread_sigmask(signal.SIG_BLOCK, {signal.SIGINT, signal.SIGTERM, signal.SIGHUP})
    try:
        with open(unfinished, "xb") as file:
            if target.exists():
                os.fchmod(file.fileno(), target.stat().st_mode & 0o777)
            file.write(content)
        unfinished.replace(target)
    except OSError as error:
        unfinished.unlink(missing_ok=True)
        raise Failure(f"{path}: {error.strerror}") from None
    finally:
        signal.pthread_sigmask(signal.SIG_SETMASK, ())
