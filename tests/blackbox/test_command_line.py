"""Options, their texts, and how the program ends because of them."""

import datetime
import pathlib
import re

import pytest

from program import STAMP, aborted, ended, error, info, thrown, warning

BANNER = "vexolan - images from recorded photon events\n"
HELP = BANNER + """\
Usage: vexolan [OPTIONS]
Example: vexolan -i input.orvenevent -o image

OPTIONS
  -h, --help             Print out this help
      --license          License information
      --version          Version number

  -i, --inputFiles       Comma separated list of files to process
  -I, --inputFolder      All files with the .orvenevent extension directly in this folder will be processed
      --inputListFile    Path of text file containing one input file per line

  -o, --outputFile       Path (including file name) for the output

  -f, --paramsFile       Path to a .json file where processing parameters are defined  -x, --size_x           Number of pixels in x direction for the final image (default: {x} px)
  -y, --size_y           Number of pixels in y direction for the final image (defaults to match size in x dimension)
  -m, --nPhotons_min     Only events with at least this number of photons will be used for the image (default: {m})
  -M, --nPhotons_max     Only events with at most this number of photons will be used for the image (default: {M})
  -E, --time_extTrigger  How the external trigger should be used: "ignore" (default), "reference", or "frameSync"
  -t, --time_res_s       Timing resolution in seconds for creating an 3D image sequence (default: 2D image is created, integrated in time)
  -T, --time_limit       Maximum of "time_res_s" bins for the 3D image sequence
  -p, --psd_min          Minimum PSD value
  -P, --psd_max          Maximum PSD value

      --fileFormat       Format for the output file. Possibilities are:
                          - "tiff_w4" (default): for TIFF files < 4GB
                          - "tiff_w8"          : for TIFF files of any size

      --parallel         Control parallel processing. Set "true" for on (default) and "false" for off.

"""
MAX = 2**64 - 1
LICENSE = (pathlib.Path(__file__).resolve().parents[2] / "LICENSE").read_text(encoding="ascii")


def help_text(x=512, m=0, M=MAX):
    return HELP.format(x=x, m=m, M=M)


LONG_OPTIONS = ("help license version paramsFile inputFiles inputFolder inputListFile outputFile "
                "size_x size_y nPhotons_min nPhotons_max psd_min psd_max time_extTrigger "
                "time_res_s time_limit fileFormat parallel verbose report spectra strict "
                "upright region timeStart").split()
# Each stops the program before a run, with this text.
STOPS = [
    (["--help"], help_text()),
    (["--license"], f"\n{BANNER}\n" + LICENSE[LICENSE.index("Copyright"):]),
    (["--version"], "1.0.0\n"),
    (["--inputListFile", "missing"], error("could not find file: missing")),
    (["--inputListFile", "."], error("could not open file: .")),
    (["--inputListFile", "/proc/self/mem"], error("could not read file: /proc/self/mem")),
    *(([f"--{switch}", text], error(
        f'argument for "{switch}" must be "true" or "false" (is "{text}")'))
      for switch in ("parallel", "strict", "upright") for text in ("yes", "True", "", "false ")),
    (["--bogus"], "vexolan: unrecognized option '--bogus'\n"),
    (["-q"], "vexolan: invalid option -- 'q'\n"),
    (["--help=1"], "vexolan: option '--help' doesn't allow an argument\n"),
    # A name without letters abbreviates them all, in the order of the table.
    (["--=1"], "vexolan: option '--=1' is ambiguous; possibilities:"
     + "".join(f" '--{name}'" for name in LONG_OPTIONS) + "\n"),
]


@pytest.mark.parametrize("arguments, text", [
    *STOPS,
    (["-x"], "vexolan: option requires an argument -- 'x'\n"),
    (["--verbose"], "vexolan: option '--verbose' requires an argument\n"),
])
def test_stop_leaves_no_image(vexolan, arguments, text):
    assert vexolan("-o", "out", *arguments) == ended(err=text)
    assert not vexolan.exists()


def test_later_options_take_no_abbreviation_from_the_first_ones(vexolan):
    first = LONG_OPTIONS[:LONG_OPTIONS.index("verbose") + 1]
    ends = {name: vexolan(f"--{name}").err for name in first}  # names itself, or does its work
    for prefix in {name[:length] for name in first for length in range(1, len(name) + 1)}:
        meant = [name for name in first if name.startswith(prefix)]
        err = vexolan(f"--{prefix}").err
        if len(meant) > 1:
            assert err.startswith(f"vexolan: option '--{prefix}' is ambiguous")
        else:
            assert err == ends[meant[0]]


def test_arguments_behind_a_stop_are_still_checked(vexolan):
    stops = [argument for arguments, _ in STOPS for argument in arguments]
    texts = "".join(text for _, text in STOPS)
    assert vexolan(*stops, "-x", "abc") == aborted(texts + thrown("abc is not a valid size!"))


@pytest.mark.parametrize("arguments, shown", [
    ("--help -x 1024", {}),
    ("--size_x=7 -x 9 -m 3 -M 4 --hel", {"x": 9, "m": 3, "M": 4}),
    ("-y 100 --nPhotons_min 1 --nPhotons_max=2 -h", {"m": 1, "M": 2}),
])
def test_help_shows_the_settings_of_its_place(vexolan, arguments, shown):
    assert vexolan(*arguments.split()) == ended(err=help_text(**shown))


@pytest.mark.parametrize("option", ["-x", "-m", "-M"])
def test_counts_are_read_as_c_numbers(vexolan, option):
    for text, value in {
            "0x100": 256, "0X1f": 31, "010": 8, "08": 0, "0x": 0, "12px": 12, " \t12 ": 12,
            "+5": 5, "-1": MAX, "-2": MAX - 1, "1e3": 1, "99999999999999999999": MAX}.items():
        assert vexolan(option, text, "-h").err == help_text(**{option[1]: value})


@pytest.mark.parametrize("arguments, shape", [
    ("", (1, 512, 512)),
    ("-x30 -y020", (1, 16, 30)),
    ("-y 20 -x 30", (1, 30, 30)),
    ("-x 1 -t 1 -T 12.5", (12, 1, 1)),
    ("-x 1 -t 0x1p-9s --time_limit=+010", (10, 1, 1)),
])
def test_sizes_are_those_of_the_image(vexolan, arguments, shape):
    assert vexolan(*arguments.split(), "-o", "out") == ended(out=info(0))
    assert vexolan.pages().shape == shape


@pytest.mark.parametrize("arguments, message, kind", [
    *(([option, text], f"{text} is not a valid {noun}!", "invalid_argument")
      for option, noun in (("-x", "size"), ("--size_y", "size"), ("-m", "number"), ("-M", "number"))
      for text in ("abc", "", "-", ".5")),
    *(([option, "abc"], function, "invalid_argument") for option, function in (
        ("-t", "stod"), ("-p", "stod"), ("-P", "stod"), ("-T", "stol"), ("--verbose", "stoi"))),
    *(([option, text], function, "out_of_range") for option, text, function in (
        ("-t", "1e999", "stod"), ("-p", "-1e999", "stod"), ("-P", "1e-999", "stod"),
        ("-T", "9223372036854775808", "stol"), ("--verbose", "2147483648", "stoi"))),
])
def test_unreadable_number_ends_the_process(vexolan, arguments, message, kind):
    assert vexolan(*arguments, "-o", "out") == aborted(thrown(message, kind))
    assert not vexolan.exists()


@pytest.mark.parametrize("arguments, message", [
    *((f"-E {text} -o out", f"{text} is not a valid trigger handling type!")
      for text in ("Reference", "framesync", "ignored")),
    ("extra -o out more", "excess argument: extra !"),
    ("-o out -- -x", "excess argument: -x !"),
    ("extra -x q", "q is not a valid size!"),
    ("", "Output file path needs to be provided!"),
    ("-E frameSync -T 3", "Output file path needs to be provided!"),
    ("-t 1 -T 3", "Output file path needs to be provided!"),
    ("-t 1 -E frameSync", "maximum time needed for time resolved image!"),
    ("-E frameSync -T 3 -o out --inputFil a.orvenevent",
     "frameSync requires time resolution to be set!"),
])
def test_unusable_arguments_are_refused_in_a_fixed_order(vexolan, arguments, message):
    assert vexolan(*arguments.split()) == aborted(thrown(message))


@pytest.mark.parametrize("level, seen", [
    (-2147483648, ""), (-2, ""), (-1, "E"), (0, "EW"), (1, "EW"), ("2x", "EWi"), (9, "EWi")])
def test_verbosity_selects_the_log_lines_from_its_place_on(vexolan, level, seen):
    early, late = (warning(f'Input file must be a .orvenevent file! Ignoring "{item}"')
                   for item in "ab")
    failure = error('file "c.orvenevent" could not be opened!')
    assert vexolan("-i", "a", "--verbose", level, "-i", "b,c.orvenevent", "-o", "out") == ended(
        out=info(0) if "i" in seen else "",
        err=early + "".join(line for line in (late, failure) if line[0] in seen))
    assert vexolan.exists()


@pytest.mark.parametrize("zone, offset, minutes", [
    ("UTC", "+0000", 0), ("AAA5", "-0500", -300), ("BBB-5:30", "+0530", 330)])
def test_log_lines_carry_the_local_time(vexolan, zone, offset, minutes):
    def now():
        return datetime.datetime.utcnow() + datetime.timedelta(minutes=minutes)
    before = now().replace(microsecond=0)
    line = vexolan.raw("-x", "1", "-o", "out", time_zone=zone).out
    stamp = re.fullmatch(f"info:    ({STAMP}): External Triggers: 0 for out\n", line)[1]
    assert stamp.endswith(" UTC" + offset)
    assert before <= datetime.datetime.strptime(stamp[:19], "%Y-%m-%d %H:%M:%S") <= now()
