"""The picture as a whole."""

import io
import logging
import warnings

import matplotlib
from matplotlib.figure import Figure

from vexolan_plot import panels
from vexolan_plot.files import printable
from vexolan_plot.quantities import duration_text, number_of

STYLE = {
    "axes.edgecolor": panels.GREY, "axes.labelsize": 9, "axes.linewidth": 0.7,
    "axes.spines.right": False, "axes.spines.top": False,
    "axes.titlelocation": "left", "axes.titlesize": 9.5, "axes.titleweight": "bold",
    "font.family": "DejaVu Sans", "font.size": 9,
    "xtick.labelsize": 8, "ytick.labelsize": 8,
    "xtick.color": panels.GREY, "xtick.labelcolor": "black", "ytick.color": panels.GREY,
    "ytick.labelcolor": "black",
    "pdf.fonttype": 42,  # outlines that journals take
    "svg.fonttype": "none",  # text that can be edited
    "svg.hashsalt": "vexolan",  # the same picture has the same bytes
}
NO_DATE = {".png": {}, ".pdf": {"CreationDate": None}, ".svg": {"Date": None}}


def prepare():
    """Nothing of the user's own style and settings, no screen and no messages of the library."""
    logging.getLogger("matplotlib").setLevel(logging.ERROR)
    warnings.simplefilter("ignore")
    matplotlib.rcdefaults()
    matplotlib.rcParams.update(STYLE)


def render(figure, ending):
    content = io.BytesIO()
    figure.savefig(content, format=ending[1:], dpi=150, metadata=NO_DATE[ending])
    return content.getvalue()


def draw(title, facts, bounds, frame=None):
    """The image on the left; beside it times, and below them what filters see."""
    total = facts["total"]
    figure = Figure(figsize=(12.2, 5.6), layout="constrained")
    figure.get_layout_engine().set(rect=(0.005, 0.01, 0.985, 0.89), w_pad=0.06, h_pad=0.05)
    for text, height, style in ((title, 0.95, {"size": 12, "weight": "bold"}),
                                (facts_text(total, bounds), 0.912, {"color": "#444444"})):
        figure.text(0.013, height, text, **style).set_parse_math(False)

    image, others = figure.add_gridspec(1, 2, width_ratios=(1, 1.45))
    panels.draw_image(figure.add_subplot(image), total["image"], frame)
    upper, lower = others.subgridspec(2, 1)
    times = upper.subgridspec(1, 2 if total["events_since_trigger"] else 1)
    panels.draw_over_time(figure.add_subplot(times[0]), total)
    if total["events_since_trigger"]:
        panels.draw_since_trigger(figure.add_subplot(times[1]), total)
    photons, psd, both = map(figure.add_subplot, lower.subgridspec(1, 3))
    photon_bars = panels.draw_photons(photons, total["summary"]["nPhotons"], total["sample"])
    psd_bars = panels.draw_psd(psd, total["summary"]["psd"], total["sample"])
    panels.draw_photons_and_psd(both, total["sample"], photon_bars, psd_bars)
    for axes in figure.axes:
        panels.put_powers_into_labels(axes)
    return figure


def facts_text(total, bounds):
    summary = total["summary"]
    events = number_of(summary["events"], "event")
    with_bounds = f" with {printable(' '.join(bounds))}" if bounds else ""
    facts = [f"{events}{with_bounds} in {number_of(total['files'] - total['faulty'], 'file')}"]
    if total["faulty"]:
        facts.append(f"{number_of(total['faulty'], 'damaged file')} left out")
    if summary["time"] and summary["time"]["span_s"] > 0:
        facts.append(f"{duration_text(summary['time']['span_s'])} from first to last")
    if summary["triggers"] is not None:
        facts.append(number_of(summary["triggers"], "trigger"))
    return "  ·  ".join(facts)
