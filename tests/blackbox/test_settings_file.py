"""The JSON settings file: what it sets, what it refuses, and where it stands among the options."""

import json

import pytest

from program import aborted, assertion, ended, error, info, thrown, what
from recording import TICK, Event
from test_command_line import help_text

UNSIGNED, DOUBLE, STRING = "a 64 bit unsigned int", "a double", "a string"
# In the order in which they are read.
TYPES = {"size_x": UNSIGNED, "size_y": UNSIGNED, "nPhotons_min": UNSIGNED,
         "nPhotons_max": UNSIGNED, "psd_min": DOUBLE, "psd_max": DOUBLE,
         "time_extTrigger": STRING, "time_res_s": DOUBLE, "time_limit": DOUBLE,
         "upright": "true or false", "region": "an array of four numbers", "timeStart": DOUBLE}
SETTINGS = dict(zip(TYPES, (6, 5, 2, 4, 0.25, 0.5, "reference", 3 * TICK, 4)))


def section(text):
    return f'{{"other": {{"size_x": 1}}, "vexolan": {{{text}}}}}'


def expected(key):
    return f'Key "{key}" expected to be {TYPES[key]}!'


@pytest.mark.parametrize("arguments", [
    ["-f", "settings.json"],
    [f"--{name}={value}" for name, value in SETTINGS.items()],
    [f"-{letter}{value}" for letter, value in zip("xymMpPEtT", SETTINGS.values())],
], ids=["file", "long", "short"])
def test_settings_mean_the_same_in_a_file_and_as_options(vexolan, arguments):
    vexolan.put("settings.json", section(json.dumps(SETTINGS)[1:-1]))
    name = vexolan.record("a", [Event(time=10 + ticks, photons=photons, psd=quarters / 4)
                                for ticks in range(13) for photons in range(6)
                                for quarters in range(5)], [10, 99])
    assert vexolan(*arguments, "-i", name, "-o", "out") == ended(out=info(1))
    assert vexolan.pages().shape == (4, 5, 6)
    assert vexolan.image() == {(page, 0, 0): 3 * 3 * 2 for page in range(4)}


@pytest.mark.parametrize("arguments, texts, shown", [
    ("-f 0 -h", ['"nPhotons_min": 18446744073709551615, "unknown": [1, {"size_x": 5}]'],
     {"m": 2**64 - 1}),
    ("-f 0 -h", ['"size_x": 1, "size_x": 2, "size_x": "never read", "verbose": -5'], {"x": 1}),
    ("-x 300 -f 0 -h", ['"size_x": 100'], {"x": 100}),
    ("--paramsFile=0 -x 300 -h", ['"size_x": 100'], {"x": 300}),
    ("-f 0 -f 1 -h", ['"size_x": 100, "nPhotons_min": 7', '"size_x": 5'], {"x": 5, "m": 7}),
])
def test_file_applies_where_its_option_stands(vexolan, arguments, texts, shown):
    for number, text in enumerate(texts):
        vexolan.put(str(number), section(text))
    assert vexolan(*arguments.split()) == ended(err=help_text(**shown))


@pytest.mark.parametrize("arguments, text, shape", [
    ("-y 5 -f s", '"size_x": 10', (1, 5, 10)),
    ("-f s -x 5", '"size_x": 10, "size_y": 11', (1, 5, 5)),
    ("-x 1 -f s", '"time_res_s": 1, "time_limit": 12.9', (12, 1, 1)),
])
def test_sizes_come_from_the_file(vexolan, arguments, text, shape):
    vexolan.put("s", section(text))
    assert vexolan(*arguments.split(), "-o", "out") == ended(out=info(0))
    assert vexolan.pages().shape == shape


@pytest.mark.parametrize("text, message", [
    ("{}", 'Key "vexolan" missing!'),
    ('{"Vexolan": {}}', 'Key "vexolan" missing!'),
    ('{"vexolan": []}', 'Key "vexolan" expected to be a JSON Object!'),
    *((section(f'"size_y": {value}'), expected("size_y"))
      for value in ("100.0", "5e2", "-5", '"5"', "18446744073709551616")),
    *((section(f'"psd_max": {value}'), expected("psd_max")) for value in ('"3"', "null")),
    *((section(f'"region": {value}'), expected("region"))
      for value in ("[0, 0, 9]", "[0, 0, 9, 9, 9]", '[0, 0, "9", 9]', '"0,0,9,9"')),
    *((section(f'"time_extTrigger": "{value}"'), "./s.json is not a valid trigger handling type!")
      for value in ("sync", "Reference", "")),
    *((section(", ".join(f'"{key}": []' for key in reversed(list(TYPES)[first:]))), expected(key))
      for first, key in enumerate(TYPES)),
])
def test_wrong_content_is_refused_with_its_key(vexolan, text, message):
    vexolan.put("s.json", text)
    assert vexolan("-f", "./s.json", "-h") == aborted(thrown(message))


@pytest.mark.parametrize("limit", ["9223372036854775808", "1e300", "-1e19"])
def test_bin_count_beyond_64_bits_is_refused(vexolan, limit):
    vexolan.put("s", section(f'"time_limit": {limit}'))
    failure = vexolan("-f", "s")
    assert failure == aborted(thrown(what(failure)))
    assert "time_limit" in what(failure) and what(failure).endswith("!")


@pytest.mark.parametrize("text, offset, reason", [
    (None, "", ""),
    ("", "0", "document is empty"),
    ('{"vexolan": {"psd_min": NaN}}', "24", "Invalid value"),
    ('{"vexolan": {"size_x": 1,}}', "25", "Missing a name for object member"),
    ('{"vexolan": {}} // done', "16", "must not be followed by other values"),
    ('["vexolan"]', "", ""),
    ('"vexolan"', "", ""),
    pytest.param("[" * 1_000_000, "1000000", "", id="deep"),  # the stack holds less
])
def test_unusable_file_is_named_before_the_assertion(vexolan, text, offset, reason):
    if text is not None:
        vexolan.put("my settings.json", text)
    arguments = ["-f", "my settings.json", "-x", "never read"]
    failure = vexolan(*arguments)
    line = failure.err.partition("\n")[0]
    assert failure == aborted(f"{line}\n" + assertion("IsObject()"))
    assert line.startswith(error("")[:-1])
    assert all(part in line for part in ("my settings.json", offset, reason))
    assert vexolan("--verbose", -2, *arguments) == aborted(assertion("IsObject()"))
