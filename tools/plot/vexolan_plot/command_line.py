"""What the command line asks for, and what is said of it."""

import getopt
import math
import pathlib
import sys

from vexolan_plot import files
from vexolan_plot.files import Failure, printable

USAGE = "vexolan-plot [OPTION]... FILE|FOLDER..."

HELP = f"""\
Usage: {USAGE}

Draw what is in a recording, before images are made of it: one picture of the
integrated image, of the events over time and over the time since the trigger, of
photon counts and PSD values, and of how these go together.

Options:
  -h, --help              Print this help and exit
      --version           Print the version number and exit
  -o, --output PICTURE    Where to put the picture: a name that ends in .png, .pdf
                          or .svg; its folder is created (default: beside the first
                          recording, named after it with -plot.png, and said)
  -m, --nPhotons_min N    Draw only events of at least so many photons
  -M, --nPhotons_max N    Draw only events of at most so many photons
  -p, --psd_min VALUE     Draw only events with at least this PSD value
  -P, --psd_max VALUE     Draw only events with at most this PSD value
      --region X0,Y0,X1,Y1
                          Draw a frame around this part of the detector, in
                          detector pixels; bounds and region are those of vexolan

FILE is an event file, FOLDER stands for the event files in it. Each panel is made
of all events of all of them; what vexolan-info says of a recording is drawn here.
The picture takes the place of an older one when it is complete; a recording is
never overwritten. The status is 1 if a file is damaged: it is named, and left out
of the picture.

Examples:
  vexolan-plot recording
  vexolan-plot -o signal.png -m 6 -p 0.4 recording"""

BOUNDS = {"m": "nPhotons_min", "M": "nPhotons_max", "p": "psd_min", "P": "psd_max"}
ENDINGS = (".png", ".pdf", ".svg")
PIXEL = 65536  # position units of one detector pixel


def main(version):
    try:
        options, inputs = parse(sys.argv[1:])
        if "--help" in options or "--version" in options:
            print(HELP if "--help" in options else version)
            return 0
        return run(options, inputs)
    except Failure as failure:
        say(failure)
    except OSError as error:
        say(f"{error.filename}: {error.strerror}" if error.filename else error)
    except MemoryError:
        say("there is not enough memory")
    return 1


def parse(arguments):
    """The options by their long names, and the inputs. The last of an option counts."""
    names = {f"-{letter}": f"--{name}" for letter, name in BOUNDS.items()}
    names |= {"-h": "--help", "-o": "--output"}
    try:
        options, inputs = getopt.gnu_getopt(
            arguments, "ho:m:M:p:P:",
            ["help", "version", "output=", "region=", *(f"{name}=" for name in BOUNDS.values())])
    except getopt.GetoptError as error:
        raise Failure(f"{error}; see vexolan-plot --help") from None
    return {names.get(name, name): value for name, value in options}, inputs


def run(options, inputs):
    if not inputs:
        raise Failure("name files or folders to draw; see vexolan-plot --help")
    frame = region(options["--region"]) if "--region" in options else None
    output = options.get("--output", files.default_picture(inputs[0]))
    ending = pathlib.Path(output).suffix.lower()
    if ending not in ENDINGS:
        raise Failure(f'"{output}" must end in {", ".join(ENDINGS)}')
    files.check_output(output, inputs)
    figure = import_figure()
    facts = files.ask_info(inputs, bounds_of(options, "--{1}={2}"))
    complaints = [f"{file['path']}: {file['error']}" for file in facts["inputs"] if "error" in file]
    if len(complaints) == len(facts["inputs"]):
        raise Failure("\n".join(complaints + ["there is no recording to draw"]))
    drawn = figure.draw(files.title_of(inputs), facts, bounds_of(options, "-{0} {2}"), frame)
    picture = figure.render(drawn, ending)
    files.check_output(output, inputs)  # it may have become a recording meanwhile
    files.write(output, picture)
    if "--output" not in options:
        print(printable(output))
    for complaint in complaints:
        say(complaint)
    return 1 if complaints else 0


def say(text):
    for line in str(text).splitlines():
        print(f"vexolan-plot: {printable(line)}", file=sys.stderr)


def bounds_of(options, form):
    """The bounds of photon counts and PSD values as they were given, in a form of letter, name and
    value. What they mean is known to vexolan-info."""
    return [form.format(letter, name, options[f"--{name}"]) for letter, name in BOUNDS.items()
            if f"--{name}" in options]


def region(text):
    """The sides of a region that vexolan takes as well."""
    try:
        if "_" in text or not text.isascii() or text != text.rstrip():
            raise ValueError
        x0, y0, x1, y1 = map(float, text.split(","))
    except ValueError:
        raise Failure(f"{text} is not a valid region, which is X0,Y0,X1,Y1!") from None
    if not (-32768 <= x0 < x1 <= 32768 and -32768 <= y0 < y1 <= 32768):
        raise Failure("region must have X0 < X1 and Y0 < Y1, all between -32768 and 32768!")
    if units(x0) == units(x1) or units(y0) == units(y1):
        raise Failure("region must be at least 1/65536 of a detector pixel wide and high!")
    return x0, y0, x1, y1


def units(position):
    """Position units, with halves away from zero."""
    return math.copysign(math.floor(abs(position) * PIXEL + 0.5), position)


def import_figure():
    """The module that draws: it alone needs libraries."""
    try:
        from vexolan_plot import figure
    except ModuleNotFoundError:
        raise Failure("matplotlib is missing: install python3-matplotlib") from None
    except ImportError as error:
        raise Failure(f"matplotlib cannot be used: {error}") from None
    figure.prepare()
    return figure
