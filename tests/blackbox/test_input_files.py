"""Which files a run reads, and in which order."""

import os

import pytest

from program import aborted, ended, error, info, thrown, warning
from recording import PIXEL, TICK, Event

PAST_THE_END = ("basic_string::substr: __pos (which is 18446744073709551615) > "
                "this->size() (which is {})")


def ignoring(item):
    return warning(f'Input file must be a .orvenevent file! Ignoring "{item}"')


def unopened(name):
    return error(f'file "{name}" could not be opened!')


@pytest.mark.parametrize("items, taken, ignored", [
    ([" \t\n\r\f\va.orvenevent,\n b.orvenevent"], ["a.orvenevent", "b.orvenevent"], []),
    (["a.orvenevent ,b.orvenevent"], ["b.orvenevent"], ["a.orvenevent "]),
    (["a.orvenevent,,b.orvenevent, ,c.t"], ["a.orvenevent", "b.orvenevent"], ["", "", "c.t"]),
    (["a.orvenevent", "a.orvenevent"], ["a.orvenevent"] * 2, []),
    ([".orvenevent", "in the/.orvenevent"], [".orvenevent", "in the/.orvenevent"], []),
    (["a.ORVENEVENT,orvenevent,a.orvenevent.b"], [],
     ["a.ORVENEVENT", "orvenevent", "a.orvenevent.b"]),
])
def test_comma_separated_items_are_taken_by_extension(vexolan, items, taken, ignored):
    status, out, err = vexolan(*(part for item in items for part in ("-i", item)), "-o", "out")
    lines = err.splitlines(keepends=True)
    assert (status, out, lines[:len(ignored)]) == (0, info(0), [*map(ignoring, ignored)])
    assert sorted(lines[len(ignored):]) == sorted(map(unopened, taken))


@pytest.mark.parametrize("text, ignored", [
    ("", []), ("a.orvenevent,", []), ("a.orvenevent, \t", []), (",", [""]), ("b,", ["b"])])
def test_list_without_a_last_item_is_fatal(vexolan, text, ignored):
    end = thrown(PAST_THE_END.format(len(text)), "out_of_range")
    assert vexolan("-i", text, "-h") == aborted("".join(map(ignoring, ignored)) + end)


def test_inputs_are_processed_in_collection_order(vexolan):
    for column, name in enumerate(["z", "folder/y", "x", "w"]):
        vexolan.record(name, [Event(y=column * PIXEL)], [0, 1])
    vexolan.put("list", "x.orvenevent\nz.orvenevent")
    assert vexolan("-i", "w.orvenevent,z.orvenevent", "--inputListFile", "list", "-I", "folder/",
                   "-i", "w.orvenevent", "-x", 256, "-t", TICK, "-T", 9, "-E", "frameSync",
                   "-o", "out") == ended(out=info(6))
    assert vexolan.image() == {(k, 0, column): 1 for k, column in enumerate([3, 0, 2, 0, 1, 3])}


@pytest.mark.parametrize("argument", ["data", "./data//", "link"])
def test_folder_gives_its_regular_event_files(vexolan, argument):
    taken = ["run1", "run 2", "a.b", ".hidden"]
    for column, name in enumerate([*taken, "", "sub/b", "folder.orvenevent/c", "target"]):
        vexolan.record(f"data/{name}", [Event(x=column * PIXEL)])
    data = vexolan.folder / "data"
    (data / "target.orvenevent").rename(vexolan.folder / "target")
    for name in "a.ORVENEVENT", "a.orvenevent.bak", "orvenevent":
        (data / name).symlink_to("run1.orvenevent")
    for name, target in (("linked", "../target"), ("broken", "../missing"), ("inner", "sub"),
                         ("loop", "loop.orvenevent")):
        (data / f"{name}.orvenevent").symlink_to(target)
    os.mkfifo(data / "pipe.orvenevent")
    (vexolan.folder / "link").symlink_to("data")
    # What cannot be examined is not passed over in silence.
    assert vexolan("-I", argument, "-x", 256, "-o", "out") == ended(
        out=info(0), err=unopened(os.path.join(argument, "loop.orvenevent")))
    assert vexolan.image() == {(0, 0, column): 1 for column in [0, 1, 2, 3, 7]}


def test_unreadable_folder_ends_the_process(vexolan):
    vexolan.put("file", "")
    for path, reason in ("missing", "No such file or directory"), ("file", "Not a directory"):
        message = f"filesystem error: directory iterator cannot open directory: {reason} [{path}]"
        kind = "filesystem::__cxx11::filesystem_error"
        assert vexolan("-I", path, "-o", "out") == aborted(thrown(message, kind))


@pytest.mark.parametrize("text, names", [
    ("", []),
    ("one\n\ntwo", ["one", "", "two"]),
    ("one\r\n a,b.orvenevent \n\n", ["one\r", " a,b.orvenevent ", ""]),
    (4096 * "a" + "\n" + 4096 * "b", [4096 * "a", 4096 * "b"]),
])
def test_list_file_lines_are_taken_unchanged(vexolan, text, names):
    vexolan.put("list", text)
    status, out, err = vexolan("--inputListFile", "list", "-o", "out")
    assert (status, out) == (0, info(0))
    assert sorted(err.split("\n")) == sorted("".join(map(unopened, names)).split("\n"))
    for name in names[:1]:
        assert vexolan("--inputListFile", "list", "--parallel", "false", "-o", "out") == aborted(
            thrown(f'file "{name}" could not be opened!'))


@pytest.mark.parametrize("text", ["a\n" + 4097 * "b" + "\nc", None], ids=["long", "endless"])
def test_list_file_line_that_is_longer_than_any_path_is_refused(vexolan, text):
    path = "/dev/zero" if text is None else vexolan.put("list", text)
    assert vexolan("--inputListFile", path, "-o", "out") == aborted(
        thrown(f'input list file "{path}" has a line that is too long for a path!'))
