"""The JSON settings file: what it sets, what it refuses, and where it stands among the options."""

import pytest

from program import aborted, assertion, ended, error, info, thrown, what
from test_command_line import help_text

UNSIGNED = 'Key "{}" expected to be a 64 bit unsigned int!'
DOUBLE = 'Key "{}" expected to be a double!'
STRING = 'Key "time_extTrigger" expected to be a string!'


def section(text):
    return f'{{"other": {{"size_x": 1}}, "vexolan": {{{text}}}}}'


@pytest.mark.parametrize("arguments, texts, shown", [
    ("-f 0 -h", ['"size_x": 100, "nPhotons_min": 2, "nPhotons_max": 18446744073709551615'],
     {"x": 100, "m": 2}),
    ("-f 0 -h", ['"nPhotons_max": 0, "unknown": [1, {"size_x": 5}], "verbose": -5'], {"M": 0}),
    ("-f 0 -h", ['"size_x": 1, "size_x": 2, "size_x": "never read"'], {"x": 1}),
    ("-x 300 -f 0 -h", ['"size_x": 100'], {"x": 100}),
    ("--paramsFile=0 -x 300 -h", ['"size_x": 100'], {"x": 300}),
    ("-f 0 -f 1 -h", ['"size_x": 100, "nPhotons_min": 7', '"size_x": 5'], {"x": 5, "m": 7}),
])
def test_settings_apply_where_the_option_stands(vexolan, arguments, texts, shown):
    for number, text in enumerate(texts):
        vexolan.put(str(number), section(text))
    assert vexolan(*arguments.split()) == ended(err=help_text(**shown))


@pytest.mark.parametrize("arguments, text, shape", [
    ("-f s", "", (1, 512, 512)),
    ("-y 5 -f s", '"size_x": 10', (1, 5, 10)),
    ("-f s -x 5", '"size_x": 10, "size_y": 11', (1, 5, 5)),
    ("-x 1 -f s", '"time_res_s": 1, "time_limit": 12.9', (12, 1, 1)),
    ("-x 1 -f s", '"time_limit": 3e0, "time_limit": "unread", "time_res_s": 1e-6', (3, 1, 1)),
    ("-x 1 -f s -T 2", '"time_limit": 5, "time_res_s": 1', (2, 1, 1)),
])
def test_sizes_and_times_come_from_the_file(vexolan, arguments, text, shape):
    vexolan.put("s", section(text))
    assert vexolan(*arguments.split(), "-o", "out") == ended(out=info(0))
    assert vexolan.pages().shape == shape


@pytest.mark.parametrize("text, message", [
    ("{}", 'Key "vexolan" missing!'),
    ('{"Vexolan": {}}', 'Key "vexolan" missing!'),
    ('{"vexolan": []}', 'Key "vexolan" expected to be a JSON Object!'),
    ('{"vexolan": null}', 'Key "vexolan" expected to be a JSON Object!'),
    *((section(f'"{key}": {value}'), UNSIGNED.format(key))
      for key in ("size_x", "size_y", "nPhotons_min", "nPhotons_max")
      for value in ("100.0", "5e2", "-5", '"5"', "18446744073709551616")),
    *((section(f'"{key}": {value}'), DOUBLE.format(key))
      for key in ("psd_min", "psd_max", "time_res_s", "time_limit") for value in ('"3"', "null")),
    *((section(f'"time_extTrigger": {value}'), STRING) for value in ("1", "null")),
    *((section(f'"time_extTrigger": "{value}"'), "./s.json is not a valid trigger handling type!")
      for value in ("sync", "Reference", "")),
    (section('"time_limit": "", "psd_max": "", "size_y": -1'), UNSIGNED.format("size_y")),
    (section('"time_res_s": "", "time_extTrigger": 1, "psd_min": 0'), STRING),
    (section('"psd_max": "", "psd_min": "", "time_extTrigger": 1'), DOUBLE.format("psd_min")),
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
