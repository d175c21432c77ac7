"""What the module does besides: faults, interrupts, progress, bad arguments."""

import contextlib
import os
import signal
import warnings

import conftest
import numpy
import pytest
import vexolan

NO_TRIGGERS = ("External trigger data requested from data set recorded without external trigger "
               "enabled!")


@pytest.fixture
def faulty(run, recording):
    """The recording with a file that is cut off, and one without triggers."""
    whole = run.bytes("recording/1.orvenevent")
    run.put("recording/1.orvenevent", whole[:-1])
    vexolan.write_recording("recording/3.orvenevent", conftest.some_events(100))
    return recording.files


def test_faulty_files_are_left_out_with_a_warning(run, faulty, capfd):
    with pytest.warns(vexolan.RecordingWarning) as warned:
        recording = vexolan.open("recording")
    reason = recording.faults["recording/1.orvenevent"]
    assert reason.startswith("Block size is indicated as")
    assert [str(each.message) for each in warned] == [f'file "{faulty[1]}": {reason}']
    assert warned[0].filename == __file__
    assert [os.path.basename(path) for path in recording.files] == [
        "0.orvenevent", "2.orvenevent", "3.orvenevent"]
    with pytest.warns(vexolan.RecordingWarning, match=NO_TRIGGERS) as warned:
        pages = recording.pages(1e-5, 50, since="trigger", shape=(4, 4))
    assert len(warned) == 1 and warned[0].filename == __file__
    sound = vexolan.open([faulty[0], faulty[2]]).pages(1e-5, 50, since="trigger", shape=(4, 4))
    assert (pages.counts == sound.counts).all()
    with pytest.raises(vexolan.RecordingError) as raised:
        recording.frames(1e-4, 10, shape=(4, 4))
    assert raised.value.path == faulty[1]
    assert capfd.readouterr() == ("", "")


def test_strict_recordings_have_no_faults(run, faulty):
    with pytest.raises(vexolan.RecordingError) as raised:
        vexolan.open("recording", strict=True)
    assert raised.value.path == faulty[1] and raised.value.reason.startswith("Block size")
    recording = vexolan.open([faulty[0], "recording/3.orvenevent"], strict=True)
    with pytest.raises(vexolan.RecordingError) as raised:
        recording.image(since="trigger")
    assert (raised.value.path, raised.value.reason) == ("recording/3.orvenevent", NO_TRIGGERS)


def test_a_file_may_fail_while_it_is_read(run, recording):
    lenient = vexolan.open("recording")
    os.truncate(recording.files[2], 1000)
    with pytest.warns(vexolan.RecordingWarning, match="Read Error"):
        lenient.image()
    for kind in (recording.image, lambda: lenient.frames(1e-4, 10)):
        with pytest.raises(vexolan.RecordingError) as raised:
            kind()
        assert raised.value.path == recording.files[2]


@contextlib.contextmanager
def interrupted():
    """Ctrl-C comes at the third of signals that Python sees, one by one, only while it runs."""
    seen = []

    def count(*_):
        seen.append(None)
        if len(seen) == 3:
            signal.raise_signal(signal.SIGINT)

    before = signal.signal(signal.SIGALRM, count)
    signal.setitimer(signal.ITIMER_REAL, 0.02, 0.02)
    try:
        with pytest.raises(KeyboardInterrupt):
            yield
    finally:
        signal.setitimer(signal.ITIMER_REAL, 0)
        signal.signal(signal.SIGALRM, before)


@pytest.mark.parametrize("work", [
    lambda many, _: vexolan.open(many.files * 10),
    lambda many, _: many.image(),
    lambda many, _: many.pages(1e-5, 50, since="trigger", shape=(9, 9)),
    lambda many, _: many.frames(1e-4, 10**6, shape=(2, 2)),
    lambda many, _: many.survey(),
    lambda _, pages: pages.save("out"),
], ids=["open", "image", "pages", "frames", "survey", "save"])
def test_an_interrupt_ends_work_and_leaves_nothing(recording, work):
    many = vexolan.open(recording.files * 10000, strict=True)  # most are not kept open
    pages = recording.pages(1e-5, 10**6, shape=(2, 1))
    with interrupted():
        work(many, pages)
    assert len(os.listdir("/proc/self/task")) == 1 and os.listdir() == ["recording"]


class Bar:
    """Shows progress as tqdm does."""

    total = None
    done = 0

    def update(self, n):
        self.done += n


def test_progress_is_told_and_may_end_the_work(recording):
    bar = Bar()
    vexolan.open(recording.files * 10000, progress=bar)
    assert (bar.done, bar.total) == (30000, 30000)
    told = []
    recording.image(progress=lambda done, total: told.append((done, total)))
    assert told[-1] == (15000, 15000)
    with pytest.raises(ZeroDivisionError):
        recording.image(progress=lambda done, total: 1 // 0)


EVENTS = numpy.zeros(2, vexolan.event_dtype)
WIDE_EVENTS = numpy.full(2, -1, [(name, "i8") for name in vexolan.event_dtype.names])


@pytest.mark.parametrize("name, kind, values", [
    ("shape", ValueError, [(0, 1), (1, -1), (2**70, 1), (2**26, 1), (5,), range(10**18)]),
    ("shape", TypeError, [5, None, "ab", (1.5, 2), ("1", 2), {1, 2}]),
    ("photons", ValueError, [(6,), (-1, None), (None, 2**64), (5, 3)]),
    ("photons", TypeError, [6, (6.5, None), "ab"]),
    ("psd", ValueError, [(float("nan"), None), (0.5, 0.4), (10**400, None)]),
    ("psd", TypeError, [0.4, ("0.4", None), (1j, None)]),
    ("region", ValueError, [(0, 0, 0, 1), (0, 0, 1e9, 1), (0, 0, float("nan"), 1), (1, 2, 3)]),
    ("region", TypeError, [5, "abcd", (None, 0, 1, 1)]),
    ("since", ValueError, ["", "pulse"]),
    ("since", TypeError, [None, 0, b"start"]),
    ("bin", ValueError, [0, -1, 1e-12, float("nan"), float("inf"), 1e300]),
    ("bin", TypeError, [None, "1", [1]]),
    ("n", ValueError, [0, -1, 2**70]),
    ("n", TypeError, [None, 1.0, "1"]),
    ("start", ValueError, [float("nan"), float("-inf"), 8e9]),
    ("start", TypeError, ["0", []]),
    ("upright", TypeError, [None, 1, "true"]),
    ("progress", TypeError, [1, "tqdm"]),
])
def test_bad_settings_are_refused_by_name(recording, name, kind, values):
    for value in values:
        with pytest.raises(kind, match=f"^{name} "):
            recording.pages(**{"bin": 1e-3, "n": 2, "shape": (2, 2), name: value})


def read_events_of_impossible_size():
    with open("recording/0.orvenevent", "r+b") as file:
        content = file.read()
        file.seek(content.index(b"events\0\0") + 8)
        file.write((2**63 - 32).to_bytes(8, "little"))
    vexolan.read_events("recording/0.orvenevent")


def read_events_from_a_pipe():
    os.mkfifo("recording/pipe")
    vexolan.read_events("recording/pipe")


@pytest.mark.parametrize("call, kind, text", [
    (lambda recording: vexolan.open("nowhere"), FileNotFoundError, "'nowhere'"),
    (lambda recording: vexolan.open([]), ValueError, "^recording "),
    (lambda recording: vexolan.open("."), ValueError, "^recording: no event files"),
    (lambda recording: vexolan.open(3), TypeError, "^recording "),
    (lambda recording: vexolan.open(["a\0"]), ValueError, "^recording "),
    (lambda recording: vexolan.open("recording", strict=1), TypeError, "^strict "),
    (lambda recording: recording.image(shape=(2**25, 2**25)), MemoryError, "needs 45035996273704"),
    (lambda recording: recording.frames(1, 2**62), MemoryError, "the image needs"),
    (lambda recording: recording.image().save(3), TypeError, "^path "),
    (lambda recording: recording.image().save("out", format="png"), ValueError, "^format "),
    (lambda recording: recording.frames(1, 2**25, shape=(1, 1)).save("a"), ValueError, "^format "),
    (lambda recording: recording.image().save(recording.files[0]), ValueError, "^path: .*this run reads"),
    (lambda recording: recording.image().save("/dev/full"), OSError, "No space left"),
    (lambda recording: recording.image().save("recording"), OSError, "Is a directory"),
    (lambda recording: vexolan.read_events("nowhere"), FileNotFoundError, "'nowhere'"),
    (lambda recording: vexolan.read_events(__file__), vexolan.RecordingError, "Block size"),
    (lambda _: read_events_of_impossible_size(), vexolan.RecordingError, "recording/0.*bad_alloc"),
    (lambda _: read_events_from_a_pipe(), vexolan.RecordingError, "recording/pipe.*Read Error"),
    (lambda recording: vexolan.write_recording("out", [1]), TypeError, "^events "),
    (lambda recording: vexolan.write_recording("out", WIDE_EVENTS), ValueError, "'photons'"),
    (lambda recording: vexolan.write_recording("out", EVENTS, [0.5]), TypeError, "^triggers "),
    (lambda recording: vexolan.write_recording("out", None), TypeError, "^events "),
    (lambda recording: vexolan.write_recording("out", EVENTS, [2**63]), ValueError, "^triggers "),
    (lambda recording: vexolan.write_recording("out", EVENTS, [[1], 2]), ValueError, "^triggers "),
    (lambda recording: vexolan.write_recording("/dev/full", EVENTS), OSError, "No space left"),
])
def test_what_cannot_be_is_refused(recording, capfd, call, kind, text):
    with warnings.catch_warnings(), pytest.raises(kind, match=text):
        warnings.simplefilter("error")
        call(recording)
    assert os.listdir() == ["recording"]
    assert capfd.readouterr() == ("", "")
