#!/usr/bin/python3
"""Draw what is in a recording, before images are made of it: one picture of the integrated image, of
the events over time and over the time since the trigger, of photon counts and PSD values."""

# Ctrl-C and a closed pipe end the program at once and without a word.
import signal

signal.signal(signal.SIGINT, signal.SIG_DFL)
signal.signal(signal.SIGPIPE, signal.SIG_DFL)

import argparse
import io
import json
import logging
import math
import os
import pathlib
import secrets
import shutil
import subprocess
import sys
import warnings

try:
    import numpy
except ImportError:
    numpy = None  # comes with matplotlib, which is asked for before it is needed

VERSION = "@PROJECT_VERSION@"
FORMATS = (".png", ".pdf", ".svg")
EVENT_FILE_START = b"ORVEN\0\0\0"

EPILOG = """\
FILE is an event file, FOLDER stands for the event files in it. Each panel is made of all events of
all of them; what vexolan-info says of a recording is drawn here. The picture takes the place of an
older one when it is complete; a recording is never overwritten. The status is 1 if a file is
damaged: it is named, and left out of the picture.

Example: vexolan-plot -o recording.png recording"""


class Failure(Exception):
    """What ends the program, as the user is told it."""


def main():
    arguments = parse_arguments()
    try:
        return run(arguments)
    except Failure as failure:
        say(failure)
    except OSError as error:
        say(f"{error.filename}: {error.strerror}" if error.filename else error)
    except MemoryError:
        say("there is not enough memory")
    return 1


def run(arguments):
    output, inputs = arguments.output, arguments.inputs
    check_output(output, inputs)
    prepare_matplotlib()
    facts = ask_info(inputs)
    faults = [file for file in facts["inputs"] if "error" in file]
    complaints = [f"{file['path']}: {file['error']}" for file in faults]
    if len(faults) == len(facts["inputs"]):
        raise Failure("\n".join(complaints + ["there is no recording to draw"]))
    figure = draw(title_of(inputs), facts["total"], arguments.region)
    picture = render(figure, pathlib.Path(output).suffix.lower())
    check_output(output, inputs)  # it may have become a recording meanwhile
    write(output, picture)
    for complaint in complaints:
        say(complaint)
    return 1 if complaints else 0


def say(text):
    for line in str(text).splitlines():
        print(f"vexolan-plot: {printable(line)}", file=sys.stderr)


def printable(text):
    """The text with a question mark for all that has no picture, as it may be in names of files."""
    return "".join(c if c.isprintable() else "?" for c in text)


# --- Arguments and files --------------------------------------------------------------------------


class Parser(argparse.ArgumentParser):
    def error(self, message):
        self.exit(1, f"vexolan-plot: {printable(message)}; see vexolan-plot --help\n")


def parse_arguments():
    parser = Parser(prog="vexolan-plot", description=__doc__, epilog=EPILOG, allow_abbrev=False,
                    usage="vexolan-plot -o PICTURE [--region X0,Y0,X1,Y1] FILE|FOLDER...",
                    formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("inputs", nargs="+", metavar="FILE|FOLDER", help=argparse.SUPPRESS)
    parser.add_argument("-o", "--output", required=True, metavar="PICTURE", type=picture_path,
                        help="where to put the picture: a name that ends in .png, .pdf or .svg; "
                             "its folder is created")
    parser.add_argument("--region", metavar="X0,Y0,X1,Y1", type=region,
                        help="draw a frame around this part of the detector, in detector pixels, "
                             "as vexolan takes it")
    parser.add_argument("--version", action="version", version=VERSION,
                        help="print the version number and exit")
    return parser.parse_args()


def picture_path(path):
    if pathlib.Path(path).suffix.lower() not in FORMATS:
        raise argparse.ArgumentTypeError(f'"{path}" must end in {", ".join(FORMATS)}')
    return path


def region(text):
    try:
        x0, y0, x1, y1 = map(float, text.split(","))
    except ValueError:
        raise argparse.ArgumentTypeError(f'"{text}" is not X0,Y0,X1,Y1') from None
    if not (-math.inf < x0 < x1 < math.inf and -math.inf < y0 < y1 < math.inf):
        raise argparse.ArgumentTypeError(f'"{text}" must have X0 < X1 and Y0 < Y1')
    return x0, y0, x1, y1


def check_output(path, inputs):
    """Throws: Failure if the picture cannot be put there, or would destroy a recording."""
    folder = pathlib.Path(os.path.realpath(path)).parent
    folder.mkdir(parents=True, exist_ok=True)
    if not os.access(folder, os.W_OK | os.X_OK):
        raise Failure(f'no file can be made in "{folder}"')
    if not os.path.exists(path):
        return
    if not os.path.isfile(path):
        raise Failure(f'"{path}" is no file that could be replaced')
    with open(path, "rb") as file:
        is_recording = file.read(len(EVENT_FILE_START)) == EVENT_FILE_START
    if is_recording or any(os.path.samefile(path, file) for file in existing_files(inputs)):
        raise Failure(f'"{path}" is a recording: it is not overwritten')


def existing_files(inputs):
    for path in map(pathlib.Path, inputs):
        files = path.iterdir() if path.is_dir() else [path]
        yield from (file for file in files if file.is_file())


def write(path, content):
    """The path holds the old file or the whole new one."""
    target = pathlib.Path(os.path.realpath(path))
    unfinished = target.with_name(f"vexolan-unfinished-{secrets.token_hex(8)}")
    signal.pthread_sigmask(signal.SIG_BLOCK, {signal.SIGINT, signal.SIGTERM, signal.SIGHUP})
    try:
        with open(unfinished, "xb") as file:
            if target.exists():
                os.fchmod(file.fileno(), target.stat().st_mode & 0o777)
            file.write(content)
        unfinished.replace(target)
    except OSError as error:
        unfinished.unlink(missing_ok=True)
        raise Failure(f"{path}: {error.strerror}") from None
    finally:
        signal.pthread_sigmask(signal.SIG_SETMASK, ())


def ask_info(inputs):
    """What vexolan-info says of the inputs, as an object."""
    beside = pathlib.Path(__file__).resolve().with_name("vexolan-info")
    program = str(beside) if beside.exists() else shutil.which("vexolan-info")
    if program is None:
        raise Failure("vexolan-info is missing: it belongs beside this program, or into PATH")
    answer = subprocess.run([program, "--json", "--", *inputs], stdout=subprocess.PIPE, check=False)
    try:
        return json.loads(answer.stdout)
    except ValueError:
        if answer.returncode == 1:
            sys.exit(1)  # it has said why
        raise Failure(f"{program} gave no answer (status {answer.returncode})") from None


# --- Quantities and their units -------------------------------------------------------------------

TIME_UNITS = {"h": 3600, "s": 1, "ms": 1e-3, "µs": 1e-6, "ns": 1e-9}
MANY_HOURS = 3 * 3600


def time_unit(duration_s):
    """The name of the unit in which a duration is a number of at least 1, and its seconds."""
    for name, seconds in TIME_UNITS.items():
        if float(f"{duration_s:.3g}") >= (MANY_HOURS if name == "h" else seconds):
            break
    return name, seconds


def duration_text(duration_s):
    name, seconds = time_unit(duration_s)
    return f"{duration_s / seconds:.3g} {name}"


def power_of_thousand(largest):
    """A power of ten that leaves short tick labels, and how it is written: empty for 1."""
    exponent = 3 * int(math.log10(largest) // 3) if largest >= 1e4 else 0
    superscripts = str.maketrans("0123456789", "⁰¹²³⁴⁵⁶⁷⁸⁹")
    return 10.0**exponent, "10" + str(exponent).translate(superscripts) if exponent else ""


def number_of(n, thing):
    return f"{n:,} {thing}{'' if n == 1 else 's'}"


def title_of(inputs):
    """The name of what is drawn, with few enough characters for one line."""
    longest = 70
    name = printable(pathlib.Path(inputs[0]).resolve().name)
    if len(name) > longest:
        name = name[: longest // 2] + "…" + name[-longest // 2 :]
    return name if len(inputs) == 1 else f"{name} and {len(inputs) - 1} more"


def facts_text(total):
    summary = total["summary"]
    facts = [f"{number_of(summary['events'], 'event')} in "
             f"{number_of(total['files'] - total['faulty'], 'file')}"]
    if total["faulty"]:
        facts.append(f"{number_of(total['faulty'], 'damaged file')} left out")
    if summary["time"] and summary["time"]["span_s"] > 0:
        facts.append(f"{duration_text(summary['time']['span_s'])} from first to last")
    if summary["triggers"] is not None:
        facts.append(number_of(summary["triggers"], "trigger"))
    return "  ·  ".join(facts)


# --- Histograms -----------------------------------------------------------------------------------

MOST_BARS = 250  # of a panel: narrower ones could not be seen
TAIL = 5e-4  # the share of all events that may lie beyond each side of a panel
NARROWEST, LARGEST = 1e-280, 1e305  # the panel and the values for which matplotlib finds ticks


class Histogram:
    """Numbers of events between edges, which ascend and may be at unequal distances."""

    def __init__(self, edges, counts):
        self.edges = numpy.asarray(edges, float)
        self.counts = numpy.asarray(counts, float)

    @property
    def width(self):
        return self.edges[-1] - self.edges[0]

    def densities(self):
        return self.counts / numpy.diff(self.edges)

    def most_bars(self):
        """As many bars as the number of events makes worth looking at (Rice's rule)."""
        return min(MOST_BARS, math.ceil(2 * self.counts.sum() ** (1 / 3)))

    def joined(self, edges):
        """The same events between fewer of the edges, from the first to the last."""
        first_bins = numpy.searchsorted(self.edges, edges[:-1])
        return Histogram(edges, numpy.add.reduceat(self.counts, first_bins))

    def of_whole_numbers(self, largest):
        """For values that are whole numbers: bins begin half below a number."""
        edges = numpy.append(numpy.ceil(self.edges[:-1]), largest + 1) - 0.5
        return Histogram(edges, self.counts).joined(numpy.unique(edges))

    def of_numbers(self, smallest, largest):
        """Without the bins that go on to infinity, and only where there are values."""
        finite = numpy.isfinite(self.edges)
        edges = numpy.clip(self.edges[finite], smallest, largest)
        return Histogram(edges, self.counts[finite[:-1] & finite[1:]])

    def wide_bars(self):
        """Whole bins together, so that no bar is too narrow: in those, densities are accidents."""
        least = self.width / self.most_bars()
        edges = [self.edges[0]]
        for edge in self.edges[1:-1]:
            if min(edge - edges[-1], self.edges[-1] - edge) >= least:
                edges.append(edge)
        return self.joined(edges + [self.edges[-1]])

    def in_groups(self, period=None):
        """For bins of one width: the same number of them in each bar but the last, if possible as
        many as there are in whole periods, so that bars do not beat against the pulses."""
        bin_width = self.edges[1] - self.edges[0]
        step = -(-len(self.counts) // self.most_bars())

        def mismatch(size):
            periods = size * bin_width / period
            return abs(periods - round(periods)) / periods

        if period and step * bin_width > period / 2:
            step = min(range(step, 3 * step), key=mismatch)
        return self.joined(numpy.append(self.edges[:-1:step], self.edges[-1]))

    def cut(self, first, last):
        """For bins of one width of which the outer ones are covered in part: edges are moved to
        where data begins and ends; less than half a bin becomes part of its neighbour."""
        half = (self.edges[1] - self.edges[0]) / 2
        inner = self.edges[1:-1]
        inner = inner[(inner >= first + half) & (inner <= last - half)]
        cut = self.joined(numpy.concatenate([self.edges[:1], inner, self.edges[-1:]]))
        cut.edges[0], cut.edges[-1] = first, last
        return cut

    def without_tails(self):
        """What is worth a panel: all, unless few events make it much wider."""
        below = numpy.cumsum(self.counts) / self.counts.sum()
        first = numpy.searchsorted(below, TAIL, side="right")
        last = numpy.searchsorted(below, 1 - TAIL) + 1
        part = Histogram(self.edges[first : last + 1], self.counts[first:last])
        return part if 0 < part.width < 0.75 * self.width else self


# --- Drawing --------------------------------------------------------------------------------------

FILL, LINE, GREY, FRAME = "#a9c1dd", "#2b4c7e", "#666666", "#ff5a36"

STYLE = {
    "axes.edgecolor": GREY, "axes.labelsize": 9, "axes.linewidth": 0.7,
    "axes.spines.right": False, "axes.spines.top": False,
    "axes.titlelocation": "left", "axes.titlesize": 9.5, "axes.titleweight": "bold",
    "font.family": "DejaVu Sans", "font.size": 9,
    "xtick.labelsize": 8, "ytick.labelsize": 8,
    "xtick.color": GREY, "xtick.labelcolor": "black", "ytick.color": GREY,
    "ytick.labelcolor": "black",
    "pdf.fonttype": 42,  # outlines that journals take
    "svg.hashsalt": "vexolan",  # the same picture has the same bytes
}
NO_DATE = {".png": {}, ".pdf": {"CreationDate": None}, ".svg": {"Date": None}}


def prepare_matplotlib():
    """Nothing of the user's own style and settings, no screen and no messages of the library."""
    logging.getLogger("matplotlib").setLevel(logging.ERROR)
    warnings.simplefilter("ignore")
    try:
        import matplotlib.figure
    except ModuleNotFoundError:
        raise Failure("matplotlib is missing: install python3-matplotlib") from None
    except ImportError as error:
        raise Failure(f"matplotlib cannot be used: {error}") from None
    matplotlib.rcdefaults()
    matplotlib.rcParams.update(STYLE)


def render(figure, extension):
    content = io.BytesIO()
    figure.savefig(content, format=extension[1:], dpi=150, metadata=NO_DATE[extension])
    return content.getvalue()


def draw(title, total, frame=None):
    """One figure: the image on the left, the histograms beside it."""
    from matplotlib.figure import Figure

    figure = Figure(figsize=(10.5, 4.8), layout="constrained")
    figure.get_layout_engine().set(rect=(0.005, 0.01, 0.985, 0.885), w_pad=0.06, h_pad=0.05)
    for text, height, style in ((title, 0.945, {"size": 12, "weight": "bold"}),
                                (facts_text(total), 0.905, {"color": "#444444"})):
        figure.text(0.013, height, text, **style).set_parse_math(False)

    grid = figure.add_gridspec(2, 3, width_ratios=(1.72, 1, 1))
    draw_image(figure.add_subplot(grid[:, 0]), total["image"], frame)
    over_time, since_trigger = grid[0, 1], grid[0, 2]
    if total["events_since_trigger"]:
        draw_since_trigger(figure.add_subplot(since_trigger), total)
    else:
        over_time = grid[0, 1:]
    draw_over_time(figure.add_subplot(over_time), total)
    draw_photons(figure.add_subplot(grid[1, 1]), total["summary"]["nPhotons"])
    draw_psd(figure.add_subplot(grid[1, 2]), total["summary"]["psd"])
    return figure


def draw_image(axes, image, frame):
    counts = numpy.asarray(image["counts"])
    block = block_to_show(counts)
    shown = joined_pixels(counts, block)
    white, clipped = white_level(shown)
    picture = axes.imshow(shown, vmin=0, vmax=white, cmap="viridis", interpolation="nearest",
                          extent=(0, image["columns"], image["rows"], 0))
    axes.spines[:].set_visible(True)
    axes.set(title="Image", xlabel="x (detector pixels)", ylabel="y (detector pixels)",
             xticks=quarters(image["columns"]), yticks=quarters(image["rows"]))
    bar = axes.figure.colorbar(picture, ax=axes, extend="max" if clipped else "neither",
                               aspect=32, pad=0.02)
    bar.outline.set_linewidth(0.7)
    bar.locator = whole_numbers()
    bar.update_ticks()
    label = "events per detector pixel" if block == 1 else (
        f"events per {block} × {block} detector pixels")
    bar.set_label(f"{label} (largest: {shown.max():,})" if clipped else label)
    add_note(axes, outside=image["outside"])
    if frame:
        x0, y0, x1, y1 = frame
        axes.plot([x0, x1, x1, x0, x0], [y0, y0, y1, y1, y0], color=FRAME, linewidth=1.2,
                  scalex=False, scaley=False)


def block_to_show(counts):
    """Side of the squares of pixels that are shown as one: single events are hard to see."""
    for block in (1, 2):
        shown = joined_pixels(counts, block)
        if shown.any() and numpy.median(shown[shown > 0]) > 1:
            return block
    return 4


def joined_pixels(counts, block):
    rows, columns = (length // block for length in counts.shape)
    return counts.reshape(rows, block, columns, block).sum(axis=(1, 3))


def white_level(counts):
    """The count at the end of the colour scale, and whether there are larger ones.

    A few pixels that are far above all others do not turn these black.
    """
    largest = counts.max()
    usual = numpy.percentile(counts[counts > 0], 99.9) if largest > 0 else 1
    return (usual, True) if largest > 2 * usual else (max(largest, 1), False)


def quarters(n):
    return [n * i // 4 for i in range(5)]


def draw_over_time(axes, total):
    axes.set(title="Over time")
    series, time, period = (total["events_over_time"], total["summary"]["time"],
                            total["summary"]["trigger_period"])
    if not series:
        return leave_empty(axes, "no events")
    if time["span_s"] == 0:
        return leave_empty(axes, f"all at {time['first_s']:.9g} s")
    bars = even_bins(series["start_s"], series["bin_s"], series["counts"])
    bars = bars.in_groups(period and period["median_s"]).cut(time["first_s"], time["last_s"])
    zero = bars.edges[0] if abs(bars.edges[0]) > 20 * bars.width else 0  # a zero that is near
    name, seconds = time_unit(max(abs(bars.edges - zero)))
    draw_bars(axes, (bars.edges - zero) / seconds, bars.densities(), "events per second")
    axes.set_xlabel(f"time ({name})" if zero == 0 else f"time after {zero:.9g} s ({name})")


def draw_since_trigger(axes, total):
    axes.set(title="Since the trigger")
    series, period = total["events_since_trigger"], total["summary"]["trigger_period"]
    counts = numpy.trim_zeros(series["counts"], "b")
    if len(counts) == 0:
        return leave_empty(axes, "no events")
    bars = even_bins(0, series["bin_s"], counts).in_groups()
    bar_width = bars.edges[1]
    if period and bars.edges[-2] < period["median_s"] < bars.edges[-1]:
        bars = bars.cut(0, period["median_s"])
    name, seconds = time_unit(bars.width)
    draw_bars(axes, bars.edges / seconds, bars.densities() * bar_width,
              f"events per {duration_text(bar_width)}")
    axes.set_xlabel(f"time since the trigger ({name})")
    add_note(axes, outside=series["beyond"] + series["without"])


def draw_photons(axes, photons):
    axes.set(title="Photons")
    if not photons:
        return leave_empty(axes, "no events")
    if photons["smallest"] == photons["largest"]:
        return leave_empty(axes, f"all with {photons['smallest']:,}")
    histogram = Histogram(**photons["counts"]).of_whole_numbers(photons["largest"])
    draw_distribution(axes, histogram, "events per number")
    axes.set_xlabel("photons per event")
    axes.xaxis.set_major_locator(whole_numbers())


def draw_psd(axes, psd):
    axes.set(title="PSD")
    if not psd:
        return leave_empty(axes, "no events")
    if psd["counts"] is None:
        return leave_empty(axes, "no numbers (NaN only)")
    smallest, largest = psd["smallest"], psd["largest"]
    if smallest is not None and smallest == largest:
        leave_empty(axes, f"all with {smallest:.9g}")
        return add_note(axes, NaN=psd["nan"])
    histogram = Histogram(**psd["counts"])
    finite = histogram.of_numbers(-math.inf if smallest is None else smallest,
                                  math.inf if largest is None else largest)
    if not finite.counts.any():
        return leave_empty(axes, "no finite numbers")
    n_infinite = histogram.counts.sum() - finite.counts.sum()
    draw_distribution(axes, finite, "events per unit", n_infinite, NaN=psd["nan"])
    axes.set_xlabel("pulse-shape value (PSD)")


def draw_distribution(axes, histogram, label, n_others=0, **notes):
    shown = histogram.without_tails()
    n_cut = histogram.counts.sum() - shown.counts.sum()
    add_note(axes, outside=int(n_cut + n_others), **notes)
    if shown.width < NARROWEST or abs(shown.edges).max() > LARGEST:
        return leave_empty(axes, "cannot be drawn")
    bars = shown.wide_bars()
    draw_bars(axes, bars.edges, bars.densities(), label)


def draw_bars(axes, edges, values, label):
    """Bars from zero, with their outline; in logarithms where one of them holds nearly all."""
    power, written = power_of_thousand(values.max())
    bottom = 0
    areas = values * numpy.diff(edges)
    if len(values) > 2 and areas.max() > 0.8 * areas.sum():
        axes.set_yscale("log", nonpositive="clip")
        power, written = 1, ""
        bottom = values[values > 0].min() / 2
    axes.stairs(values / power, edges, fill=True, color=FILL)
    axes.stairs(values / power, edges, color=LINE, linewidth=0.8)
    axes.set_xmargin(0.02)
    axes.autoscale_view()
    axes.set_ylim(bottom=bottom)
    axes.set_ylabel(f"{label} ({written})" if written else label)


def leave_empty(axes, text):
    axes.set(xticks=[], yticks=[])
    axes.text(0.5, 0.5, text, transform=axes.transAxes, ha="center", va="center", color=GREY)


def add_note(axes, **numbers):
    """Says at the upper right how many events are not in the panel, and why."""
    text = ", ".join(f"{n:,} {why}" for why, n in numbers.items() if n)
    axes.set_title(text, loc="right", size=8, weight="normal", color="#444444")


def even_bins(start, width, counts):
    return Histogram(start + width * numpy.arange(len(counts) + 1), counts)


def whole_numbers():
    from matplotlib.ticker import MaxNLocator

    return MaxNLocator(nbins=6, integer=True, min_n_ticks=1)


if __name__ == "__main__":
    sys.exit(main())
