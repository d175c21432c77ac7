"""Which cell counts an event."""

import re

import pytest

from program import aborted, assertion, ended, info, no_memory, thrown, what
from recording import PIXEL, TICK, Event

LOW, HIGH = -2**31, 2**31 - 1
FIRST, LAST = -2**63, 2**63 - 1
NAN, INF = float("nan"), float("inf")


def run(vexolan, files, **settings):
    """Records `files`, a list of (events, triggers or None), and images them."""
    names = [vexolan.record(str(number), *file) for number, file in enumerate(files)]
    options = [f"--{name}={value}" for name, value in settings.items()]
    return vexolan("-x", 256, *options, "-i", ",".join(names), "-o", "out")


@pytest.mark.parametrize("x, y, size_x, size_y, flat, timed", [
    (65535, 65536, 256, 256, (1, 0), (0, 1)),
    (-65535, -1, 256, 256, (0, 0), (0, 0)),
    (-65536, 0, 256, 256, None, None),
    (0, -65536, 256, 256, None, None),
    (256 * PIXEL - 1, 0, 256, 256, (0, 255), (255, 0)),
    (256 * PIXEL, 0, 256, 256, None, None),
    (0, 256 * PIXEL, 256, 256, None, None),
    (LOW, HIGH, 1, 1, None, None),
    (200 * PIXEL, 100 * PIXEL, 512, 128, (50, 400), (100, 200)),
    (-PIXEL, 0, 512, 128, None, (0, 0)),  # half a row pixel, two column pixels below the edge
    (16777215, 0, 3, 1, None, (0, 0)),  # three columns end one unit short of the detector
    (599185, 599186, 28, 28, (1, 0), (0, 1)),  # 599186.29 units
    (762600, 762601, 22, 22, (1, 0), (0, 1)),  # 762600.7 units
])
def test_position_selects_the_cell(vexolan, x, y, size_x, size_y, flat, timed):
    for bins, cell in ({}, flat), ({"time_res_s": 1, "time_limit": 1}, timed):
        files = [([Event(x, y)], None)]
        assert run(vexolan, files, size_x=size_x, size_y=size_y, **bins) == ended(out=info(0))
        assert vexolan.image() == ({(0, *cell): 1} if cell else {})


@pytest.mark.parametrize("size, width", [(1000, 16777), (8192, 2048), (30011, 559), (77777, 216)])
def test_no_edge_of_a_wide_image_is_missed(vexolan, size, width):
    ends = [Event(x=x) for k in range(size) for x in (k * width, (k + 1) * width - 1)]
    assert run(vexolan, [(ends, None)], size_x=size, size_y=1) == ended(out=info(0))
    assert (vexolan.pages() == 2).all()


@pytest.mark.parametrize("mode, ticks, triggers, pages", [
    # {time of an event, in file order: its page, or None if it is dropped}
    ("ignore", 100, None, {-100: None, -99: 0, 99: 0, 100: 1, 399: 3, 400: None, LAST: None}),
    ("ignore", 0.512, [50], {-1: None, 0: 0, 1: 1, 3: 3, 4: None}),
    ("ignore", 2.5, None, {-3: None, -2: 0, 2: 0, 3: 1, 11: 3, 12: None}),
    ("reference", 100, [1000, 1300, 2000], {
        FIRST: None, 900: None, 901: 0, 1000: 0, 1299: 2, 1300: 0, 1699: 3, 1700: None,
        2000: None}),
    ("reference", 100, [0], {0: None}),
    ("reference", 100, [500, 100, 700], {50: None, 150: 0, 600: None, 800: None}),
    ("reference", 100, [LAST, LAST], {FIRST: 0, FIRST + 99: 1, FIRST + 399: None}),
    ("frameSync", 100, [1000, 2000, 2050, 2050, 3000], {
        999: None, 1000: 0, 1099: 0, 1100: None, 2000: 1, 2049: 1, 2050: 3, 2150: None,
        3000: None}),
    ("frameSync", 100, [0, 1, 2, 3, 4, 5], {0: 0, 1: 1, 3: 3, 4: None, 5: None}),
    ("frameSync", 100, [LAST, LAST], {FIRST: 0, FIRST + 98: 0, FIRST + 99: None}),
    # An event of a later interval holds back the earlier ones behind it.
    ("frameSync", 10, [10, 20, 30], {15: 0, 25: 1, 5: None, 12: None, 35: None, 8: None}),
])
def test_time_selects_the_page(vexolan, mode, ticks, triggers, pages):
    events = [Event(y=column * PIXEL, time=time) for column, time in enumerate(pages)]
    intervals = 0 if mode == "ignore" else len(triggers) - 1
    settings = {"time_extTrigger": mode, "time_res_s": ticks * TICK, "time_limit": 4}
    assert run(vexolan, [(events, triggers)], **settings) == ended(out=info(intervals))
    assert vexolan.image() == {(page, 0, column): 1 for column, page in enumerate(pages.values())
                               if page is not None}


def test_frames_are_numbered_across_files(vexolan):
    files = [([Event(time=t) for t in range(9)], triggers)
             for triggers in ([0, 1, 2, 3, 4], [4], [], [7, 8], [1, 2, 3])]
    for parallel in "true", "false":
        assert run(vexolan, files, time_extTrigger="frameSync", time_res_s=TICK, time_limit=6,
                   parallel=parallel) == ended(out=info(7))
        assert vexolan.image() == {(page, 0, 0): 1 for page in range(6)}


@pytest.mark.parametrize("bounds, kept", [
    ({}, "abcdefg"),
    ({"nPhotons_min": 2}, "cdefg"),
    ({"nPhotons_min": 1, "nPhotons_max": 2}, "bcd"),
    ({"nPhotons_min": 3, "nPhotons_max": 2}, ""),
    ({"nPhotons_min": -1}, "g"),
    ({"psd_min": 0.5}, "acfg"),
    ({"psd_max": 0.5}, "acde"),
    ({"psd_min": 0.6, "psd_max": 0.5}, ""),
    ({"psd_min": "-inf"}, "acdefg"),
    ({"psd_max": "inf"}, "acdefg"),
    ({"psd_min": "nan"}, ""),
    ({"psd_max": "nan"}, ""),
    ({"psd_min": 0, "psd_max": " 0x1p-1_"}, "acd"),
    ({"psd_min": 0.5, "nPhotons_min": 2, "nPhotons_max": 9}, "cf"),
])
def test_filter_bounds_are_inclusive(vexolan, bounds, kept):
    population = {"a": (0, 0.5), "b": (1, NAN), "c": (2, 0.5), "d": (2, -0.0), "e": (3, -1),
                  "f": (3, 0.75), "g": (2**64 - 1, INF)}
    events = [Event(x=ord(name) * PIXEL, photons=photons, psd=psd)
              for name, (photons, psd) in population.items()]
    assert run(vexolan, [(events, None)], **bounds) == ended(out=info(0))
    assert "".join(chr(column) for _, _, column in sorted(vexolan.image())) == kept


@pytest.mark.parametrize("arguments, end", [
    ("-T 3", assertion("!parameters.time_max_binNumber.has_value()")),
    ("-x 4294967296", thrown("Requested size exceeds limits!")),
    ("-t 1 -T -1", thrown("Requested size exceeds limits!")),
    ("-t 1 -x 3 -T 2049638230412172402", thrown("Requested size exceeds limits!")),
    *((arguments, thrown("cannot create std::vector larger than max_size()", "length_error"))
      for arguments in ("-t 1 -x 3 -T 2049638230412172401", "-t 1 -x 1 -T 2305843009213693952")),
    *((arguments, None) for arguments in (
        "-x 0", "-y 0", "-x 1 -y 33554433", "-t 1 -T 0 -x 33554433", "-t 1 -T 1 -y 0")),
    *((f"-t {time} -T 1", None) for time in (
        "0", "-0.0", "7.8e-10", "nan", "inf", "-inf", "-1", "-1e-300", "1e300", "1.5e10", "-1e10")),
])
def test_impossible_image_is_refused_before_any_input(vexolan, arguments, end):
    arguments = [*arguments.split(), "-i", "missing.orvenevent", "--parallel", "false", "-o", "out"]
    failure = vexolan(*arguments)
    assert failure == aborted(end or thrown(what(failure)))
    assert end or what(failure).endswith("!") and "missing.orvenevent" not in what(failure)


def test_image_larger_than_all_memory_is_refused_before_any_input(vexolan):
    failure = vexolan("-t", 1, "-x", 1, "-T", 2**61 - 1, "-i", "missing.orvenevent", "-o", "out",
                      "--parallel", "false")
    available = re.search(r"(\d+) can be had", failure.err)[1]
    assert failure == aborted(no_memory(2**63 - 4, available))
