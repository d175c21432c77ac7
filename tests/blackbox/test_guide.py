"""What the documentation shows to be typed does what it says."""

import pathlib
import re
import subprocess
import sys

import numpy
import pytest
import tifffile

import program

PROJECT = pathlib.Path(__file__).parents[2]


def run_document(name, folder, *options):
    done = subprocess.run([sys.executable, PROJECT / "scripts/run_document.py",
                           PROJECT / "docs" / name, "--folder", folder,
                           "--programs", pathlib.Path(program.VEXOLAN).parent, *options],
                          capture_output=True, text=True, timeout=120, check=False)
    assert done.returncode == 0, done.stderr


def require_pictures(page, folder):
    """All that a page shows are made by it, and shown as they were made once."""
    for shown in re.findall(rf"\(pictures/{page}-(.*)\)", (PROJECT / f"docs/{page}.md").read_text()):
        assert (folder / shown).exists() and (PROJECT / f"docs/pictures/{page}-{shown}").exists()


def test_the_guide_makes_its_pictures(tmp_path):
    run_document("guide.md", tmp_path)
    require_pictures("guide", tmp_path)


def test_recipes_lose_no_event(tmp_path):
    run_document("recipes.md", tmp_path)
    for pattern in ("images/*.tif", "sequences/*.tif", "sum.tif", "pages/*.tif", "part_*.tif"):
        images = [tifffile.imread(path) for path in tmp_path.glob(pattern)]
        assert sum(int(image.sum()) for image in images) == 400_000, pattern
    assert tifffile.imread(tmp_path / "period.tif").sum() == 400_000


def test_what_is_shown_of_the_format_writes_what_it_reads(vexolan):
    text = (PROJECT / "docs/event-file-format.md").read_text()
    read, write = re.findall("^```python\n(.*?)^```$", text, re.MULTILINE | re.DOTALL)
    vexolan.put("both.py", f"{write}\nwritten = events, triggers\n{read}"
                "assert all((a == b).all() for a, b in zip(written, (events, triggers)))\n")
    subprocess.run([sys.executable, "both.py"], cwd=vexolan.folder, check=True, timeout=60)
    assert vexolan("-i", "run_000.orvenevent", "-E", "reference", "-t", 0.01, "-T", 1,
                   "-o", "out") == program.ended(program.info(10))
    assert vexolan.pages().sum() == 1000


def test_what_is_shown_of_the_output_runs(tmp_path):
    run_document("reading-the-output.md", tmp_path)
    spectrum = tifffile.imread(tmp_path / "sequence.tif").sum(axis=(1, 2))
    assert numpy.loadtxt(tmp_path / "spectra.txt")[:, 1].tolist() == spectrum.tolist()


@pytest.mark.parametrize("text, message", [
    ("```sh\necho a; echo b\n```\n```text\na\nb\n```\n", ""),
    ("```sh\necho a; echo b\n```\n```text\nb\na\n```\n", "not printed"),
    ("```sh\nfalse\n```\n", "status 1"),
    ("```python\nraise SystemExit(3)\n```\n", "status 3"),
])
def test_what_is_no_longer_true_is_noticed(tmp_path, text, message):
    (tmp_path / "a.md").write_text(text)
    if message:
        with pytest.raises(AssertionError, match=message):
            run_document(tmp_path / "a.md", tmp_path)
    else:
        run_document(tmp_path / "a.md", tmp_path)
