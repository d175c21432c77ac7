"""The bytes of the output file, where it is written, and what happens when it cannot be."""

import re
import struct

import pytest
import tifffile

from program import aborted, ended, info, thrown, warning, what
from recording import PIXEL, TICK, Event

STRIP_OFFSETS, STRIP_BYTE_COUNTS = 273, 279
# ImageWidth and ImageLength (256, 257) belong here as well, and differ from image to image.
TAGS = {258: 32, 259: 1, 262: 1, 274: 1, 277: 1, 278: 1, 284: 1, 339: 1}


FORMATS = [None, "tiff_w4", "tiff_w8"]


@pytest.mark.parametrize("width, height, pages, fmt", [
    (*size, pages, FORMATS[(i + k) % 3])
    for i, size in enumerate([(5, 3), (1, 4), (4, 1), (512, 256)])
    for k, pages in enumerate([None, 1, 5])])
def test_every_page_has_the_same_tags_and_a_strip_per_row(vexolan, width, height, pages, fmt):
    # One pixel, in the last column of the last row, counts 1 on page 0, 2 on page 1, ...
    corner = [256 * PIXEL * (size - 1) // size + 1 for size in (height, width)]
    rows = [Event(*(corner if pages else corner[::-1]), page) for page in range(pages or 1)
            for _ in range(page + 1)]
    name = vexolan.record("a", rows)
    vexolan.put("out", b"old" * 1_000_000)
    assert vexolan("-i", name, "-x", width, "-y", height, "-o", "out",
                   *(["-t", TICK, "-T", pages] if pages else []),
                   *(["--fileFormat", fmt] if fmt else [])) == ended(out=info(0))
    content = vexolan.bytes()
    assert b"oldold" not in content
    assert content[:4] == (b"II\x2b\0" if fmt == "tiff_w8" else b"II\x2a\0")
    strips = []
    with tifffile.TiffFile(vexolan.folder / "out") as tiff:
        assert len(tiff.pages) == (pages or 1)
        for number, page in enumerate(tiff.pages):
            tags = {code: page.tags[code].value for code in page.tags.keys()}
            del tags[STRIP_OFFSETS], tags[STRIP_BYTE_COUNTS]
            assert tags == TAGS | {256: width, 257: height}
            assert list(page.databytecounts) == [width * 4] * height
            counts = (struct.unpack_from(f"<{width}I", content, at) for at in page.dataoffsets)
            last = (0,) * (width - 1) + (number + 1,)
            assert list(counts) == [(0,) * width] * (height - 1) + [last]
            strips += page.dataoffsets
    assert len(set(strips)) == len(strips)


def test_no_time_bins_give_a_file_without_pages(vexolan):
    assert vexolan("-t", 1, "-T", "0x10", "-x", 2, "-o", "out") == ended(
        out=info(0), err=warning("The image will have no pages!"))
    assert struct.unpack("<2sHI", vexolan.bytes()[:8]) == (b"II", 42, 0)


@pytest.mark.parametrize("fmt", ["TIFF_W4", "tiff", "tiff_w8 ", "w4", ""])
def test_format_name_is_examined_after_all_input(vexolan, fmt):
    name = vexolan.record("a", [Event()], [0, 1, 2])
    arguments = ["--fileFormat", fmt, "-E", "reference", "--parallel", "false", "-o", "new/out"]
    assert vexolan(*arguments, "-i", name) == aborted(
        thrown(f"Invalid file format: {fmt}"), out=info(2, "new/out"))
    assert vexolan(*arguments, "-i", f"{name},missing.orvenevent") == aborted(
        thrown('file "missing.orvenevent" could not be opened!'))
    assert not vexolan.exists("new")


@pytest.mark.parametrize("path", ["image.TIFF.png", "a/b/out", "a//b/c.d/out", "{folder}/x/out",
                                  "kept/name with blank", "-o"])
def test_output_path_is_used_as_given(vexolan, path):
    path = path.format(folder=vexolan.folder)
    vexolan.put("kept/file", "text")
    assert vexolan("-o", "first", "-x", 2, "-o", path) == ended(out=info(0, path))
    assert vexolan.pages(path).shape == (1, 2, 2)
    assert not vexolan.exists("first")


def test_folder_that_cannot_be_made_ends_the_process(vexolan):
    vexolan.put("file", "text")
    failure = vexolan("-o", "file/sub/out")
    assert failure == aborted(
        warning('output file "file/sub/out" lies below something that is no folder!')
        + thrown(what(failure), "filesystem::__cxx11::filesystem_error"),
        out=info(0, "file/sub/out"))
    assert re.fullmatch(r"filesystem error: .+ \[file/sub\]", what(failure))


@pytest.mark.parametrize("path", ["", "folder", "new/", "/dev/full"])
def test_output_that_cannot_be_opened_or_written_is_an_error(vexolan, path):
    (vexolan.folder / "folder").mkdir()
    failure = vexolan("-x", 3, "-o", path)
    assert failure._replace(err="") == aborted("", out=info(0, path))
    assert path in what(failure) and "\n" not in what(failure)
    assert not [file for file in vexolan.folder.rglob("*") if file.is_file()]


@pytest.mark.parametrize("arguments", ["", "-t 1 -T 3", "--fileFormat tiff_w8"])
def test_full_disk_never_passes_for_success(vexolan, arguments):
    arguments = ["-x", 12, *arguments.split(), "-o", "sub/out"]
    assert vexolan(*arguments).status == 0
    whole = vexolan.bytes("sub/out")
    for largest in [*range(97, len(whole), 97), *range(len(whole) - 8, len(whole))]:
        failure = vexolan(*arguments, largest_file=largest)
        assert failure._replace(err="") == aborted("", out=info(0, "sub/out")), largest
        assert "sub/out" in what(failure), largest
    assert vexolan(*arguments, largest_file=len(whole)).status == 0
    assert vexolan.bytes("sub/out") == whole
