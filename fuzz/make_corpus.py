"""Writes a folder of first inputs for each fuzzer, and word lists, into the folder named."""

import json
import pathlib
import random
import sys

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "tests" / "blackbox"))

from recording import Event, block, build, container, events, recording, triggers  # noqa: E402

SETTINGS = {"size_x": 9, "size_y": 8, "nPhotons_min": 1, "nPhotons_max": 2**64 - 1,
            "psd_min": -0.5, "psd_max": 3, "time_extTrigger": "reference", "time_res_s": 1e-6,
            "time_limit": 12.9}


def event_reader():
    some = [Event(x=7, y=-1, time=3 * n, photons=n, psd=float("nan")) for n in range(20)]
    files = [
        b"", b"ORVEN", container(), recording(some), recording(some, [1, 2, -3]), recording([], []),
        container(build(), events(*some), triggers(5), events(*some[:3]), triggers()),
        container(build(), triggers(1)), container(build(1)), container(build(0, 4)),
        container(events(*some)), container(build(), block(b"events", bytes(31))),
        container(build(), block(b"extTrigs", bytes(7))), container(build(), block(b"build")),
        container(build(), events(*some), size=9), recording(some)[:-1],
        *(container(build(), events(*some), block(name, size=size))
          for name in (b"events", b"extTrigs", b"other")
          for size in (2**63, 2**63 - 32, 2**63 - 96, 2**64 - 8, 2**64 - 32, 64)),
    ]
    return [bytes([options]) + file for options in (0, 3, 29) for file in files]


def settings_file():
    values = [0, -1, 512.0, 1e19, 2**64, -2**63, "frameSync", "sync", None, [], {}]
    sections = [{}, [], None, SETTINGS, {"unknown": {"deep": [[[1.5e300, True]]]}},
                *({key: value} for key in SETTINGS for value in values)]
    texts = [json.dumps({"other": 1, "vexolan": section}) for section in sections]
    texts += ["{}", '{"vexolan": {"size_x": 1, "size_x": 2}, "vexolan": 3}',
              '{"vex\\u006flan": {"time_limit": 9223372036854775807}}', "[]", "{", '{"a": 1} x',
              '{"vexolan": {"psd_min": 1e999}}', '{"vexolan": {"psd_min": 1e-999}}']
    return [text.encode() for text in texts]


def differential():
    chance = random.Random(1)
    return [chance.randbytes(chance.choice([300, 1000, 3000])) for _ in range(800)]


WORDS = {event_reader: ["ORVEN\\x00\\x00\\x00", "build\\x00\\x00\\x00", "extTrigs",
                        "events\\x00\\x00"],
         settings_file: ['\\"vexolan\\":', *(f'\\"{key}\\":' for key in SETTINGS)],
         differential: ["\\x00"]}

folder = pathlib.Path(sys.argv[1])
for fuzzer, words in WORDS.items():
    inputs = folder / fuzzer.__name__
    inputs.mkdir(parents=True, exist_ok=True)
    for number, content in enumerate(fuzzer()):
        (inputs / f"{number:03}").write_bytes(content)
    inputs.with_suffix(".dict").write_text("".join(f'"{word}"\n' for word in words))
