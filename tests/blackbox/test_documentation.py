"""Manual pages and completions name the options that the programs have, and no others; and figures
are those that were measured."""

import itertools
import json
import pathlib
import re
import subprocess
from typing import NamedTuple

import pytest

import program
import recording
from program import ended, info
from test_command_line import LONG_OPTIONS
from test_settings_file import TYPES

ROOT = pathlib.Path(__file__).resolve().parents[2]
UNDOCUMENTED = "--verbose"


class Option(NamedTuple):
    names: frozenset
    takes_value: bool


def option(text):
    """The option of a line such as "-o, --option VALUE", with or without emphasis."""
    words = re.sub("[*,]", " ", text).split()
    names = frozenset(word for word in words if word.startswith("-"))
    return Option(names, len(names) < len(words))


def in_vexolan():
    source = (ROOT / "src/settings/Parameters.cpp").read_text()
    table = re.findall(r"""\{"(\w+)", (\w+)_argument, nullptr, (?:0|'(\w)')\}""", source)
    assert {name for name, *_ in table} == set(LONG_OPTIONS)
    return {Option(frozenset([f"--{name}"] + [f"-{letter}"] * bool(letter)), argument != "no")
            for name, argument, letter in table if f"--{name}" != UNDOCUMENTED}


def in_help(name):
    if name == "vexolan":
        return in_vexolan()
    binary = pathlib.Path(program.VEXOLAN).with_name(name)
    text = subprocess.run([binary, "--help"], capture_output=True, text=True, timeout=60,
                          check=True).stdout
    return {option(line) for line in re.findall(r"^ {2,6}(-\S.*?)(?:  .*)?$", text, re.MULTILINE)}


def manual(page):
    return (ROOT / "man" / f"{page}.md").read_text()


def in_manual(name):
    section = re.search(r"^# OPTIONS\n(.*?)^# ", manual(f"{name}.1"), re.MULTILINE | re.DOTALL)[1]
    return {option(term) for term in re.findall(r"^(\*\*-.*)\n:   ", section, re.MULTILINE)}


def in_zsh(name):
    text = (ROOT / f"completions/zsh/_{name}").read_text()
    heads = re.findall(r"^    '(?:\([^)]*\))?(\S*-\w[^[]*)\[", text, re.MULTILINE)
    return {Option(frozenset(re.findall(r"--?\w[\w-]*", head)), "+" in head or "=" in head)
            for head in heads}


def in_fish(name):
    found = set()
    text = (ROOT / f"completions/fish/{name}.fish").read_text()
    for line in re.findall("^complete .*", text, re.MULTILINE):
        letters, names = re.findall(r" -s (\w)", line), re.findall(r" -l ([\w-]+)", line)
        if letters or names:
            found.add(Option(frozenset([f"-{letter}" for letter in letters]
                                       + [f"--{long_name}" for long_name in names]),
                             re.search(r" -[rx]", line) is not None))
    return found


def in_bash(name):
    """All names, and the names of options that take a value."""
    text = (ROOT / f"completions/bash/{name}").read_text()
    labels = re.findall(r"^ +((?:-[\w-]+[ |\\\n]*)+)\)", text, re.MULTILINE)
    return (set(re.search("local options='([^']*)'", text)[1].split()),
            set(re.findall(r"-[\w-]+", " ".join(labels))))


@pytest.mark.parametrize("name", ["vexolan", "vexolan-simulate", "vexolan-info", "vexolan-plot"])
def test_options_are_those_of_the_program(name):
    options = in_help(name)
    assert in_manual(name) == options
    assert in_zsh(name) == options
    assert in_fish(name) == options
    assert in_bash(name) == ({each for names, _ in options for each in names},
                             {each for names, takes_value in options if takes_value
                              for each in names})


def test_manuals_mention_no_other_options():
    pages = {path.name: path.read_text() for path in (ROOT / "man").glob("*.md")}
    known = {each for page in pages if page.endswith(".1.md")
             for names, _ in in_manual(page.removesuffix(".1.md")) for each in names}
    for page, text in pages.items():
        text = re.sub(r"^mpirun .*(?= vexolan-mpi)", "", text, flags=re.MULTILINE)
        assert set(re.findall(r"(?<![\w-])--\w[\w-]*", text)) <= known, page


def test_manual_lists_the_keys_of_the_settings_file():
    section = re.search("^# SETTINGS FILE\n(.*?)^# ", manual("vexolan.1"),
                        re.MULTILINE | re.DOTALL)[1]
    rows = re.findall(r"^\| (\w+) ", section, re.MULTILINE)
    assert rows == ["key", *TYPES]


def fields(value, path=""):
    """The paths of all members of objects, those of lists without their numbers."""
    if isinstance(value, dict):
        for key, member in value.items():
            if not re.fullmatch(r"[\d.]+", key):  # a number is no name
                yield f"{path}{key}"
                yield from fields(member, f"{path}{key}.")
    elif isinstance(value, list):
        for member in value:
            yield from fields(member, path.removesuffix(".") + "[].")


def described(heading):
    """The names in the first cells of the table below this heading, and of what they are in."""
    text = (ROOT / "docs/json.md").read_text().split(f"# {heading}\n")[1].split("\n#")[0]
    names = re.findall(r"`([^`]+)`", " ".join(re.findall(r"^\| (`.*?) \|", text, re.MULTILINE)))
    return set(names) | {parent.removesuffix("[]") for name in names for parent in
                         itertools.accumulate(name.split(".")[:-1], "{}.{}".format)}


def test_every_field_of_json_is_described(vexolan):
    subprocess.run([pathlib.Path(program.VEXOLAN).with_name("vexolan-simulate"), "-o",
                    vexolan.folder, "-n", "500k", "--triggers"], check=True, timeout=60)
    vexolan.record("hot", 1000 * [recording.Event()], [0, 5])
    vexolan.put("faulty.orvenevent", "ORVEN")
    told = json.loads(subprocess.run(
        [pathlib.Path(program.VEXOLAN).with_name("vexolan-info"), "--json", vexolan.folder],
        capture_output=True, timeout=60, check=False).stdout)
    summary = set(fields(told["total"].pop("summary")))
    for file in told["inputs"]:
        assert set(fields(file.pop("summary", {}))) <= summary
    assert summary == described("A summary")
    assert set(fields(told)) | {"inputs[].summary", "total.summary"} == described(
        "vexolan-info --json")

    vexolan("-I", ".", "-p", 0, "-P", 1, "-E", "reference", "-t", 0.001, "-T", 10, "--region",
            "0,0,128,128", "--timeStart", 0.001, "--upright", "true", "-o", "o.tif", "--report",
            "report.json")
    assert set(fields(json.loads(vexolan.bytes("report.json")))) == described("The report of a run")


def hexdump(data):
    for start in range(0, len(data), 16):
        row = data[start:start + 16]
        text = "".join(chr(byte) if 32 <= byte < 127 else "." for byte in row)
        yield f"{start:08x}  {row[:8].hex(' ')}  {row[8:].hex(' ')}  |{text}|\n"


def test_bytes_in_the_manual_are_a_recording(vexolan):
    event = recording.Event(int(128.5 * recording.PIXEL), int(64.25 * recording.PIXEL),
                            time=640_000, photons=17, psd=0.625)
    data = recording.recording([event], [0, 6_400_000])
    assert "```\n" + "".join(hexdump(data)) + "```\n" in manual("orvenevent.5")
    vexolan.put("a.orvenevent", data)
    assert vexolan("-i", "a.orvenevent", "-E", "frameSync", "-t", 0.01, "-T", 1, "-x", 256, "-o",
                   "out") == ended(out=info(1))
    assert vexolan.image() == {(0, 128, 64): 1}


def test_figures_of_the_readme_are_those_of_the_table_of_measurements():
    table = (ROOT / "docs/performance.md").read_text()
    rows = [line.strip("| ").split(" | ") for line in table.splitlines() if line.startswith("| ")]
    measured = {cells[-6]: cells[-5:] for cells in rows if len(cells) > 5}
    expected = []
    for run in "vexolan", "numpy bincount", "numpy histogram2d":
        ms, _, _, faster, peak = measured[run]
        expected.append((f"{int(ms) / 1000:.2g}", faster.split(" ")[0], peak.split(" ")[0]))
    shown = re.findall(r"^\| (?:vexolan|numpy\b[^|]*) \| ([\d.]+) s(?:: (\d+) times as long)? \| "
                       r"(\d+) MiB", (ROOT / "README.md").read_text(), re.MULTILINE)
    assert shown == expected
